#include "policy_access_win32.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <mutex>
#include <windows.h>

#include "base/bounded_text.h"
#include "machine/win32_owners.h"
#include "module_folder_win32.h"
#include "policy/list_files.h"
#include "policy/policy_store.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::uint64_t kMaxFileSize = std::uint64_t{64} * 1024 * 1024;
constexpr const wchar_t* kFileVariable = L"TARN_POLICY_FILE";
constexpr const wchar_t* kQuietVariable = L"TARN_POLICY_QUIET";  // set: nothing is said of the policy
constexpr std::u16string_view kSettingsReader = u"setrd.dll";
constexpr std::uint32_t kOtherBuild = ERROR_REVISION_MISMATCH;

// What a module must agree in with another one to look at its Policy.
std::string Build() {
    return fmt::format("{}/{}/{}/{}", TARN_VERSION, __VERSION__, TARN_POLICY_LAYOUT, sizeof(Policy));
}

std::uint64_t Number(std::uint32_t high, std::uint32_t low) {
    return std::uint64_t{high} << 32 | low;
}

bool StateOf(HANDLE file, FileState& state, std::uint32_t& error) {
    BY_HANDLE_FILE_INFORMATION facts{};
    if (GetFileInformationByHandle(file, &facts) == 0) {
        error = GetLastError();
        return false;
    }
    state = {Number(facts.nFileSizeHigh, facts.nFileSizeLow),
             Number(facts.ftLastWriteTime.dwHighDateTime, facts.ftLastWriteTime.dwLowDateTime),
             facts.dwVolumeSerialNumber, Number(facts.nFileIndexHigh, facts.nFileIndexLow)};
    return true;
}

// The file that the variable names, else the one beside this module. False when the path is too long.
bool PolicyPath(base::PathBuffer& path) {
    const DWORD length =
        GetEnvironmentVariableW(kFileVariable, machine::Wide(path.data()), static_cast<DWORD>(path.size()));
    if (length != 0) return length < path.size();
    return PathBesideModule(Utf16(kPolicyFile), path);
}

HANDLE Open(const std::u16string& path, DWORD access, DWORD alsoShared) {
    return CreateFileW(machine::Wide(path.c_str()), access, FILE_SHARE_READ | FILE_SHARE_DELETE | alsoShared, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

bool LookAt(const std::u16string& path, FileState& state, std::uint32_t& error) {
    const machine::UniqueFile file(Open(path, FILE_READ_ATTRIBUTES, FILE_SHARE_WRITE));
    if (file.Owns()) return StateOf(file.Get(), state, error);
    error = GetLastError();
    return false;
}

// Nobody may have it open for writing meanwhile.
bool ReadWhole(const std::u16string& path, std::uint64_t mostBytes, std::string& text, FileState& state,
               std::uint32_t& error) {
    const machine::UniqueFile file(Open(path, GENERIC_READ, 0));
    if (!file.Owns()) {
        error = GetLastError();
        return false;
    }
    if (!StateOf(file.Get(), state, error)) return false;
    error = ERROR_FILE_TOO_LARGE;
    if (state.size > mostBytes) return false;
    text.resize(static_cast<std::size_t>(state.size));
    DWORD read = 0;
    if (!text.empty() && ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) == 0) {
        error = GetLastError();
        return false;
    }
    text.resize(read);
    return true;
}

std::string Utf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) return {};
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();
    return utf8;
}

bool IsAbsolute(const std::string& name) {
    return name.starts_with('/') || name.starts_with('\\') || (name.size() > 1 && name[1] == ':');
}

class FileOnDisk : public PolicyFile {
 public:
    FileOnDisk(const base::PathBuffer& path, bool speaks)
        : path_(path.data()), folder_(path_.substr(0, path_.find_last_of(u"/\\:") + 1)), speaks_(speaks) {}

    bool Look(FileState& state, std::uint32_t& error) override { return LookAt(path_, state, error); }
    bool Read(std::string& text, FileState& state, std::uint32_t& error) override {
        return ReadWhole(path_, kMaxFileSize, text, state, error);
    }

