#include "system/library_memory_win32.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>

namespace tarn::system_test {
namespace {

std::atomic<std::ptrdiff_t> blocks{0};

void* Counted(void* block) {
    if (block != nullptr) ++blocks;
    return block;
}

void* __cdecl Malloc(std::size_t size) {
    return Counted(std::malloc(size));
}
void* __cdecl Calloc(std::size_t count, std::size_t size) {
    return Counted(std::calloc(count, size));
}
void* __cdecl Realloc(void* old, std::size_t size) {
    void* const block = std::realloc(old, size);
    if (old == nullptr) return Counted(block);
    if (block == nullptr && size == 0) --blocks;
    return block;
}
void __cdecl Free(void* block) {
    if (block != nullptr) --blocks;
    std::free(block);
}
void* __cdecl AlignedMalloc(std::size_t size, std::size_t alignment) {
    return Counted(_aligned_malloc(size, alignment));
}
void __cdecl AlignedFree(void* block) {
    if (block != nullptr) --blocks;
    _aligned_free(block);
}

}  // namespace

LibraryMemory::LibraryMemory(HMODULE module)
    : malloc_(module, "malloc", Malloc),
      calloc_(module, "calloc", Calloc),
      realloc_(module, "realloc", Realloc),
      free_(module, "free", Free),
      alignedMalloc_(module, "_aligned_malloc", AlignedMalloc),
      alignedFree_(module, "_aligned_free", AlignedFree) {
    blocks = 0;
}

std::ptrdiff_t LibraryMemory::Blocks() {
    return blocks;
}

}  // namespace tarn::system_test
