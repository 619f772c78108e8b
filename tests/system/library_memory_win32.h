// Counts the memory blocks that a loaded module holds, to the block, by standing in for the functions it imports.
// Memory of its companions, of the system and of the test does not count. One allocation can be made to fail.
#ifndef TARN_TESTS_SYSTEM_LIBRARY_MEMORY_WIN32_H
#define TARN_TESTS_SYSTEM_LIBRARY_MEMORY_WIN32_H

#include <cstddef>

#include "system/import_patch_win32.h"

namespace tarn::system_test {

// One at a time.
class LibraryMemory {
 public:
    explicit LibraryMemory(HMODULE module);

    // Allocated and not freed since this object was made; below zero when older blocks were freed.
    [[nodiscard]] static std::ptrdiff_t Blocks();
    // The allocation of this number from now on fails, 1 = the next one; 0 = none does.
    static void FailAllocation(std::ptrdiff_t number);
    // Whether the number was reached since it was set.
    [[nodiscard]] static bool HasFailed();
    [[nodiscard]] bool Counts() const { return malloc_.IsInPlace() && free_.IsInPlace() && alignedFree_.IsInPlace(); }

 private:
    ImportPatch malloc_;
    ImportPatch calloc_;
    ImportPatch realloc_;
    ImportPatch free_;
    ImportPatch alignedMalloc_;
    ImportPatch alignedFree_;
};

}  // namespace tarn::system_test

#endif
