// The session table over restarts and settings changes: saved through the settings module, loaded and rebuilt.
// Taking the parental-control lock around each operation, and when it is due, is the library's life's business.
#ifndef TARN_PARENTAL_SAVED_SESSIONS_H
#define TARN_PARENTAL_SAVED_SESSIONS_H

#include <cstdint>

#include "machine/local_time.h"
#include "modules/companion_table.h"
#include "modules/pass_through.h"
#include "parental/live_sessions.h"
#include "parental/owned_array.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::parental {

// In all four, error is the module's cell, and the write side of the parental-control lock is held by the caller.

// Appends one record per saved account. Always true: a read that fails counts as no account.
bool LoadUserSessions(UserSessionTable& table, const SettingsCopy& settings, const modules::Companions& companions,
                      const machine::LocalClock& clock, std::uint32_t& error);

// Writes the accounts in table order, also when there are none. False when memory is missing or the write fails.
// passed: what the host hands on to the first module call of a settings change.
bool SaveUserSessions(const UserSessionTable& table, const modules::Companions& companions,
                      const machine::LocalClock& clock, std::uint32_t& error, modules::PassThrough* passed = nullptr,
                      const CopyMemory& memory = {});

// In place of what the table held: the saved accounts, then those that are logged on now. Always true.
bool RebuildUserSessions(UserSessionTable& table, const SettingsCopy& settings, const modules::Companions& companions,
                         machine::LiveSessionSource& live, const machine::LocalClock& clock, std::uint32_t& error);

// Saves, then empties the table, also when the save failed; the result is the save's. A table that was emptied so, or
// never rebuilt, and into which nothing has come since, is not written: what was saved last stays. That is a success.
bool SaveAndClearUserSessions(UserSessionTable& table, const modules::Companions& companions,
                              const machine::LocalClock& clock, std::uint32_t& error,
                              modules::PassThrough* passed = nullptr, const CopyMemory& memory = {});

}  // namespace tarn::parental

#endif
