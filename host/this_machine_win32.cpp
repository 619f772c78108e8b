#include "host/this_machine_win32.h"

#include <cstring>
#include <lmcons.h>
#include <windows.h>

#include "host/loaded_library_win32.h"
#include "host/private_registry_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

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
    TarnSystemTime time{};
    static_assert(sizeof time == sizeof now);
    std::memcpy(&time, &now, sizeof time);
    return time;
}

std::vector<SavedSessionRecord> ReadSavedSessionsOf(const std::wstring& installFolder) {
    std::vector<SavedSessionRecord> sessions;
    const HMODULE module = LoadLibraryW((installFolder + L"statrd.dll").c_str());
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

}  // namespace tarn::host
