// All that a URL scan reads, on the stack of a test or benchmark: every feature off, every list empty, no module
// loaded. The one place outside the library that puts a ScanContext together.
#ifndef TARN_TESTS_SUPPORT_SCAN_INPUTS_H
#define TARN_TESTS_SUPPORT_SCAN_INPUTS_H

#include <cstdint>

#include "url/scan_context.h"

namespace tarn::url {

struct ScanInputs {
    [[nodiscard]] ScanContext Context(machine::ModuleSystem& system, machine::ProcessInspector& processes,
                                      const machine::LocalClock& clock) {
        return {.companions = companions,
                .system = system,
                .settings = settings,
                .lists = lists,
                .parental = parental,
                .profiles = profiles,
                .managedClient = managedClient,
                .scheduleAllows = allows,
                .idsBlockedList = idsBlockedList,
                .dnsRing = dnsRing,
                .dnsBlockSwitch = dnsBlockSwitch,
                .processes = processes,
                .browsingProtection = browsingProtection,
                .clock = clock};
    }

    modules::Companions companions;
    modules::SettingsState settings{};
    lists::PublishedLists lists;
    parental::SettingsCopy parental;
    lists::PublishedProfiles profiles;
    ManagedClient managedClient;
    base::GuardedFlag allows{true};
    network::IdsBlockedList idsBlockedList;
    network::DnsAnswerRing dnsRing;  // allocated by whoever needs it
    std::uint32_t dnsBlockSwitch = 0;
    BrowsingProtection browsingProtection;
};

}  // namespace tarn::url

#endif
