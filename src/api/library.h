// Everything that the process keeps, one member per subsystem. Only this floor knows the instance; below it every
// function receives the piece that it needs.
#ifndef TARN_API_LIBRARY_H
#define TARN_API_LIBRARY_H

#include <cstdint>
#include <memory>

#include "api/schedule_worker.h"
#include "base/reader_writer_lock.h"
#include "base/sync.h"
#include "lists/published_lists.h"
#include "machine/machine.h"
#include "modules/companion_table.h"
#include "modules/settings.h"
#include "network/dns_answer_ring.h"
#include "network/ids_blocked_list.h"
#include "network/packet_scan.h"
#include "network/reported_attackers.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"
#include "smb/smb_tables.h"
#include "url/browsing_protection.h"
#include "url/scan_context.h"

namespace tarn::api {

// The eight reader/writer locks stand with what they guard: the condemned addresses, browsing protection's state, the
// schedule flag, the four SMB tables and, below, the parental-control tables. No path holds two of them at once.
struct Library {
    explicit Library(machine::Machine& systemPlatform)
        : platform(systemPlatform), scheduleWorker(systemPlatform.Clock()) {}

    machine::Machine& platform;
    bool ready = false;  // between a WSInit that succeeded and WSDeinit
    modules::Companions companions;
    modules::SettingsState settings;
    lists::PublishedLists lists;

    base::ReaderWriterLock parentalLock;  // writing: replacing the copy, every use of the sessions
    parental::SettingsCopy parental;
    lists::PublishedProfiles profiles;  // one for each entry of the copy
    parental::UserSessionTable sessions;

    ScheduleWorker scheduleWorker;
    network::DnsAnswerRing dnsRing;
    network::IdsBlockedList idsBlockedList;
    url::BrowsingProtection browsingProtection;
    smb::SmbTables smbTables;
    network::ReportedAttackerList reportedAttackers;  // has the other critical section; survives WSDeinit
    url::ManagedClient managedClient;
    std::uint32_t dnsBlockSwitch = 0;
    std::unique_ptr<std::uint8_t[]> connectionBuffer;  // nothing fills it today

    // QUIRK: made and deleted with the library, never entered.  Test: Locks_SpareCriticalSection_IsThere
    base::CriticalSection spare;

    [[nodiscard]] url::ScanContext Scan() {
        return {
            companions,         platform.Modules(),      settings,       lists,   parental,       profiles,
            managedClient,      scheduleWorker.Allows(), idsBlockedList, dnsRing, dnsBlockSwitch, platform.Processes(),
            browsingProtection, platform.Clock()};
    }
    [[nodiscard]] network::PacketScanContext PacketScan() {
        return {companions, settings, parental.strictness, reportedAttackers};
    }
};

}  // namespace tarn::api

#endif
