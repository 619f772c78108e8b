// What is kept of the settings records: statuses, and the records that wait to be handed back to their modules.
// The library owns it; scans on any thread read it, settings exports change it while no scan runs.
#ifndef TARN_MODULES_SETTINGS_STATE_H
#define TARN_MODULES_SETTINGS_STATE_H

#include <cstdint>

#include "modules/ids_rules.h"

namespace tarn::modules {

// All zero means every feature off and every list empty. The kept records belong to the module that made them and are
// only handed to its release.
struct SettingsState {
    std::uint8_t bpStatus = 0;
    std::uint8_t apStatus = 0;
    std::uint8_t idsIpsStatus = 0;
    PromptBytes bpPrompt{};
    PromptBytes apPrompt{};
    std::uint32_t idsIpsFlags = 0;  // the third byte is the alert byte of the packet scan
    std::uint8_t idsIpsExtra = 0;
    std::uint8_t agentStatus = 0;
    bool socialReminderDue = false;  // nothing in the library reads it

    ThreatSiteList bpSettings{};
    UrlListRecord bpUserWhiteList{};
    UrlListRecord bpInternalWhiteList{};
    UrlListRecord wsInternalWhiteList{};
    IdsRuleTable idsRules;
};

}  // namespace tarn::modules

#endif
