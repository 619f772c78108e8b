#include "parental/live_sessions.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "parental/session_events.h"

namespace tarn::parental {
namespace {

bool ResolveUser(machine::LiveSessionSource& source, const std::u16string& domain, const std::u16string& user,
                 AccountSid& sid) {
    std::array<std::uint8_t, 68> resolved{};
    if (!source.ResolveAccount(domain.empty() ? user : domain + u'\\' + user, resolved)) return false;
    std::copy_n(resolved.begin(), sid.size(), sid.begin());
    return IsValidIdentifier(sid);
}

}  // namespace

void EnumerateLiveSessions(UserSessionTable& table, const SettingsCopy& settings, machine::LiveSessionSource& source,
                           const machine::LocalClock& clock) {
    std::vector<std::uint32_t> sessionIds;
    if (!source.ListSessions(sessionIds)) return;
    for (const std::uint32_t sessionId : sessionIds) {
        const std::u16string domain = source.DomainName(sessionId);
        const std::u16string user = source.UserName(sessionId);
        AccountSid sid{};
        if (user.empty() || !ResolveUser(source, domain, user, sid)) continue;
        if (UserSessionRecord* known = table.Find(sid); known != nullptr) {
            known->loggedOn = 1;
            known->sessionId = sessionId;
            continue;
        }
        UserSessionRecord record;
        record.lastEvent = TARN_EVENT_LOGON;  // as if its logon had been seen
        record.sessionId = sessionId;
        record.sid = sid;
        base::CopyText(record.userName, user);
        record.loggedOn = 1;
        record.firstSeen = clock.Now();
        record.lastUpdate = record.firstSeen;
        MatchUserSettings(record, settings);
        table.Append(record);
    }
}

}  // namespace tarn::parental
