// Puts a function of the test in the place of one that a loaded module imports, until the end of the object: so a call
// of the system can be made to fail, or the clock to stand. Only that module sees it.
#ifndef TARN_TESTS_SYSTEM_IMPORT_PATCH_WIN32_H
#define TARN_TESTS_SYSTEM_IMPORT_PATCH_WIN32_H

#include <windows.h>

namespace tarn::system_test {

class ImportPatch {
 public:
    template <class Function>
    ImportPatch(HMODULE module, const char* name, Function* replacement)
        : slot_(FindSlot(module, name)), original_(slot_ != nullptr ? *slot_ : nullptr) {
        if (slot_ != nullptr) Write(reinterpret_cast<void*>(replacement));
    }
    ~ImportPatch() {
        if (slot_ != nullptr) Write(original_);
    }
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

    // False when the module does not import that name: nothing is patched then.
    [[nodiscard]] bool IsInPlace() const { return slot_ != nullptr; }

 private:
    static void** FindSlot(HMODULE module, const char* name);
    void Write(void* function);

    void** slot_;
    void* original_;
};

}  // namespace tarn::system_test

#endif
