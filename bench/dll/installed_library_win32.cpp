#include <fstream>
#include <windows.h>

#include "tarn/companion_modules.h"

#include "dll/installed_library.h"

namespace tarn::dll_bench {
namespace {

#define TARN_FILE(module, file, functions) file,
constexpr const char* kModules[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE
constexpr const wchar_t* kAppPath = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CoreScan.exe";

std::filesystem::path OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

}  // namespace

InstalledLibrary::InstalledLibrary() {
    MakeFolder();
    NameFolderInRegistry();
    library_ = LoadLibraryW((OwnFolder().parent_path() / "bin" / "tarn.dll").c_str());
    if (library_ == nullptr) {
        problem_ = "tarn.dll does not load: error " + std::to_string(GetLastError());
        return;
    }
    Bind("WSInit", init_);
    Bind("WSDeinit", deinit_);
    Bind("WSScanUrl", scanUrl);
    Bind("WSWebExtScanUrl", scanExtensionUrl);
    Bind("WSScanPacket", scanPacket);
    Bind("WSScanSMBPacket", scanSmbPacket);
    Bind("WSAddURLToIDSBlockedList", addToIdsBlockedList);
}

InstalledLibrary::~InstalledLibrary() {
    if (deinit_ != nullptr) deinit_(nullptr);
    if (library_ != nullptr) FreeLibrary(static_cast<HMODULE>(library_));
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    if (registry_ != nullptr) RegCloseKey(static_cast<HKEY>(registry_));
    RegDeleteTreeW(HKEY_CURRENT_USER, registryName_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void* InstalledLibrary::Find(const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library_), name));
}

bool InstalledLibrary::Start() {
    std::uint32_t error = 0;
    return init_(0, &error) == 1;
}

void InstalledLibrary::Stop() {
    deinit_(nullptr);
}

void InstalledLibrary::MakeFolder() {
    folder_ = OwnFolder() / ("bench-" + std::to_string(GetCurrentProcessId()));
    std::error_code error;
    std::filesystem::create_directories(folder_, error);
    for (const char* module : kModules)
        std::filesystem::copy_file(OwnFolder() / "quiet" / module, folder_ / module,
                                   std::filesystem::copy_options::overwrite_existing, error);
    if (error) problem_ = "the modules cannot be copied to " + folder_.string();
    std::ofstream(folder_ / "dnsblock.ini") << "[WEB_SECURITY]\r\nBLOCK_URL_IN_DNS=1\r\n";
}

void InstalledLibrary::NameFolderInRegistry() {
    registryName_ = L"Software\\tarn-bench-" + std::to_wstring(GetCurrentProcessId());
    HKEY key = nullptr;
    const std::wstring path = folder_.wstring() + L"\\";
    HKEY own = nullptr;
    const bool made = RegCreateKeyExW(HKEY_CURRENT_USER, registryName_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                      &own, nullptr) == ERROR_SUCCESS;
    registry_ = own;
    if (!made || RegOverridePredefKey(HKEY_LOCAL_MACHINE, own) != ERROR_SUCCESS ||
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, kAppPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) !=
            ERROR_SUCCESS) {
        problem_ = "no registry for this process";
        return;
    }
    RegSetValueExW(key, L"Path", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                   static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
}

}  // namespace tarn::dll_bench
