#include "state_files_win32.h"

#include <cstdio>
#include <string>
#include <windows.h>

// Behind windows.h, whose types it needs.
#include <sddl.h>

#include "base/bounded_text.h"
#include "machine/win32_owners.h"

namespace tarn::policy {
namespace {

constexpr std::uint64_t kMaxFileSize = std::uint64_t{64} * 1024 * 1024;
constexpr std::u16string_view kProductFolder = u"\\tarn";

bool Variable(const wchar_t* name, base::PathBuffer& value) {
    const DWORD length = GetEnvironmentVariableW(name, machine::Wide(value.data()), static_cast<DWORD>(value.size()));
    return length != 0 && length < value.size();
}

struct StateFolder {
    base::PathBuffer path;
    bool isShared = false;  // by the accounts of the machine
};

bool FindStateFolder(StateFolder& folder) {
    // One that is set and too long must not lead to the machine's own.
    constexpr const wchar_t* kFolderVariable = L"TARN_STATE_FOLDER";
    if (GetEnvironmentVariableW(kFolderVariable, nullptr, 0) > 1) return Variable(kFolderVariable, folder.path);
    base::PathBuffer data;
    if (!Variable(L"ProgramData", data)) return false;
    folder.isShared = true;
    return base::Succeeded(base::FormatText(folder.path, {base::FieldText(data), kProductFolder}));
}

bool StatePath(std::u16string_view name, base::PathBuffer& path) {
    StateFolder folder;
    return FindStateFolder(folder) &&
           base::Succeeded(base::FormatText(path, {base::FieldText(folder.path), u"\\", name}));
}

// System, administrators and whoever made the folder may write there; the users of the machine read what a service
// keeps, or they could give themselves more time.
void MakeSharedFolder(const base::PathBuffer& path) {
    constexpr const wchar_t* kAccess = L"D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;OW)(A;OICI;FRFX;;;BU)";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kAccess, SDDL_REVISION_1, &descriptor, nullptr) == 0)
        return;
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
    CreateDirectoryW(machine::Wide(path.data()), &attributes);
    LocalFree(descriptor);
}

// A folder that cannot be made shows in the write that follows.
bool StatePathForWrite(std::u16string_view name, base::PathBuffer& path) {
    StateFolder folder;
    if (!FindStateFolder(folder)) return false;
    if (folder.isShared)
        MakeSharedFolder(folder.path);
    else
        CreateDirectoryW(machine::Wide(folder.path.data()), nullptr);
    return StatePath(name, path);
}

bool WriteAll(HANDLE file, const void* bytes, std::size_t count) {
    DWORD written = 0;
    return WriteFile(file, bytes, static_cast<DWORD>(count), &written, nullptr) != 0 && written == count;
}

}  // namespace

bool ReadStateFile(std::u16string_view name, std::vector<std::uint8_t>& bytes, std::uint32_t& error) {
    base::PathBuffer path;
    error = ERROR_PATH_NOT_FOUND;
    if (!StatePath(name, path)) return false;
    const machine::UniqueFile file(CreateFileW(machine::Wide(path.data()), GENERIC_READ,
                                               FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                               FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file.Owns() || GetFileSizeEx(file.Get(), &size) == 0) {
        error = GetLastError();
        if (error == ERROR_PATH_NOT_FOUND) error = ERROR_FILE_NOT_FOUND;  // nothing was ever kept
        return false;
    }
    error = ERROR_FILE_TOO_LARGE;
    if (static_cast<std::uint64_t>(size.QuadPart) > kMaxFileSize) return false;
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    DWORD read = 0;
    if (!bytes.empty() && ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) == 0) {
        error = GetLastError();
        return false;
    }
    bytes.resize(read);
    error = 0;
    return true;
}

bool WriteStateFile(std::u16string_view name, const std::vector<std::uint8_t>& bytes, std::uint32_t& error) {
    base::PathBuffer path;
    base::PathBuffer temporary;
    error = ERROR_PATH_NOT_FOUND;
    if (!StatePathForWrite(name, path)) return false;
    if (!base::Succeeded(base::FormatText(temporary, {base::FieldText(path), u".new"}))) return false;
    {
        const machine::UniqueFile file(CreateFileW(machine::Wide(temporary.data()), GENERIC_WRITE, 0, nullptr,
                                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        // On the disk before the name changes, or a lost power supply would leave the name without the content.
        if (!file.Owns() || !WriteAll(file.Get(), bytes.data(), bytes.size()) || FlushFileBuffers(file.Get()) == 0) {
            error = GetLastError();
            return false;
        }
    }
    if (MoveFileExW(machine::Wide(temporary.data()), machine::Wide(path.data()),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0) {
        error = GetLastError();
        return false;
    }
    error = 0;
    return true;
}

bool AppendStateLine(std::u16string_view name, std::string_view line) {
    base::PathBuffer path;
    if (!StatePathForWrite(name, path)) return false;
    const machine::UniqueFile file(CreateFileW(machine::Wide(path.data()), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const std::string text = std::string(line) + "\r\n";
    return file.Owns() && WriteAll(file.Get(), text.data(), text.size());
}

void ReportDamage(std::u16string_view name) {
    const std::string file(name.begin(), name.end());  // the names of these files are ASCII
    std::fputs((file + " in the state folder is damaged and is not used\n").c_str(), stderr);
}

}  // namespace tarn::policy
