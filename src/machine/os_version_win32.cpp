#include "machine/os_version_win32.h"

#include <initializer_list>
#include <windows.h>

namespace tarn::machine {
namespace {

constexpr LONG kStatusSuccess = 0;
constexpr LONG kStatusRevisionMismatch = static_cast<LONG>(0xC0000059);

template <class Function>
Function EntryPoint(const wchar_t* module, const char* name) {
    const HMODULE handle = GetModuleHandleW(module);
    return handle == nullptr ? nullptr
                             : reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(handle, name)));
}

using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOEXW*);
using GetVersionExWFn = BOOL(WINAPI*)(OSVERSIONINFOEXW*);
using GetNativeSystemInfoFn = void(WINAPI*)(SYSTEM_INFO*);
using RtlVerifyVersionInfoFn = LONG(WINAPI*)(OSVERSIONINFOEXW*, ULONG, ULONGLONG);

bool QueryRaw(OSVERSIONINFOEXW& info) {
    info = {};
    info.dwOSVersionInfoSize = sizeof(OSVERSIONINFOEXW);
    const auto rtlGetVersion = EntryPoint<RtlGetVersionFn>(L"Ntdll.dll", "RtlGetVersion");
    if (rtlGetVersion != nullptr && rtlGetVersion(&info) == kStatusSuccess) return true;
    const auto getVersionEx = EntryPoint<GetVersionExWFn>(L"Kernel32.dll", "GetVersionExW");
    if (getVersionEx == nullptr) return false;
    for (const DWORD size : {DWORD{sizeof(OSVERSIONINFOEXW)}, DWORD{sizeof(OSVERSIONINFOW)}}) {
        info = {};
        info.dwOSVersionInfoSize = size;
        if (getVersionEx(&info) != 0) return true;
    }
    return false;
}

bool Verify(OSVERSIONINFOEXW& wanted, ULONG fields, std::uint8_t comparison, bool& holds) {
    const auto verify = EntryPoint<RtlVerifyVersionInfoFn>(L"Ntdll.dll", "RtlVerifyVersionInfo");
    if (verify == nullptr) return false;
    ULONGLONG mask = 0;
    constexpr ULONG kFields[] = {VER_MAJORVERSION, VER_MINORVERSION, VER_SERVICEPACKMAJOR, VER_SERVICEPACKMINOR};
    for (const ULONG field : kFields)
        if ((fields & field) != 0) mask = VerSetConditionMask(mask, field, comparison);
    const LONG status = verify(&wanted, fields, mask);
    if (status != kStatusSuccess && status != kStatusRevisionMismatch) return false;
    holds = status == kStatusSuccess;
    return true;
}

}  // namespace

bool QueryVersion(VersionRecord& version) {
    OSVERSIONINFOEXW info;
    if (!QueryRaw(info)) return false;
    version.platform = info.dwPlatformId;
    version.major = info.dwMajorVersion;
    version.minor = info.dwMinorVersion;
    version.build = info.dwBuildNumber;
    version.suiteMask = info.wSuiteMask;
    version.productType = info.wProductType;
    return true;
}

std::uint16_t QueryArchitecture() {
    const auto getNativeSystemInfo = EntryPoint<GetNativeSystemInfoFn>(L"Kernel32.dll", "GetNativeSystemInfo");
    if (getNativeSystemInfo == nullptr) return 0;
    SYSTEM_INFO info{};
    getNativeSystemInfo(&info);
    return info.wProcessorArchitecture;
}

bool QueryIsExactlyVersion(int number, bool& matches) {
    const VersionPair wanted = ExactVersion(number, Is64BitArchitecture(QueryArchitecture()));
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    info.dwMajorVersion = wanted.major;
    info.dwMinorVersion = wanted.minor;
    return Verify(info, VER_MAJORVERSION | VER_MINORVERSION, VER_EQUAL, matches);
}

bool QueryIsOlderThanServicePackBaseline(bool& older) {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    info.dwMajorVersion = 5;
    info.dwMinorVersion = Is64BitArchitecture(QueryArchitecture()) ? 2 : 1;
    info.wServicePackMajor = 2;
    info.wServicePackMinor = 0;
    return Verify(info, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR | VER_SERVICEPACKMINOR, VER_LESS,
                  older);
}

SystemFacts QuerySystemFacts() {
    constexpr int kVersion63 = 7;
    constexpr int kVersion10 = 8;
    SystemFacts facts;
    facts.versionKnown = QueryVersion(facts.version);
    facts.architecture = QueryArchitecture();
    bool matches = false;
    facts.exactly10 = QueryIsExactlyVersion(kVersion10, matches) && matches;
    facts.exactly63 = QueryIsExactlyVersion(kVersion63, matches) && matches;
    facts.secondRelease = GetSystemMetrics(SM_SERVERR2) != 0;
    return facts;
}

}  // namespace tarn::machine