    std::vector<std::string> ListNames(const std::string& pattern) override {
        const NamePattern parts = SplitPattern(pattern);
        std::vector<std::string> names;
        WIN32_FIND_DATAW found{};
        HANDLE search = FindFirstFileW(machine::Wide(PathOf(parts.folder + "*").c_str()), &found);
        if (search == INVALID_HANDLE_VALUE) return {};
        do {
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
            const std::string name = Utf8(found.cFileName);
            if (MatchesName(name, parts.name)) names.push_back(parts.folder + name);
        } while (FindNextFileW(search, &found) != 0);
        FindClose(search);
        std::sort(names.begin(), names.end());
        return names;
    }
    bool LookAtList(const std::string& name, FileState& state, std::uint32_t& error) override {
        return LookAt(PathOf(name), state, error);
    }
    bool ReadList(const std::string& name, std::string& text, FileState& state, std::uint32_t& error) override {
        return ReadWhole(PathOf(name), kMaxListBytes, text, state, error);
    }

    bool FindSid(const std::string& name, std::array<std::uint8_t, 68>& sid) override {
        sid.fill(0);
        DWORD size = static_cast<DWORD>(sid.size());
        base::PathBuffer domain;
        DWORD domainLength = static_cast<DWORD>(domain.size());
        SID_NAME_USE use{};
        return LookupAccountNameW(nullptr, machine::Wide(Utf16(name).c_str()), sid.data(), &size,
                                  machine::Wide(domain.data()), &domainLength, &use) != 0 &&
               use == SidTypeUser;
    }

    [[nodiscard]] std::string Name() const override { return Utf8(machine::Wide(path_.c_str() + folder_.size())); }

    std::uint64_t Now() override {
        FILETIME now{};
        GetSystemTimeAsFileTime(&now);
        return Number(now.dwHighDateTime, now.dwLowDateTime);
    }

    void Wait(std::uint64_t time) override {
        Sleep(static_cast<DWORD>((time + PolicyStore::kMillisecond - 1) / PolicyStore::kMillisecond));
    }

    void Say(const std::string& lines) override {
        if (speaks_) std::fputs(lines.c_str(), stderr);
    }

 private:
    // Of a list; its names are meant from the policy's folder on.
    [[nodiscard]] std::u16string PathOf(const std::string& name) const {
        return IsAbsolute(name) ? Utf16(name) : folder_ + Utf16(name);
    }

    std::u16string path_;
    std::u16string folder_;  // with the separator at its end
    bool speaks_;
};

class StoreLock {
 public:
    StoreLock() { InitializeCriticalSection(&section_); }
    ~StoreLock() { DeleteCriticalSection(&section_); }
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;
    void lock() { EnterCriticalSection(&section_); }
    void unlock() { LeaveCriticalSection(&section_); }

 private:
    CRITICAL_SECTION section_;
};

StoreLock storeLock;
PolicyStore store;  // under storeLock

std::shared_ptr<const Policy> ReadOwn(bool speaks, std::uint32_t& error) {
    base::PathBuffer path;
    error = ERROR_BUFFER_OVERFLOW;
    if (!PolicyPath(path)) return nullptr;
    FileOnDisk file(path, speaks);
    const std::lock_guard lock(storeLock);
    return store.Get(file, error);
}

std::uint32_t LendOwn(bool speaks, PolicyUse use, void* context) {
    std::uint32_t error = 0;
    const std::shared_ptr<const Policy> policy = ReadOwn(speaks, error);
    if (policy == nullptr) return error;
    use(context, *policy);
    return 0;
}

}  // namespace

std::uint32_t SharePolicy(const char* build, PolicyUse use, void* context) {
    if (build == nullptr || use == nullptr) return kOtherBuild;
    try {
        if (build != Build()) return kOtherBuild;
        return LendOwn(GetEnvironmentVariableW(kQuietVariable, nullptr, 0) == 0, use, context);
    } catch (...) {
        return ERROR_OUTOFMEMORY;
    }
}

std::uint32_t LendPolicy(PolicyUse use, void* context) {
    base::PathBuffer path;
    machine::UniqueModule reader;
    // The one of this folder, kept loaded for the time of the call.
    if (PathBesideModule(kSettingsReader, path) &&
        GetModuleHandleExW(0, machine::Wide(path.data()), reader.Out()) != 0) {
        const auto share = reinterpret_cast<SharePolicyFn>(
            reinterpret_cast<void*>(GetProcAddress(reader.Get(), "ShareReferencePolicy")));
        const std::uint32_t error = share != nullptr ? share(Build().c_str(), use, context) : kOtherBuild;
        if (error != kOtherBuild) return error;
    }
    // Only the settings reader says what is wrong with the policy, or each module would.
    return LendOwn(false, use, context);
}

}  // namespace tarn::policy
