// The built tarn.dll with the quiet modules in an install folder of its own, and a registry of this process alone that
// names the folder. What the modules answer is set before Start; nothing is measured here.
#ifndef TARN_BENCH_DLL_INSTALLED_LIBRARY_H
#define TARN_BENCH_DLL_INSTALLED_LIBRARY_H

#include <cstdint>
#include <filesystem>
#include <string>

#include "tarn/tarn.h"

namespace tarn::dll_bench {

class InstalledLibrary {
 public:
    InstalledLibrary();
    ~InstalledLibrary();
    InstalledLibrary(const InstalledLibrary&) = delete;
    InstalledLibrary& operator=(const InstalledLibrary&) = delete;

    // Empty when everything is there, otherwise what is missing.
    [[nodiscard]] const std::string& Problem() const { return problem_; }
    bool Start();
    void Stop();

    decltype(&::WSScanUrl) scanUrl = nullptr;
    decltype(&::WSWebExtScanUrl) scanExtensionUrl = nullptr;
    decltype(&::WSScanPacket) scanPacket = nullptr;
    decltype(&::WSScanSMBPacket) scanSmbPacket = nullptr;
    decltype(&::WSAddURLToIDSBlockedList) addToIdsBlockedList = nullptr;

 private:
    void* Find(const char* name);
    void MakeFolder();
    void NameFolderInRegistry();
    template <class Function>
    void Bind(const char* name, Function& function) {
        function = reinterpret_cast<Function>(Find(name));
        if (function == nullptr) problem_ = std::string("tarn.dll has no ") + name;
    }

    decltype(&::WSInit) init_ = nullptr;
    decltype(&::WSDeinit) deinit_ = nullptr;
    std::string problem_;
    std::filesystem::path folder_;
    std::wstring registryName_;
    void* registry_ = nullptr;
    void* library_ = nullptr;
};

}  // namespace tarn::dll_bench

#endif
