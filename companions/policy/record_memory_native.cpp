#include <cstdlib>

#include "policy/record_memory.h"

namespace tarn::policy {

void* AllocateBlock(std::size_t count, std::size_t size) {
    return std::calloc(count, size);
}
void ReleaseBlock(void* block) {
    std::free(block);
}

}  // namespace tarn::policy
