#include "support/failing_allocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace tarn::support {
namespace {

constexpr std::uint64_t kNone = UINT64_MAX;

std::atomic<std::uint64_t> allocations = 0;
std::atomic<std::uint64_t> failAt = kNone;
std::atomic<bool> failed = false;

// Whether the allocation that is asked for now is to succeed.
bool Grant() {
    if (uncountedDepth > 0) return true;
    if (allocations++ != failAt) return true;
    failed = true;
    errno = ENOMEM;
    return false;
}

}  // namespace

std::uint64_t Allocations() {
    return allocations;
}

FailingAllocation::FailingAllocation(std::uint64_t number) {
    failed = false;
    failAt = allocations + number;
}
FailingAllocation::~FailingAllocation() {
    failAt = kNone;
}
bool FailingAllocation::Failed() const {
    return failed;
}

}  // namespace tarn::support

extern "C" {

// The linker's --wrap gives a program's own calls to the first and the allocator's functions to the second.
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);

void* __wrap_malloc(std::size_t size) {
    return tarn::support::Grant() ? __real_malloc(size) : nullptr;
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return tarn::support::Grant() ? __real_calloc(count, size) : nullptr;
}
void* __wrap_realloc(void* block, std::size_t size) {
    return tarn::support::Grant() ? __real_realloc(block, size) : nullptr;
}

}  // extern "C"

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);  // counted there
}
void* operator new(std::size_t size) {
    void* const block = operator new(size, std::nothrow);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return operator new(size, std::nothrow);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
