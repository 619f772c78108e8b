#include "system/import_patch_win32.h"

#include <cstring>

namespace tarn::system_test {
namespace {

template <class T>
T* At(HMODULE module, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(module) + offset);
}

}  // namespace

void** ImportPatch::FindSlot(HMODULE module, const char* name) {
    const auto* dos = At<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = At<const IMAGE_NT_HEADERS64>(module, static_cast<std::size_t>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* library = At<const IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress); library->Name != 0;
         ++library) {
        const auto* names = At<const IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
        auto* slots = At<void*>(module, library->FirstThunk);
        for (std::size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
            if (IMAGE_SNAP_BY_ORDINAL64(names[i].u1.Ordinal)) continue;
            const auto* import =
                At<const IMAGE_IMPORT_BY_NAME>(module, static_cast<std::size_t>(names[i].u1.AddressOfData));
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) == 0) return &slots[i];
        }
    }
    return nullptr;
}

void ImportPatch::Write(void* function) {
    DWORD protection = 0;
    VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &protection);
    *slot_ = function;
    VirtualProtect(slot_, sizeof *slot_, protection, &protection);
}

}  // namespace tarn::system_test
