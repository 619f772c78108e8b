// A tarn.dll that is loaded by its path, with its exports bound, until the end of the object.
// It finds its companions by the registry, which is the test's own.
#ifndef TARN_TESTS_SYSTEM_LOADED_TARN_WIN32_H
#define TARN_TESTS_SYSTEM_LOADED_TARN_WIN32_H

#include <filesystem>
#include <windows.h>

#include "tarn/tarn.h"

namespace tarn::system_test {

// The thirteen exports of a loaded tarn.dll.
struct Exports {
    decltype(&::WSInit) WSInit;
    decltype(&::WSDeinit) WSDeinit;
    decltype(&::WSShutDown) WSShutDown;
    decltype(&::WSSettingsChanged) WSSettingsChanged;
    decltype(&::WSUpdateSettingsChanged) WSUpdateSettingsChanged;
    decltype(&::WSScanUrl) WSScanUrl;
    decltype(&::WSWebExtScanUrl) WSWebExtScanUrl;
    decltype(&::WSGetUrlScanFeatureStatus) WSGetUrlScanFeatureStatus;
    decltype(&::WSScanPacket) WSScanPacket;
    decltype(&::WSDropConnection) WSDropConnection;
    decltype(&::WSAddURLToIDSBlockedList) WSAddURLToIDSBlockedList;
    decltype(&::WSScanLogonEventForPCCTRL) WSScanLogonEventForPCCTRL;
    decltype(&::WSScanSMBPacket) WSScanSMBPacket;
};

// The folder of the running program; the built tarn.dll stands in bin beside it.
std::filesystem::path OwnFolder();
std::filesystem::path BuiltTarn();

class LoadedTarn {
 public:
    explicit LoadedTarn(const std::filesystem::path& path);
    ~LoadedTarn();
    LoadedTarn(const LoadedTarn&) = delete;
    LoadedTarn& operator=(const LoadedTarn&) = delete;

    // Null when the library or one of its exports is missing.
    [[nodiscard]] HMODULE Module() const { return module_; }
    [[nodiscard]] const Exports& Functions() const { return functions_; }

 private:
    HMODULE module_;
    Exports functions_{};
};

}  // namespace tarn::system_test

#endif
