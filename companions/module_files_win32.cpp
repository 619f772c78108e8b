#include "module_files_win32.h"

#include <cstdio>
#include <fmt/format.h>
#include <limits>
#include <windows.h>

#include "base/bounded_text.h"
#include "machine/install_folder.h"
#include "machine/win32_owners.h"
#include "policy/policy_reader.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::uint64_t kMaxFileSize = std::uint64_t{64} * 1024 * 1024;

// A path in the folder that this module was loaded from.
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

bool ReadWhole(const base::PathBuffer& path, std::vector<std::uint8_t>& bytes, std::uint32_t& error) {
    const machine::UniqueFile file(CreateFileW(machine::Wide(path.data()), GENERIC_READ,
                                               FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                               FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!file.Owns() || GetFileSizeEx(file.Get(), &size) == 0) {
        error = GetLastError();
        return false;
    }
    if (static_cast<std::uint64_t>(size.QuadPart) > kMaxFileSize) {
        error = ERROR_FILE_TOO_LARGE;
        return false;
    }
    bytes.resize(static_cast<std::size_t>(size.QuadPart));
    DWORD read = 0;
    if (!bytes.empty() && ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) == 0) {
        error = GetLastError();
        return false;
    }
    bytes.resize(read);
    return true;
}

bool WriteAll(HANDLE file, const void* bytes, std::size_t count) {
    DWORD written = 0;
    return WriteFile(file, bytes, static_cast<DWORD>(count), &written, nullptr) != 0 && written == count;
}

bool SidOfAccount(const std::string& name, std::array<std::uint8_t, 68>& sid) {
    sid.fill(0);
    DWORD size = static_cast<DWORD>(sid.size());
    base::PathBuffer domain;
    DWORD domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use{};
    return LookupAccountNameW(nullptr, machine::Wide(Utf16(name).c_str()), sid.data(), &size,
                              machine::Wide(domain.data()), &domainLength, &use) != 0;
}

std::u16string PolicyName() {
    return Utf16(kPolicyFile);
}

}  // namespace

bool LoadPolicy(Policy& policy, std::uint32_t& error) {
    base::PathBuffer path;
    std::vector<std::uint8_t> bytes;
    if (!PathBesideModule(PolicyName(), path)) {
        error = ERROR_BUFFER_OVERFLOW;
        return false;
    }
    if (!ReadWhole(path, bytes, error)) return false;
    ReadPolicy read = ParsePolicy({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, SidOfAccount);
    if (!read.mistakes.empty()) {
        error = ERROR_INVALID_DATA;
        return false;
    }
    policy = std::move(read.policy);
    return true;
}

void ReportPolicyMistakes() {
    base::PathBuffer path;
    std::vector<std::uint8_t> bytes;
    std::uint32_t error = 0;
    if (!PathBesideModule(PolicyName(), path)) return;
    if (!ReadWhole(path, bytes, error)) {
        std::fputs(fmt::format("{}: cannot be read (error {}); put the policy beside the companion modules\n",
                               kPolicyFile, error)
                       .c_str(),
                   stderr);
        return;
    }
    const ReadPolicy read = ParsePolicy({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, SidOfAccount);
    for (const Mistake& mistake : read.mistakes) std::fputs((Describe(kPolicyFile, mistake) + "\n").c_str(), stderr);
    if (!read.mistakes.empty()) std::fputs("the policy has mistakes and is not used: every feature is off\n", stderr);
}

bool ReadStateFile(std::u16string_view name, std::vector<std::uint8_t>& bytes, std::uint32_t& error) {
    base::PathBuffer path;
    return PathBesideModule(name, path) && ReadWhole(path, bytes, error);
}

bool WriteStateFile(std::u16string_view name, const std::vector<std::uint8_t>& bytes, std::uint32_t& error) {
    base::PathBuffer path;
    base::PathBuffer temporary;
    if (!PathBesideModule(name, path)) return false;
    if (!base::Succeeded(base::FormatText(temporary, {base::FieldText(path), u".new"}))) return false;
    {
        const machine::UniqueFile file(CreateFileW(machine::Wide(temporary.data()), GENERIC_WRITE, 0, nullptr,
                                                   CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!file.Owns() || !WriteAll(file.Get(), bytes.data(), bytes.size())) {
            error = GetLastError();
            return false;
        }
    }
    if (MoveFileExW(machine::Wide(temporary.data()), machine::Wide(path.data()),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
        return true;
    error = GetLastError();
    return false;
}

bool AppendStateLine(std::u16string_view name, std::string_view line) {
    base::PathBuffer path;
    if (!PathBesideModule(name, path)) return false;
    const machine::UniqueFile file(CreateFileW(machine::Wide(path.data()), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const std::string text = std::string(line) + "\r\n";
    return file.Owns() && WriteAll(file.Get(), text.data(), text.size());
}

bool StateFileExists(std::u16string_view name) {
    base::PathBuffer path;
    return PathBesideModule(name, path) && GetFileAttributesW(machine::Wide(path.data())) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace tarn::policy
