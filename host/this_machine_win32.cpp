#include "host/this_machine_win32.h"

#include <cstring>
#include <lmcons.h>
#include <windows.h>

#include "host/loaded_library_win32.h"
#include "host/private_registry_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

constexpr const wchar_t* kStatusReader = L"statrd.dll";

std::wstring CurrentUser() {
    wchar_t name[UNLEN + 1] = {};
    DWORD length = UNLEN + 1;
    return GetUserNameW(name, &length) != 0 ? name : std::wstring();
}

// "DOMAIN\name" or "name@domain" without its domain.
std::string WithoutDomain(const std::string& name) {
    const std::size_t separator = name.find('\\');
    return separator == std::string::npos ? name.substr(0, name.find('@')) : name.substr(separator + 1);
}

TarnSystemTime FromSystem(const SYSTEMTIME& system) {
    TarnSystemTime time{};
    static_assert(sizeof time == sizeof system);
    std::memcpy(&time, &system, sizeof time);
    return time;
}

template <class Function>
bool Bind(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    return function != nullptr;
}

}  // namespace

std::wstring InstallFolderFor(const LibraryOptions& options) {
    if (!options.installFolder.empty()) return FullFolder(ToWide(options.installFolder));
    std::wstring registered = RegisteredInstallFolder();
    return registered.empty() ? OwnFolder() : registered;
}

bool FindMachineAccount(const std::string& name, Account& account) {
    const std::wstring wanted = name.empty() ? CurrentUser() : ToWide(name);
    if (wanted.empty()) return false;
    account = {};
    DWORD sidSize = static_cast<DWORD>(account.sid.size());
    wchar_t domain[260] = {};
    DWORD domainLength = 260;
    SID_NAME_USE use{};
    if (LookupAccountNameW(nullptr, wanted.c_str(), account.sid.data(), &sidSize, domain, &domainLength, &use) == 0 ||
        use != SidTypeUser)
        return false;
    account.name = WithoutDomain(FromWide(wanted));
    return true;
}

TarnSystemTime MachineTime() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return FromSystem(now);
}

std::optional<TarnSystemTime> MachineTimeOf(std::uint64_t nanoseconds) {
    constexpr std::uint64_t kUnitsUntil1970 = 116444736000000000;  // of 100 nanoseconds, from 1601 on
    const std::uint64_t units = kUnitsUntil1970 + nanoseconds / 100;
    const FILETIME file{static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME utc{};
    SYSTEMTIME local{};
    if (FileTimeToSystemTime(&file, &utc) == 0 || SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) == 0)
        return std::nullopt;
    return FromSystem(local);
}

std::optional<std::string> AsciiHostOf(const std::string& utf8) {
    constexpr int kMaxAscii = 256;
    const std::wstring wide = ToWide(utf8);
    wchar_t ascii[kMaxAscii] = {};
    const int length = IdnToAscii(0, wide.c_str(), static_cast<int>(wide.size()), ascii, kMaxAscii);
    if (length <= 0) return std::nullopt;
    return FromWide({ascii, static_cast<std::size_t>(length)});
}

std::vector<SavedSessionRecord> ReadSavedSessionsOf(const std::wstring& installFolder) {
    std::vector<SavedSessionRecord> sessions;
    const HMODULE module = LoadLibraryW((installFolder + kStatusReader).c_str());
    if (module == nullptr) return sessions;
    ReadPCSystemControlSettingsFn read = nullptr;
    ReleasePCSystemControlSettingsFn release = nullptr;
    PcSystemControlRecord record{};
    std::uint32_t error = 0;
    if (Bind(module, "ReadPCSystemControlSettings", read) && Bind(module, "ReleasePCSystemControlSettings", release) &&
        read(0, &record, &error) != 0) {
        const SavedSessionRecord* const records = record.records;
        if (records != nullptr) sessions.assign(records, records + record.count);
        release(&record);
    }
    FreeLibrary(module);
    return sessions;
}

std::size_t CountSavedAnswersOf(const std::wstring& installFolder) {
    const HMODULE module = LoadLibraryW((installFolder + kStatusReader).c_str());
    if (module == nullptr) return 0;
    ReadDNSCacheSettingsFn read = nullptr;
    ReleaseDNSCacheSettingsFn release = nullptr;
    DnsCacheRecord record{};
    std::uint32_t error = 0;
    std::size_t count = 0;
    if (Bind(module, "ReadDNSCacheSettings", read) && Bind(module, "ReleaseDNSCacheSettings", release) &&
        read(0, &record, &error) != 0) {
        // The library saves its table as it is, with the slots that no answer has taken yet.
        const DnsAnswerEntry* const entries = record.entries;
        for (std::uint16_t i = 0; entries != nullptr && i < record.count; ++i)
            if (entries[i].addressCount != 0) ++count;
        release(&record);
    }
    FreeLibrary(module);
    return count;
}

}  // namespace tarn::host
