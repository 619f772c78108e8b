#include "system/private_registry_win32.h"

namespace tarn::system_test {
namespace {

const std::wstring kAppPaths = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";

void SetPath(HKEY root, const std::wstring& key, const std::wstring& value) {
    HKEY handle = nullptr;
    if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr) != ERROR_SUCCESS)
        return;
    RegSetValueExW(handle, L"Path", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(handle);
}

}  // namespace

PrivateRegistry::PrivateRegistry() : name_(L"Software\\tarn-system-test-" + std::to_wstring(GetCurrentProcessId())) {
    RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());
    if (RegCreateKeyExW(HKEY_CURRENT_USER, name_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &root_, nullptr) !=
            ERROR_SUCCESS ||
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, root_) != ERROR_SUCCESS)
        root_ = nullptr;
}

PrivateRegistry::~PrivateRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(root_);
    RegDeleteTreeW(HKEY_CURRENT_USER, name_.c_str());
}

void PrivateRegistry::SetInstallPath(const std::wstring& path) {
    SetPath(root_, kAppPaths + L"CoreScan.exe", path);
}

void PrivateRegistry::RemoveInstallPath() {
    RegDeleteTreeW(root_, (kAppPaths + L"CoreScan.exe").c_str());
}

void PrivateRegistry::RegisterAgent(const std::wstring& executable) {
    SetPath(root_, kAppPaths + executable, L"C:\\agent\\");
}

}  // namespace tarn::system_test
