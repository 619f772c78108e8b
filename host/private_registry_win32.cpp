#include "host/private_registry_win32.h"

#include <cwchar>
#include <string_view>
#include <utility>
#include <windows.h>

#include "host/interrupt_win32.h"

namespace tarn::host {

namespace {

constexpr wchar_t kAppPaths[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths";
constexpr wchar_t kSuiteEntry[] = L"CoreScan.exe";
constexpr std::wstring_view kAgentEntry = L"HOSTASVC";  // followed by the version of the agent
constexpr wchar_t kParent[] = L"Software\\tarnhost";    // below HKEY_CURRENT_USER, one key for each process
constexpr DWORD kPathBytes = 520;                       // of the value "Path"

class RegistryKey {
 public:
    RegistryKey() = default;
    ~RegistryKey() {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    LSTATUS Open(HKEY parent, const wchar_t* name) { return RegOpenKeyExW(parent, name, 0, KEY_READ, &key_); }
    LSTATUS Create(HKEY parent, const wchar_t* name) {
        return RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key_, nullptr);
    }
    [[nodiscard]] HKEY Get() const { return key_; }

 private:
    HKEY key_ = nullptr;
};

std::wstring OwnKey() {
    return std::wstring(kParent) + L"\\" + std::to_wstring(GetCurrentProcessId());
}

std::wstring ReadPath(HKEY appPaths, const wchar_t* entry) {
    RegistryKey key;
    wchar_t path[kPathBytes / sizeof(wchar_t) + 1] = {};
    DWORD bytes = kPathBytes;
    if (key.Open(appPaths, entry) != ERROR_SUCCESS ||
        RegQueryValueExW(key.Get(), L"Path", nullptr, nullptr, reinterpret_cast<BYTE*>(path), &bytes) != ERROR_SUCCESS)
        return {};
    return path;
}

LSTATUS WritePath(HKEY appPaths, const wchar_t* entry, const std::wstring& path) {
    RegistryKey key;
    const LSTATUS created = key.Create(appPaths, entry);
    if (created != ERROR_SUCCESS) return created;
    return RegSetValueExW(key.Get(), L"Path", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
}

// The library also looks for the managed-client agent, so the view keeps what the machine says about it.
void CopyAgentEntries(HKEY target) {
    RegistryKey source;
    if (source.Open(HKEY_LOCAL_MACHINE, kAppPaths) != ERROR_SUCCESS) return;
    wchar_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD length = static_cast<DWORD>(std::size(name));
        if (RegEnumKeyExW(source.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return;
        if (length < kAgentEntry.size() || _wcsnicmp(name, kAgentEntry.data(), kAgentEntry.size()) != 0) continue;
        if (const std::wstring path = ReadPath(source.Get(), name); !path.empty()) WritePath(target, name, path);
    }
}

// The names of accounts are looked up with the computer's name, which Wine reads in the process that asks. Without it
// no account has a name, and every rule that needs the user fails.
void CopyComputerName(HKEY view) {
    constexpr const wchar_t* kKeys[] = {L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName",
                                        L"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName"};
    constexpr const wchar_t* kValue = L"ComputerName";
    for (const wchar_t* name : kKeys) {
        RegistryKey source;
        RegistryKey target;
        BYTE text[256];
        DWORD bytes = sizeof text;
        DWORD type = 0;
        if (source.Open(HKEY_LOCAL_MACHINE, name) != ERROR_SUCCESS ||
            RegQueryValueExW(source.Get(), kValue, nullptr, &type, text, &bytes) != ERROR_SUCCESS ||
            target.Create(view, name) != ERROR_SUCCESS)
            continue;
        RegSetValueExW(target.Get(), kValue, 0, type, text, bytes);
    }
}

void DeleteOwnKey() {
    RegDeleteTreeW(HKEY_CURRENT_USER, OwnKey().c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, kParent);  // stays while another process has a key in it
}

// What ends the process runs no destructors: a second Ctrl+C, a console that is closed, the end of the session. It is
// asked before the handler of interrupt_win32.cpp, which was registered earlier and lets the first Ctrl+C end nothing.
BOOL WINAPI RemoveAtEnd(DWORD event) {
    const bool isKey = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
    if (!isKey || IsInterrupted()) DeleteOwnKey();
    return FALSE;
}

}  // namespace

bool PrivateRegistry::Create(const std::wstring& installFolder, unsigned long& error) {
    SetConsoleCtrlHandler(RemoveAtEnd, TRUE);
    RegistryKey view;
    RegistryKey appPaths;
    LSTATUS status = view.Create(HKEY_CURRENT_USER, OwnKey().c_str());
    if (status == ERROR_SUCCESS) status = appPaths.Create(view.Get(), kAppPaths);
    if (status == ERROR_SUCCESS) status = WritePath(appPaths.Get(), kSuiteEntry, installFolder);
    if (status == ERROR_SUCCESS) {
        CopyAgentEntries(appPaths.Get());
        CopyComputerName(view.Get());
        status = RegOverridePredefKey(HKEY_LOCAL_MACHINE, view.Get());
    }
    if (status == ERROR_SUCCESS) {
        isOverriding_ = true;
        return true;
    }
    error = static_cast<unsigned long>(status);
    DeleteOwnKey();
    return false;
}

void PrivateRegistry::Remove() {
    if (!std::exchange(isOverriding_, false)) return;
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    DeleteOwnKey();
    SetConsoleCtrlHandler(RemoveAtEnd, FALSE);
}

std::wstring RegisteredInstallFolder() {
    RegistryKey appPaths;
    if (appPaths.Open(HKEY_LOCAL_MACHINE, kAppPaths) != ERROR_SUCCESS) return {};
    return ReadPath(appPaths.Get(), kSuiteEntry);
}

}  // namespace tarn::host
