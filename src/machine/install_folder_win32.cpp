#include "machine/install_folder_win32.h"

#include <windows.h>
#include <winternl.h>

#include "machine/install_folder.h"
#include "machine/win32_owners.h"

// Documented with the system's, and left out of these headers.
extern "C" NTSYSAPI BOOLEAN NTAPI RtlEqualUnicodeString(const UNICODE_STRING* left, const UNICODE_STRING* right,
                                                        BOOLEAN ignoresCase);

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

UNICODE_STRING NativeText(std::u16string_view text) {
    const auto bytes = static_cast<USHORT>(text.size() * sizeof(char16_t));
    return {bytes, bytes, const_cast<PWSTR>(Wide(text.data()))};
}

}  // namespace

// Not CompareStringOrdinal, which Windows 5.2 lacks, nor CompareString, which takes a combining character and its
// composed form for one and ignores some characters: no file system does.
bool EqualPaths(std::u16string_view a, std::u16string_view b) {
    constexpr std::size_t kMaxUnits = 0x7FFF;  // of the system's text record
    if (a.size() > kMaxUnits || b.size() > kMaxUnits) return false;
    const UNICODE_STRING left = NativeText(a);
    const UNICODE_STRING right = NativeText(b);
    return RtlEqualUnicodeString(&left, &right, TRUE) != FALSE;
}

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
