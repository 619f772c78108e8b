// Another Windows for the loaded library: what the entry points for version and architecture answer, and which of them
// are missing. Every other function is found as before. One at a time.
#ifndef TARN_TESTS_SYSTEM_FAKE_WINDOWS_VERSION_WIN32_H
#define TARN_TESTS_SYSTEM_FAKE_WINDOWS_VERSION_WIN32_H

#include <vector>
#include <windows.h>

#include "system/import_patch_win32.h"

namespace tarn::system_test {

struct ReportedWindows {
    DWORD major = 10;
    DWORD minor = 0;
    DWORD build = 19045;
    WORD servicePack = 0;
    BYTE productType = VER_NT_WORKSTATION;
    WORD architecture = PROCESSOR_ARCHITECTURE_AMD64;

    bool hasRtlGetVersion = true;
    bool hasGetVersionEx = true;
    bool hasRtlVerifyVersionInfo = true;
    bool hasGetNativeSystemInfo = true;
    LONG rtlGetVersionStatus = 0;
    LONG rtlVerifyFailure = 0;           // a status to fail with, whatever is asked
    bool extendedSizeIsRefused = false;  // by GetVersionExW
    bool basicSizeIsRefused = false;
    std::vector<DWORD> getVersionExSizes{};  // as it was asked
};

class FakeWindowsVersion {
 public:
    explicit FakeWindowsVersion(HMODULE library);
    [[nodiscard]] bool IsInPlace() const { return patch_.IsInPlace(); }
    ReportedWindows& Reported();

 private:
    ImportPatch patch_;
};

}  // namespace tarn::system_test

#endif
