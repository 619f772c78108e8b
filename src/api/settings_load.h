// Reads every settings record in the order of the contract, publishes the lists that scans ask, and releases it all.
// What a failed read means stands in modules/settings; no failed read fails the load.
#ifndef TARN_API_SETTINGS_LOAD_H
#define TARN_API_SETTINGS_LOAD_H

#include <cstdint>

#include "api/library.h"
#include "modules/pass_through.h"

namespace tarn::api {

// The mode byte of start-up. Any other value neither restores nor empties anything.
inline constexpr std::uint8_t kModeFreshStart = 0;
inline constexpr std::uint8_t kModeRestart = 1;

// mode 1 restores the saved DNS answers; mode 0 empties the user's white list unless a managed client is installed.
// False only when memory for the DNS answers is missing.
bool LoadSettings(Library& library, std::uint8_t mode, std::uint32_t& error);

// Withdraws what was published, hands every kept record back to its module and zeroes the settings state.
// passed: what the host hands on to the first module call of a settings change.
void ReleaseSettings(Library& library, std::uint32_t& error, modules::PassThrough* passed = nullptr);

// One setting each, for changes: read, and published when the read succeeds; otherwise empty.
bool LoadUserWhiteList(Library& library, std::uint32_t& error);
void LoadBrowsingProtectionSettings(Library& library, std::uint32_t& error);
void LoadIdsRules(Library& library, std::uint32_t& error);

}  // namespace tarn::api

#endif
