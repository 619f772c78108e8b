#include "machine/install_folder.h"
#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

constexpr const wchar_t* kAppPath = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CoreScan.exe";

bool QueryRegisteredFolder(base::PathBuffer& folder) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kAppPath, 0, KEY_QUERY_VALUE, key.Out()) != ERROR_SUCCESS) return false;
    folder.fill(u'\0');
    DWORD bytes = sizeof folder;
    if (RegQueryValueExW(key.Get(), L"Path", nullptr, nullptr, reinterpret_cast<BYTE*>(folder.data()), &bytes) !=
        ERROR_SUCCESS)
        return false;
    folder.back() = u'\0';
    return true;
}

bool EqualPaths(std::u16string_view a, std::u16string_view b) {
    return CompareStringOrdinal(Wide(a.data()), static_cast<int>(a.size()), Wide(b.data()), static_cast<int>(b.size()),
                                TRUE) == CSTR_EQUAL;
}

}  // namespace

// Whatever fails, the buffers are left terminated.
bool GetHostFolder(base::PathBuffer& folder) {
    folder[0] = u'\0';
    SetLastError(ERROR_SUCCESS);
    const DWORD length = GetModuleFileNameW(nullptr, Wide(folder.data()), static_cast<DWORD>(folder.size()));
    folder.back() = u'\0';
    if (length == 0 || (length >= folder.size() && GetLastError() == ERROR_INSUFFICIENT_BUFFER)) return false;
    folder[FolderOf(base::FieldText(folder)).size()] = u'\0';
    return true;
}

bool GetInstallFolder(base::PathBuffer& folder) {
    folder[0] = u'\0';
    base::PathBuffer host;
    base::PathBuffer registered;
    if (!GetHostFolder(host) || !QueryRegisteredFolder(registered)) return false;
    base::PathBuffer longBuffer;
    const DWORD length =
        GetLongPathNameW(Wide(host.data()), Wide(longBuffer.data()), static_cast<DWORD>(longBuffer.size()));
    std::optional<std::u16string_view> longForm;
    if (length != 0 && length < longBuffer.size()) longForm = base::FieldText(longBuffer);
    const auto chosen = ChooseInstallFolder(base::FieldText(host), base::FieldText(registered), longForm, &EqualPaths);
    return chosen && base::Succeeded(base::CopyText(folder, *chosen));
}

bool GetInstallFile(base::PathBuffer& path, std::u16string_view fileName) {
    path[0] = u'\0';
    base::PathBuffer folder;
    return GetInstallFolder(folder) && base::Succeeded(base::FormatText(path, {base::FieldText(folder), fileName}));
}

}  // namespace tarn::machine
