// The session table over restarts and settings changes: saved through the status reader, loaded and rebuilt.
// Callers hold the write side of the parental-control lock.
#ifndef TARN_PARENTAL_SAVED_SESSIONS_H
#define TARN_PARENTAL_SAVED_SESSIONS_H

#include <cstdint>

#include "machine/local_time.h"
#include "modules/module_calls.h"
#include "parental/live_sessions.h"
#include "parental/owned_array.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::parental {

// Appends one record per saved account; a read that fails counts as no account.
void LoadUserSessions(UserSessionTable& table, const SettingsCopy& settings, modules::ModuleCalls& calls,
                      const machine::LocalClock& clock);

// Writes the accounts in table order, also when there are none. False when memory is missing or the write fails.
bool SaveUserSessions(const UserSessionTable& table, modules::ModuleCalls& calls, const machine::LocalClock& clock,
                      const CopyMemory& memory = {});

// In place of what the table held: the saved accounts, then those that are logged on now. One that throws leaves the
// table empty and not worth saving, so that what was saved last stays.
void RebuildUserSessions(UserSessionTable& table, const SettingsCopy& settings, modules::ModuleCalls& calls,
                         machine::LiveSessionSource& live, const machine::LocalClock& clock);

// Saves, then empties the table, also when the save failed; the result is the save's. A table that was emptied so, or
// never rebuilt, and into which nothing has come since, is not written: what was saved last stays. That is a success.
bool SaveAndClearUserSessions(UserSessionTable& table, modules::ModuleCalls& calls, const machine::LocalClock& clock,
                              const CopyMemory& memory = {});

}  // namespace tarn::parental

#endif
