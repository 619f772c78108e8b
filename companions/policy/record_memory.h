// Where the records that a module delivers are allocated: the process heap on Windows, so that a later instance of the
// module can release what this one made. A test counts the blocks.
#ifndef TARN_COMPANIONS_POLICY_RECORD_MEMORY_H
#define TARN_COMPANIONS_POLICY_RECORD_MEMORY_H

#include <cstddef>

namespace tarn::policy {

// Zeroed; null without memory.
void* AllocateBlock(std::size_t count, std::size_t size);
void ReleaseBlock(void* block);

template <class T>
T* AllocateArray(std::size_t count) {
    return count == 0 ? nullptr : static_cast<T*>(AllocateBlock(count, sizeof(T)));
}

}  // namespace tarn::policy

#endif
