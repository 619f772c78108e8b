// Everything that the process keeps, one member per subsystem. Only this floor knows the instance; below it every
// function receives the piece that it needs.
#ifndef TARN_API_LIBRARY_H
#define TARN_API_LIBRARY_H

#include <cstdint>

#include "api/platform.h"
#include "base/guarded.h"
#include "base/reader_writer_lock.h"
#include "base/sync.h"
#include "modules/companion_table.h"
#include "modules/settings.h"
#include "network/dns_answer_ring.h"
#include "parental/settings_copy.h"
#include "url/published_lists.h"
#include "url/scan_context.h"

namespace tarn::api {

// The eight reader/writer locks and the two critical sections, made when the library is loaded and gone when it is
// unloaded. No path holds two of them at once.
struct Locks {
    base::ReaderWriterLock idsBlockedList;
    base::ReaderWriterLock parentalControl;     // user sessions, account identifiers, schedules
    base::ReaderWriterLock browsingProtection;  // acted-on processes, browser exclusion list
    base::ReaderWriterLock smb1Requests;
    base::ReaderWriterLock smb1Trees;
    base::ReaderWriterLock smb2Requests;
    base::ReaderWriterLock smb2Trees;
    base::ReaderWriterLock schedule;  // the schedule flag
    base::CriticalSection reportedAttackers;
    // QUIRK: made and deleted with the library, never entered.  Test: Locks_SpareCriticalSection_IsThere
    base::CriticalSection spare;
};

struct Library {
    explicit Library(Platform& systemPlatform) : platform(systemPlatform) {}

    Platform& platform;
    Locks locks;

    bool ready = false;  // between a WSInit that succeeded and WSDeinit
    modules::Companions companions;
    modules::SettingsState settings;
    url::PublishedLists lists;
    parental::SettingsCopy parental;
    network::DnsAnswerRing dnsRing;
    url::ManagedClient managedClient;
    std::uint32_t dnsBlockSwitch = 0;

    [[nodiscard]] url::ScanContext Scan() const { return {companions, settings, lists, parental, managedClient}; }
};

}  // namespace tarn::api

#endif
