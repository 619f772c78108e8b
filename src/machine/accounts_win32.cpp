// Accounts: who runs a process, and who is logged on.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <span>
#include <windows.h>
#include <wtsapi32.h>

#include "machine/machine_win32.h"
#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

constexpr DWORD kQueryAndRead = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;  // 0x410
constexpr std::size_t kDomainCapacity = 256;
constexpr DWORD kPathUnits = static_cast<DWORD>(base::kPathCapacity);

// A token user with its identifier behind it: the record, and the longest identifier that exists.
constexpr std::size_t kTokenUserCapacity = sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE;

using ModuleFileNameFn = DWORD(WINAPI*)(HANDLE, HMODULE, LPWSTR, DWORD);
using ProcessImageNameFn = DWORD(WINAPI*)(HANDLE, LPWSTR, DWORD);

template <class Function>
Function Find(HMODULE module, const char* name) {
    return module == nullptr ? nullptr
                             : reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

bool ReadTokenUser(HANDLE token, unsigned char (&buffer)[kTokenUserCapacity]) {
    DWORD size = 0;
    if (GetTokenInformation(token, TokenUser, nullptr, 0, &size) || GetLastError() != ERROR_INSUFFICIENT_BUFFER)
        return false;
    return size <= sizeof buffer && GetTokenInformation(token, TokenUser, buffer, size, &size);
}

void CopyIdentifier(PSID sid, ProcessUser& user) {
    user.sid = {};
    if (!IsValidSid(sid)) return;
    const DWORD length = GetLengthSid(sid);
    if (length <= user.sid.size()) std::memcpy(user.sid.data(), sid, length);
}

bool DosDeviceTarget(const char16_t* name, std::array<char16_t, 259>& target) {
    return QueryDosDeviceW(Wide(name), Wide(target.data()), static_cast<DWORD>(target.size())) != 0;
}

// The path that the process status library knows: the file name of the main module, else the device path of the image.
bool ImagePath(HANDLE process, base::PathBuffer& path) {
    const UniqueModule psapi(LoadLibraryW(L"PSAPI.DLL"));
    auto moduleFileName = Find<ModuleFileNameFn>(psapi.Get(), "GetModuleFileNameExW");
    if (moduleFileName == nullptr)
        moduleFileName = Find<ModuleFileNameFn>(GetModuleHandleW(L"kernel32.dll"), "GetModuleFileNameExW");
    const auto imageName = Find<ProcessImageNameFn>(psapi.Get(), "GetProcessImageFileNameW");
    path[0] = u'\0';
    if (moduleFileName == nullptr)
        return imageName != nullptr && imageName(process, Wide(path.data()), kPathUnits) != 0;
    if (moduleFileName(process, nullptr, Wide(path.data()), kPathUnits) != 0) {
        path.back() = u'\0';
        return true;
    }
    if (imageName == nullptr) return false;
    base::PathBuffer device;
    const DWORD length = imageName(process, Wide(device.data()), kPathUnits);
    if (length == 0 || length >= kPathUnits) return false;
    return DrivePathFromDevicePath({device.data(), length}, DosDeviceTarget, path);
}

// The error of the system when it refuses the long form; the path stands as it is then.
DWORD MakeLongPath(base::PathBuffer& path) {
    base::PathBuffer longPath;
    const DWORD length = GetLongPathNameW(Wide(path.data()), Wide(longPath.data()), kPathUnits);
    if (length == 0) return GetLastError();
    if (length >= kPathUnits) return ERROR_INSUFFICIENT_BUFFER;
    path = longPath;
    return ERROR_SUCCESS;
}

// The longest identifier that the system has: the buffer that an account look-up asks for.
constexpr std::size_t kMaxSidBytes = 68;
static_assert(kMaxSidBytes == SECURITY_MAX_SID_SIZE);

template <class T>
struct WtsMemoryTraits {
    using Type = T*;
    static Type None() { return nullptr; }
    static void Close(Type memory) { WTSFreeMemory(memory); }
};
template <class T>
using UniqueWtsMemory = Unique<WtsMemoryTraits<T>>;

std::u16string QueryText(std::uint32_t sessionId, WTS_INFO_CLASS what) {
    UniqueWtsMemory<wchar_t> text;
    DWORD bytes = 0;
    if (WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, sessionId, what, text.Out(), &bytes) == 0 ||
        !text.Owns())
        return {};
    // The size counts the NUL; the text ends at whichever comes first.
    const std::span units(text.Get(), bytes / sizeof(wchar_t));
    return {units.begin(), std::ranges::find(units, L'\0')};
}

}  // namespace

