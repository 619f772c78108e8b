// What a URL scan reads and whom it asks: settings, published lists, companion modules.
// References into the library, which owns them all. A scan adds DNS answers and acted-on programs and changes nothing
// else.
#ifndef TARN_URL_SCAN_CONTEXT_H
#define TARN_URL_SCAN_CONTEXT_H

#include <array>
#include <cstdint>

#include "base/bounded_text.h"
#include "base/guarded_flag.h"
#include "lists/published_lists.h"
#include "machine/local_time.h"
#include "machine/module_system.h"
#include "machine/process_inspector.h"
#include "modules/companions.h"
#include "modules/settings_state.h"
#include "network/dns_answer_ring.h"
#include "network/ids_blocked_list.h"
#include "parental/settings_copy.h"
#include "url/browsing_protection.h"

namespace tarn::url {

// The management server of a managed endpoint. Without one, installed is false and the address empty.
struct ManagedClient {
    bool installed = false;
    std::array<char16_t, 260> serverAddress{};
};

struct ScanContext {
    const modules::Companions& companions;
    machine::ModuleSystem& system;
    const modules::SettingsState& settings;
    const lists::PublishedLists& lists;
    const parental::SettingsCopy& parental;
    const lists::PublishedProfiles& profiles;  // one for each entry of parental
    const ManagedClient& managedClient;
    const base::GuardedFlag& scheduleAllows;  // the schedule flag
    const network::IdsBlockedList& idsBlockedList;
    network::DnsAnswerRing& dnsRing;
    const std::uint32_t& dnsBlockSwitch;  // not 0: sites of the parental tables are blocked in DNS already
    machine::ProcessInspector& processes;
    BrowsingProtection& browsingProtection;
    const machine::LocalClock& clock;
};

}  // namespace tarn::url

#endif
