#include "system/fake_windows_version_win32.h"

#include <cstring>
#include <string_view>
#include <tuple>

namespace tarn::system_test {
namespace {

constexpr LONG kRevisionMismatch = static_cast<LONG>(0xC0000059);
ReportedWindows reported;

// As much of the record as its size field says; the basic form ends before the service pack.
void Fill(OSVERSIONINFOEXW& info) {
    info.dwMajorVersion = reported.major;
    info.dwMinorVersion = reported.minor;
    info.dwBuildNumber = reported.build;
    info.dwPlatformId = VER_PLATFORM_WIN32_NT;
    if (info.dwOSVersionInfoSize < sizeof info) return;
    info.wServicePackMajor = reported.servicePack;
    info.wProductType = reported.productType;
}

LONG WINAPI FakeRtlGetVersion(OSVERSIONINFOEXW* info) {
    if (reported.rtlGetVersionStatus == 0) Fill(*info);
    return reported.rtlGetVersionStatus;
}

BOOL WINAPI FakeGetVersionEx(OSVERSIONINFOEXW* info) {
    reported.getVersionExSizes.push_back(info->dwOSVersionInfoSize);
    const bool extended = info->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW);
    if (extended ? reported.extendedSizeIsRefused : reported.basicSizeIsRefused) return FALSE;
    Fill(*info);
    return TRUE;
}

LONG WINAPI FakeRtlVerifyVersionInfo(OSVERSIONINFOEXW* wanted, ULONG fields, ULONGLONG conditions) {
    if (reported.rtlVerifyFailure != 0) return reported.rtlVerifyFailure;
    const bool withServicePack = (fields & VER_SERVICEPACKMAJOR) != 0;
    const auto there = std::tuple(reported.major, reported.minor, withServicePack ? reported.servicePack : 0);
    const auto asked =
        std::tuple(wanted->dwMajorVersion, wanted->dwMinorVersion, withServicePack ? wanted->wServicePackMajor : 0);
    const auto condition = static_cast<BYTE>(conditions >> 3 & 7);  // that of the major version
    const bool holds = condition == VER_LESS ? there < asked : condition == VER_EQUAL && there == asked;
    return holds ? 0 : kRevisionMismatch;
}

void WINAPI FakeGetNativeSystemInfo(SYSTEM_INFO* info) {
    std::memset(info, 0, sizeof *info);
    info->wProcessorArchitecture = reported.architecture;
}

template <class Function>
FARPROC As(bool there, Function* function) {
    return there ? reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function)) : nullptr;
}

FARPROC WINAPI FindFunction(HMODULE module, const char* name) {
    if (reinterpret_cast<ULONG_PTR>(name) <= 0xFFFF) return GetProcAddress(module, name);  // an ordinal
    const std::string_view text = name;
    if (text == "RtlGetVersion") return As(reported.hasRtlGetVersion, FakeRtlGetVersion);
    if (text == "GetVersionExW") return As(reported.hasGetVersionEx, FakeGetVersionEx);
    if (text == "RtlVerifyVersionInfo") return As(reported.hasRtlVerifyVersionInfo, FakeRtlVerifyVersionInfo);
    if (text == "GetNativeSystemInfo") return As(reported.hasGetNativeSystemInfo, FakeGetNativeSystemInfo);
    return GetProcAddress(module, name);
}

}  // namespace

FakeWindowsVersion::FakeWindowsVersion(HMODULE library) : patch_(library, "GetProcAddress", FindFunction) {
    reported = {};
}

ReportedWindows& FakeWindowsVersion::Reported() {
    return reported;
}

}  // namespace tarn::system_test
