#include "system/library_memory_win32.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>

namespace tarn::system_test {
namespace {

std::atomic<std::ptrdiff_t> blocks{0};
std::atomic<std::ptrdiff_t> untilFailure{0};  // below 1: none fails
std::atomic<bool> hasFailed{false};

bool Fails() {
    if (untilFailure <= 0 || --untilFailure != 0) return false;
    hasFailed = true;
    return true;
}

void* Counted(void* block) {
    if (block != nullptr) ++blocks;
    return block;
}

void* __cdecl Malloc(std::size_t size) {
    return Fails() ? nullptr : Counted(std::malloc(size));
}
void* __cdecl Calloc(std::size_t count, std::size_t size) {
    return Fails() ? nullptr : Counted(std::calloc(count, size));
}
void* __cdecl Realloc(void* old, std::size_t size) {
    if (size != 0 && Fails()) return nullptr;
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
    return Fails() ? nullptr : Counted(_aligned_malloc(size, alignment));
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
    untilFailure = 0;
}

std::ptrdiff_t LibraryMemory::Blocks() {
    return blocks;
}

void LibraryMemory::FailAllocation(std::ptrdiff_t number) {
    hasFailed = false;
    untilFailure = number;
}

bool LibraryMemory::HasFailed() {
    return hasFailed;
}

}  // namespace tarn::system_test
