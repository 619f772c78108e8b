#include <memory>
#include <windows.h>
#include <wtsapi32.h>

#include "host/serve/machine_sessions.h"
#include "host/utf8_win32.h"

namespace tarn::host::serve {

namespace {

std::string TextOf(DWORD session, WTS_INFO_CLASS what) {
    wchar_t* text = nullptr;
    DWORD bytes = 0;
    if (WTSQuerySessionInformationW(nullptr, session, what, &text, &bytes) == 0) return {};
    const std::unique_ptr<wchar_t, decltype(&WTSFreeMemory)> memory(text, WTSFreeMemory);
    return FromWide(text);
}

}  // namespace

// Windows has a session of its own at least; a system that names none cannot tell.
std::optional<std::vector<MachineSession>> ReadSystemSessions() {
    WTS_SESSION_INFOW* records = nullptr;
    DWORD count = 0;
    if (WTSEnumerateSessionsW(nullptr, 0, 1, &records, &count) == 0) return std::nullopt;
    const std::unique_ptr<WTS_SESSION_INFOW, decltype(&WTSFreeMemory)> memory(records, WTSFreeMemory);
    if (count == 0) return std::nullopt;
    std::vector<MachineSession> sessions;
    for (DWORD i = 0; i < count; ++i) {
        if (records[i].State != WTSActive) continue;
        const std::string name = TextOf(records[i].SessionId, WTSUserName);
        if (name.empty()) continue;
        const std::string domain = TextOf(records[i].SessionId, WTSDomainName);
        std::string account = domain.empty() ? name : domain;
        if (!domain.empty()) account.append("\\").append(name);
        sessions.push_back({records[i].SessionId, account});
    }
    return sessions;
}

}  // namespace tarn::host::serve
