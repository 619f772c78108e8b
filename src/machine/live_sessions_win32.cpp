#include "machine/live_sessions_win32.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <windows.h>
#include <wtsapi32.h>

#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

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
