// Brings the accounts that are logged on now into the session table.
// Asking the terminal services and resolving accounts is the edge's; what the accounts may do is logon_check's.
#ifndef TARN_PARENTAL_LIVE_SESSIONS_H
#define TARN_PARENTAL_LIVE_SESSIONS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/local_time.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::parental {

// The system's answers about its terminal-services sessions; one implementation per platform, a script in tests.
class LiveSessionSource {
 public:
    virtual ~LiveSessionSource() = default;

    // The numbers of all sessions, also of those without a user. False when they cannot be enumerated.
    virtual bool ListSessions(std::vector<std::uint32_t>& sessionIds) = 0;
    // Empty texts where the system tells none.
    virtual std::u16string DomainName(std::uint32_t sessionId) = 0;
    virtual std::u16string UserName(std::uint32_t sessionId) = 0;
    // The identifier of "DOMAIN\user" or "user", zeros behind it; as long as the system's longest.
    virtual bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) = 0;
};

// Marks the accounts of all sessions as logged on, and adds those that the table does not know yet. Sessions without a
// user, and those whose account cannot be resolved, are left out. Always true: an enumeration that fails does nothing.
bool EnumerateLiveSessions(UserSessionTable& table, const SettingsCopy& settings, LiveSessionSource& source,
                           const base::LocalClock& clock);

}  // namespace tarn::parental

#endif
