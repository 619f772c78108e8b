#include "parental/settings_copy.h"

#include <cstddef>

#include "base/chain.h"

namespace tarn::parental {
namespace {

bool CopySites(const UserUrlList& list, AllowedSites& sites, const CopyMemory& memory) {
    if (!sites.Allocate(base::ChainLength(list.first, list.count), memory)) return false;
    const UserUrlEntry* from = list.first;
    UserUrlEntry* last = nullptr;
    for (UserUrlEntry& site : sites) {
        site = *from;
        site.host[sizeof site.host - 1] = '\0';
        site.path[sizeof site.path - 1] = '\0';
        site.next = nullptr;
        if (last != nullptr) last->next = &site;
        last = &site;
        from = from->next;
    }
    return true;
}

bool CopyPcUserEntry(const PcUserEntryRecord& record, PcUserEntry& entry, const CopyMemory& memory) {
    entry.leading = record.leading;
    for (std::size_t day = 0; day < entry.schedule.size(); ++day)
        if (!entry.schedule[day].CopyFrom(record.schedule[day].ranges, record.schedule[day].count, memory))
            return false;
    const CategoryList& blocked = record.blockedCategories;
    const CategoryList& other = record.otherCategories;
    return entry.blockedCategories.CopyFrom(blocked.categories, blocked.count, memory) &&
           entry.otherCategories.CopyFrom(other.categories, other.count, memory) &&
           BuildSiteTables(record.siteRules, entry.sites, memory) &&
           CopySites(record.allowedSites, entry.allowedSites, memory) &&
           CopySites(record.scheduleAllowedSites, entry.scheduleAllowedSites, memory);
}

bool CopyEntries(const PcSettingsRecord& record, OwnedArray<PcUserEntry>& entries, const CopyMemory& memory) {
    if (record.entries == nullptr) return true;
    const std::uint32_t count = record.mode == TARN_PC_ONE_FOR_ALL ? 1 : record.entryCount;
    if (!entries.Allocate(count, memory)) return false;
    for (std::size_t i = 0; i < count; ++i)
        if (!CopyPcUserEntry(record.entries[i], entries[i], memory)) return false;
    return true;
}

}  // namespace

UserUrlList AsRecord(const AllowedSites& sites) {
    // The record's pointer is that of a C interface, where lists are not const.
    return {static_cast<std::uint32_t>(sites.size()), const_cast<UserUrlEntry*>(sites.data())};
}

bool CopyPcSettings(const PcSettingsRecord& record, SettingsCopy& copy, const CopyMemory& memory) {
    copy = {};
    if (!CopyEntries(record, copy.entries, memory)) {
        copy = {};
        return false;
    }
    copy.loaded = true;
    copy.mode = record.mode;
    copy.prompt = record.prompt;
    copy.strictness = record.strictness;
    return true;
}

}  // namespace tarn::parental
