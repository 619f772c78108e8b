// The record of parental control, with all that hangs on it.
#include "host/companion_kit/record_checks.h"
#include "host/companion_kit/record_walk.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kLastHour = 23;
constexpr std::uint32_t kLastMinute = 59;
constexpr std::uint8_t kSidRevision = 1;
constexpr std::uint8_t kMostSubAuthorities = 15;

void CheckRange(const TimeRange& range, const std::string& what, RecordWalk& walk) {
    const std::uint32_t startHour = range.startHour;
    const std::uint32_t startMinute = range.startMinute;
    const std::uint32_t endHour = range.endHour;
    const std::uint32_t endMinute = range.endMinute;
    const std::string shown = fmt::format("{:02}:{:02} to {:02}:{:02}", startHour, startMinute, endHour, endMinute);
    if (startHour > kLastHour || endHour > kLastHour || startMinute > kLastMinute || endMinute > kLastMinute)
        walk.Add(fmt::format("{}: {} is no time of a day", what, shown), "the library passes the range over");
    else if (startHour * 60 + startMinute >= endHour * 60 + endMinute)
        walk.Add(fmt::format("{}: {} does not end after its start", what, shown),
                 "the whole schedule is void: nothing is allowed");
}

void CheckAllowed(const UserUrlList& list, const std::string& what, RecordWalk& walk) {
    const UserUrlEntry* const first = list.first;
    if (list.count != 0 && first == nullptr) {
        walk.Array(first, list.count, what);
        return;
    }
    walk.Chain(first, std::uint32_t{list.count}, what, [&](const UserUrlEntry& site, std::uint64_t number) {
        const std::string one = fmt::format("{}, site {}", what, number + 1);
        walk.Field(site.host, sizeof site.host, one + ": the host");
        walk.Field(site.path, sizeof site.path, one + ": the path");
    });
}

void CheckBlocked(const SiteRule* first, const std::string& what, RecordWalk& walk) {
    walk.Chain(first, std::nullopt, what, [&](const SiteRule& rule, std::uint64_t number) {
        const std::string one = fmt::format("{}, site {}", what, number + 1);
        walk.Field(rule.host, sizeof rule.host, one + ": the host");
        walk.Field(rule.path, sizeof rule.path, one + ": the path");
        const IpAddressRecord* const addresses = rule.addresses;
        for (const IpAddressRecord& address : walk.Array(addresses, rule.addressCount, one + ", addresses"))
            if (address.family > TARN_FAMILY_IPV6)
                walk.Add(fmt::format("{}: {} is no address family", one, +address.family),
                         "the library takes the address for one of another family");
    });
}

void CheckEntry(const PcUserEntryRecord& entry, bool isOfOneUser, const std::string& what, RecordWalk& walk) {
    if (isOfOneUser && (entry.leading.sid[0] != kSidRevision || entry.leading.sid[1] > kMostSubAuthorities))
        walk.Add(what + ": the security identifier is none", "the entry is for no account of this machine");
    for (std::size_t day = 0; day < std::size(entry.schedule); ++day) {
        const DaySchedule& schedule = entry.schedule[day];
        const TimeRange* const ranges = schedule.ranges;
        const std::string ofDay = fmt::format("{}, schedule of day {}", what, day);
        for (const TimeRange& range : walk.Array(ranges, schedule.count, ofDay)) CheckRange(range, ofDay, walk);
    }
    const auto* const blocked = reinterpret_cast<const std::uint8_t*>(entry.blockedCategories.categories);
    walk.Array(blocked, std::uint64_t{entry.blockedCategories.count} * 2, what + ", blocked categories (bytes)");
    const auto* const other = reinterpret_cast<const std::uint8_t*>(entry.otherCategories.categories);
    walk.Array(other, std::uint64_t{entry.otherCategories.count} * 2, what + ", other categories (bytes)");
    const SiteRule* const rules = entry.siteRules;
    CheckBlocked(rules, what + ", blocked sites", walk);
    CheckAllowed(entry.allowedSites, what + ", allowed sites", walk);
    CheckAllowed(entry.scheduleAllowedSites, what + ", sites outside the schedule", walk);
}

}  // namespace

RecordFindings CheckRecord(const PcSettingsRecord& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    if (record.mode > TARN_PC_ONE_PER_USER)
        walk.Add(fmt::format("the mode is {}", +record.mode), "the library takes it for one entry per user");
    if (record.strictness > TARN_STRICTNESS_FIRST_ONE)
        walk.Add(fmt::format("the strictness is {}", +record.strictness), "all categories of a site count");
    const PcUserEntryRecord* const first = record.entries;
    std::uint64_t count = record.entryCount;
    if (record.mode == TARN_PC_ONE_FOR_ALL && first != nullptr && count == 0) {
        walk.Add("the mode is one entry for all, and the count is 0", "the library reads the first entry all the same");
        count = 1;
    }
    std::uint64_t number = 0;
    for (const PcUserEntryRecord& entry : walk.Array(first, count, "entries"))
        CheckEntry(entry, record.mode > TARN_PC_ONE_FOR_ALL, fmt::format("entry {}", ++number), walk);
    return walk.Take();
}

}  // namespace tarn::host
