// The one object that holds what the exports share, one member per subsystem. Below this layer every function receives
// the piece that it needs. Scans use it from any thread at once; the other exports change it while no scan runs.
#ifndef TARN_API_LIBRARY_H
#define TARN_API_LIBRARY_H

#include <cstdint>
#include <optional>

#include "api/parental_tables.h"
#include "api/schedule_worker.h"
#include "base/contract_relics.h"
#include "lists/published_lists.h"
#include "machine/machine.h"
#include "modules/companions.h"
#include "modules/module_calls.h"
#include "modules/settings_state.h"
#include "network/dns_answer_ring.h"
#include "network/ids_blocked_list.h"
#include "network/packet_scan.h"
#include "network/reported_attackers.h"
#include "smb/smb_tables.h"
#include "url/browsing_protection.h"
#include "url/scan_context.h"

namespace tarn::api {

// The eight reader/writer locks stand with what they guard: the blocked addresses, browsing protection's state, the
// schedule flag, the four SMB tables and the parental-control tables. No path holds two of them at once.
struct Library {
    explicit Library(machine::Machine& ownMachine) noexcept : machine(ownMachine), scheduleWorker(ownMachine.Clock()) {}
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    machine::Machine& machine;
    bool ready = false;  // between a WSInit that succeeded and WSDeinit
    modules::Companions companions;
    modules::SettingsState settings;
    lists::PublishedLists lists;
    ParentalControl parental;
    ScheduleWorker scheduleWorker;
    network::DnsAnswerRing dnsRing;
    network::IdsBlockedList idsBlockedList;
    url::BrowsingProtection browsingProtection;
    smb::SmbTables smbTables;
    network::ReportedAttackerList reportedAttackers;  // has a critical section of its own; survives WSDeinit
    url::ManagedClient managedClient;
    std::uint32_t dnsBlockSwitch = 0;
    base::ContractRelics relics;

    // For one operation, made on its stack.
    [[nodiscard]] modules::ModuleCalls Calls(std::uint32_t& error,
                                             std::optional<modules::PassedValues> passed = std::nullopt) {
        return {companions, machine.Modules(), error, passed};
    }
    // What the scans see of all this: references, so that they are made once.
    const url::ScanContext urlScan{.companions = companions,
                                   .system = machine.Modules(),
                                   .settings = settings,
                                   .lists = lists,
                                   .parental = parental.Settings(),
                                   .profiles = parental.Profiles(),
                                   .managedClient = managedClient,
                                   .scheduleAllows = scheduleWorker.Allows(),
                                   .idsBlockedList = idsBlockedList,
                                   .dnsRing = dnsRing,
                                   .dnsBlockSwitch = dnsBlockSwitch,
                                   .processes = machine.Processes(),
                                   .browsingProtection = browsingProtection,
                                   .clock = machine.Clock()};
    const network::PacketScanContext packetScan{.companions = companions,
                                                .settings = settings,
                                                .strictness = parental.Settings().strictness,
                                                .reportedAttackers = reportedAttackers};

    // Nothing of other modules is held and no thread runs, so that the object can go.
    [[nodiscard]] bool IsAtRest() const { return !companions.AnyLoaded() && !scheduleWorker.IsRunning(); }
};

}  // namespace tarn::api

#endif
