// What the host's notices of changed settings and updated files set off: which records are read again, which modules
// reloaded, what is rebuilt from them. Runs on the thread of the export, while no scan runs.
#ifndef TARN_API_SETTINGS_CHANGE_H
#define TARN_API_SETTINGS_CHANGE_H

#include <cstdint>

#include "api/library.h"
#include "modules/module_calls.h"

namespace tarn::api {

enum class SettingsKind : std::uint32_t {
    kAntiPhishingStatus = 0,
    kBrowsingProtectionStatus = 1,
    kIdsIpsStatus = 2,
    kUserWhiteList = 3,
    kParentalControl = 4,
    kIdsIpsSettings = 5,
    kHttpsInspection = 6,
    kHttpsInspectionToo = 7,
    kEverything = 8
};
inline constexpr std::uint32_t kLastSettingsKind = 8;

// The bits of WSUpdateSettingsChanged; others are ignored.
inline constexpr std::uint32_t kUpdatedPacketSignatures = 0x01;
inline constexpr std::uint32_t kUpdatedSettingsReader = 0x02;
inline constexpr std::uint32_t kUpdatedCategorisation = 0x04;
inline constexpr std::uint32_t kUpdatedUrlPatterns = 0x08;
inline constexpr std::uint32_t kUpdatedHttpsInspection = 0x10;
inline constexpr std::uint32_t kUpdatedStatusReader = 0x20;
inline constexpr std::uint32_t kUpdatedBrowsingProtection = 0x40;
inline constexpr std::uint32_t kUpdatedCategorisationToo = 0x80;
inline constexpr std::uint32_t kUpdatedIdsSettings = 0x1000;

// Reads one kind of setting again. passed goes to the first module call that is made.
bool ChangeSettings(Library& library, SettingsKind kind, const modules::PassedValues& passed);

// Reloads the modules and records whose bits are set, in a fixed order. A module that does not load ends
// it with false: those before it stay reloaded, those behind it untouched.
bool ReloadUpdated(Library& library, std::uint32_t updated);

}  // namespace tarn::api

#endif
