#include <limits>
#include <windows.h>

#include "policy/record_memory.h"

namespace tarn::policy {

void* AllocateBlock(std::size_t count, std::size_t size) {
    if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) return nullptr;
    return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, count * size);
}
void ReleaseBlock(void* block) {
    if (block != nullptr) HeapFree(GetProcessHeap(), 0, block);
}

}  // namespace tarn::policy
