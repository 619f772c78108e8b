// Reads every settings record in a fixed order, publishes the lists that scans ask, and releases it all.
// Runs on the thread of a settings export; no failed read fails the load (see modules/module_calls.h for its meaning).
#ifndef TARN_API_SETTINGS_LOAD_H
#define TARN_API_SETTINGS_LOAD_H

#include <cstdint>

#include "api/library.h"
#include "modules/module_calls.h"

namespace tarn::api {

// TARN_START_RESTART restores the saved DNS answers; TARN_START_FRESH empties the user's white list unless a managed
// client is installed; any other mode does neither.
// False only when memory for the DNS answers is missing. Other missing memory throws, with everything released again.
bool LoadSettings(Library& library, modules::ModuleCalls& calls, std::uint8_t mode);

// Zeroes the settings state; records of modules that it still keeps are forgotten, not released.
void ForgetSettings(Library& library);

// Withdraws what was published, hands every kept record back to its module and zeroes the settings state. Goes on when
// a module throws, and is false then.
bool ReleaseSettings(Library& library, modules::ModuleCalls& calls) noexcept;

// One setting each, for changes: read, and published when the read succeeds; otherwise empty.
bool LoadUserWhiteList(Library& library, modules::ModuleCalls& calls);
void LoadBrowsingProtectionSettings(Library& library, modules::ModuleCalls& calls);
void LoadIdsRules(Library& library, modules::ModuleCalls& calls);

}  // namespace tarn::api

#endif