// ---- Processes ----

bool WindowsProcessInspector::GetProcessUser(std::uint32_t processId, ProcessUser& user) {
    const UniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId));
    if (!process.Owns()) return false;
    UniqueHandle token;
    if (!OpenProcessToken(process.Get(), TOKEN_QUERY, token.Out())) return false;
    alignas(TOKEN_USER) unsigned char buffer[kTokenUserCapacity];
    if (!ReadTokenUser(token.Get(), buffer)) return false;
    PSID const sid = reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid;

    std::array<wchar_t, kDomainCapacity> domain;
    DWORD nameLength = static_cast<DWORD>(user.name.size());
    DWORD domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, sid, Wide(user.name.data()), &nameLength, domain.data(), &domainLength, &use)) {
        user = {};
        return false;
    }
    CopyIdentifier(sid, user);
    return true;
}

bool WindowsProcessInspector::GetProcessImagePath(std::uint32_t processId, base::PathBuffer& path,
                                                  std::uint32_t& error) {
    error = 0;
    const UniqueHandle process(OpenProcess(kQueryAndRead, FALSE, processId));
    if (!process.Owns() || !ImagePath(process.Get(), path)) {
        error = GetLastError();
        return false;
    }
    error = MakeLongPath(path);
    return true;
}

std::uint32_t WindowsProcessInspector::CurrentProcessId() {
    return GetCurrentProcessId();
}

bool WindowsProcessInspector::ToWide(std::string_view text, std::span<char16_t> wide) {
    if (wide.empty()) return false;
    wide[0] = u'\0';
    if (text.empty()) return true;  // which the system takes for a failure
    const int given = static_cast<int>(text.size());
    DWORD flags = MB_PRECOMPOSED;
    int length = MultiByteToWideChar(CP_ACP, flags, text.data(), given, nullptr, 0);
    if (length == 0 && GetLastError() == ERROR_INVALID_FLAGS) {
        flags = 0;  // UTF-8 takes none
        length = MultiByteToWideChar(CP_ACP, flags, text.data(), given, nullptr, 0);
    }
    if (length <= 0 || static_cast<std::size_t>(length) >= wide.size()) return false;
    if (MultiByteToWideChar(CP_ACP, flags, text.data(), given, Wide(wide.data()), length) != length) {
        wide[0] = u'\0';
        return false;
    }
    wide[static_cast<std::size_t>(length)] = u'\0';
    return true;
}

// ---- Sessions ----

bool WindowsLiveSessions::ListSessions(std::vector<std::uint32_t>& sessionIds) {
    UniqueWtsMemory<WTS_SESSION_INFOW> sessions;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Out(), &count) == 0) return false;
    if (!sessions.Owns()) count = 0;
    sessionIds.clear();
    for (const WTS_SESSION_INFOW& session : std::span(sessions.Get(), count)) sessionIds.push_back(session.SessionId);
    return true;
}

std::u16string WindowsLiveSessions::DomainName(std::uint32_t sessionId) {
    return QueryText(sessionId, WTSDomainName);
}

std::u16string WindowsLiveSessions::UserName(std::uint32_t sessionId) {
    return QueryText(sessionId, WTSUserName);
}

bool WindowsLiveSessions::ResolveAccount(const std::u16string& account, std::array<std::uint8_t, kMaxSidBytes>& sid) {
    sid = {};
    alignas(SID) std::array<std::uint8_t, kMaxSidBytes> buffer{};
    DWORD sidBytes = sizeof buffer;
    wchar_t domain[260];
    DWORD domainUnits = static_cast<DWORD>(std::size(domain));
    SID_NAME_USE use{};
    if (LookupAccountNameW(nullptr, Wide(account.c_str()), buffer.data(), &sidBytes, domain, &domainUnits, &use) == 0)
        return false;
    sid = buffer;
    return true;
}

}  // namespace tarn::machine
