// Brings the accounts that are logged on now into the session table.
// The caller holds the write side of the parental-control lock.
#ifndef TARN_PARENTAL_LIVE_SESSIONS_H
#define TARN_PARENTAL_LIVE_SESSIONS_H

#include "machine/live_sessions.h"
#include "machine/local_time.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::parental {

// Marks the accounts of all sessions as logged on, and adds those that the table does not know yet. Sessions without a
// user, and those whose account cannot be resolved, are left out. An enumeration that fails does nothing.
void EnumerateLiveSessions(UserSessionTable& table, const SettingsCopy& settings, machine::LiveSessionSource& source,
                           const machine::LocalClock& clock);

}  // namespace tarn::parental

#endif
