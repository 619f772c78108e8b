// The library's own deep copy of the parental-control settings: header, user entries and their site tables.
// The copy owns all that it points to; scans read it, settings exports replace it.
#ifndef TARN_PARENTAL_SETTINGS_COPY_H
#define TARN_PARENTAL_SETTINGS_COPY_H

#include <cstdint>
#include <span>

#include "tarn/companions.h"

#include "parental/owned_array.h"
#include "parental/site_tables.h"
#include "parental/weekly_schedule.h"

namespace tarn::parental {

// A list of allowed sites, each entry's texts terminated and its next pointing to the entry behind it.
using AllowedSites = OwnedArray<UserUrlEntry>;

struct PcUserEntry {
    PcUserLeading leading{};  // byte for byte as the record has it
    WeekRanges schedule;
    OwnedArray<std::uint16_t> blockedCategories;
    OwnedArray<std::uint16_t> otherCategories;
    SiteTables sites;
    AllowedSites allowedSites;
    AllowedSites scheduleAllowedSites;
};

// Moving a copy moves no entry, so pointers into it stay good.
struct SettingsCopy {
    bool loaded = false;  // the copy succeeded
    std::uint8_t mode = TARN_PC_ABSENT;
    PromptBytes prompt{};
    std::uint8_t strictness = 0;
    OwnedArray<PcUserEntry> entries;

    // The first user entry, which the scans call the first profile; null without entries.
    [[nodiscard]] const PcUserEntry* First() const { return entries.empty() ? nullptr : entries.data(); }
    [[nodiscard]] std::span<const PcUserEntry> Entries() const { return entries.View(); }
};

// The list as a record, for those who publish it; it is only good while the copy is, and nothing may be changed
// through it.
[[nodiscard]] UserUrlList AsRecord(const AllowedSites& sites);

// Replaces copy. With one schedule for all users exactly the first entry is copied, whatever the count says. False,
// with an empty copy, when memory is missing. Pointers that are null count as empty lists, chains end at their count
// or their last node.
[[nodiscard]] bool CopyPcSettings(const PcSettingsRecord& record, SettingsCopy& copy, const CopyMemory& memory = {});

}  // namespace tarn::parental

#endif
