#include "module_folder_win32.h"

#include <windows.h>

#include "machine/install_folder.h"
#include "machine/win32_owners.h"

namespace tarn::policy {

bool PathBesideModule(std::u16string_view name, base::PathBuffer& path) {
    HMODULE self = nullptr;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&PathBesideModule), &self) == 0)
        return false;
    base::PathBuffer own;
    const DWORD length = GetModuleFileNameW(self, machine::Wide(own.data()), static_cast<DWORD>(own.size()));
    if (length == 0 || length >= own.size()) return false;
    return base::Succeeded(base::FormatText(path, {machine::FolderOf(base::FieldText(own)), name}));
}

}  // namespace tarn::policy
