#include "model/driver/facts_win32.h"

#include <array>
#include <stdexcept>
#include <vector>
#include <windows.h>

#include "model/driver/line.h"

namespace tarn::model {
namespace {

std::string HexOfText(const std::wstring& text) {
    return text.empty() ? "-"
                        : HexOf(reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(wchar_t));
}

std::string OwnIdentifier() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) throw std::runtime_error("there is no token");
    alignas(TOKEN_USER) std::array<std::uint8_t, 256> user;
    DWORD size = 0;
    const bool isThere = GetTokenInformation(token, TokenUser, user.data(), user.size(), &size) != FALSE;
    CloseHandle(token);
    if (!isThere) throw std::runtime_error("there is no user");
    PSID const sid = reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid;
    return HexOf(static_cast<const std::uint8_t*>(sid), GetLengthSid(sid));
}

std::wstring OwnName() {
    wchar_t name[260] = L"";
    DWORD size = 260;
    GetUserNameW(name, &size);
    return name;
}

std::wstring OwnPath() {
    wchar_t path[MAX_PATH] = L"";
    wchar_t longPath[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const DWORD length = GetLongPathNameW(path, longPath, MAX_PATH);
    return length == 0 ? path : longPath;
}

std::string WindowsVersion() {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    using GetVersion = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const auto getVersion = reinterpret_cast<GetVersion>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
    if (getVersion == nullptr || getVersion(&info) != 0) throw std::runtime_error("the system has no version");
    SYSTEM_INFO system{};
    GetNativeSystemInfo(&system);
    std::string text;
    for (const DWORD value : {info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, DWORD{info.wProductType},
                              DWORD{system.wProcessorArchitecture}})
        text += (text.empty() ? "" : ",") + std::to_string(value);
    return text;
}

}  // namespace

std::string Facts() {
    return "pid=" + std::to_string(GetCurrentProcessId()) + " sid=" + OwnIdentifier() +
           " user=" + HexOfText(OwnName()) + " path=" + HexOfText(OwnPath()) + " windows=" + WindowsVersion();
}

}  // namespace tarn::model
