#include "parental/settings_copy.h"

#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

#include "parental/failing_memory.h"
#include "parental/record_builders.h"

namespace tarn::parental {
namespace {

using testing::ElementsAre;

constexpr std::uint8_t kPerUser = 2;

std::vector<std::string> HostsOf(const AllowedSites& sites) {
    std::vector<std::string> hosts;
    for (const UserUrlEntry& site : sites) hosts.emplace_back(site.host);
    return hosts;
}

// A record in which every list has something.
void AddFullEntry(SettingsOwner& owner, std::uint8_t mark) {
    PcUserEntryRecord& entry = owner.AddEntry();
    auto* leading = reinterpret_cast<std::uint8_t*>(&entry.leading);
    for (std::size_t i = 0; i < sizeof entry.leading; ++i) leading[i] = static_cast<std::uint8_t>(i + mark);
    for (std::uint32_t day = 0; day < 7; ++day) owner.SetDay(entry, day, {{day, 1, 22, 2}, {mark, 3, 23, day}});
    entry.blockedCategories = owner.Categories({10, 20, 30});
    entry.otherCategories = owner.Categories({40});
    SiteRules& rules = owner.Rules();
    rules.Add("Blocked.Example", "/P", 2, 1, 1, {RuleIpv4(0x01020304)});
    entry.siteRules = rules.Nodes().First();
    entry.allowedSites = owner.Sites({"a.example", "b.example"});
    entry.scheduleAllowedSites = owner.Sites({"c.example"});
}

void ExpectFullEntry(const PcUserEntry& entry, std::uint8_t mark) {
    const auto* leading = reinterpret_cast<const std::uint8_t*>(&entry.leading);
    for (std::size_t i = 0; i < sizeof entry.leading; ++i)
        ASSERT_EQ(leading[i], static_cast<std::uint8_t>(i + mark)) << i;
    for (std::uint32_t day = 0; day < 7; ++day) {
        ASSERT_EQ(entry.schedule[day].size(), 2U);
        EXPECT_EQ(entry.schedule[day][0].startHour, day);
        EXPECT_EQ(entry.schedule[day][1].startHour, mark);
        EXPECT_EQ(entry.schedule[day][1].endMinute, day);
    }
    EXPECT_THAT(entry.blockedCategories, ElementsAre(10, 20, 30));
    EXPECT_THAT(entry.otherCategories, ElementsAre(40));
    EXPECT_EQ(entry.sites.hosts.size(), 3U);
    EXPECT_EQ(entry.sites.addresses.size(), 1U);
    EXPECT_THAT(HostsOf(entry.allowedSites), ElementsAre("a.example", "b.example"));
    EXPECT_THAT(HostsOf(entry.scheduleAllowedSites), ElementsAre("c.example"));
}

void ExpectEmpty(const SettingsCopy& copy) {
    EXPECT_FALSE(copy.loaded);
    EXPECT_EQ(copy.mode, TARN_PC_ABSENT);
    EXPECT_EQ(copy.prompt.report, 0);
    EXPECT_EQ(copy.prompt.prompt, 0);
    EXPECT_EQ(copy.strictness, 0);
    EXPECT_EQ(copy.First(), nullptr);
    EXPECT_TRUE(copy.Entries().empty());
}

TEST(SettingsCopy, StartsEmpty) {
    ExpectEmpty(SettingsCopy{});
}

TEST(SettingsCopy, OutlivesItsRecord) {
    SettingsCopy copy;
    {
        SettingsOwner owner;
        AddFullEntry(owner, 5);
        AddFullEntry(owner, 6);
        PcSettingsRecord record = owner.Record(kPerUser);
        record.prompt = {3, 4};
        record.strictness = 2;
        ASSERT_TRUE(CopyPcSettings(record, copy));
    }
    EXPECT_TRUE(copy.loaded);
    EXPECT_EQ(copy.mode, kPerUser);
    EXPECT_EQ(copy.prompt.report, 3);
    EXPECT_EQ(copy.prompt.prompt, 4);
    EXPECT_EQ(copy.strictness, 2);
    ASSERT_EQ(copy.Entries().size(), 2U);
    EXPECT_EQ(copy.First(), copy.Entries().data());
    ExpectFullEntry(copy.Entries()[0], 5);
    ExpectFullEntry(copy.Entries()[1], 6);
}

TEST(SettingsCopy, OneScheduleForAllTakesTheFirstEntryWhateverTheCount) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    AddFullEntry(owner, 6);
    PcSettingsRecord record = owner.Record(TARN_PC_ONE_FOR_ALL);
    for (const std::uint32_t count : {2U, 1U, 0U, 0xFFFFFFFFU}) {
        record.entryCount = count;
        SettingsCopy copy;
        ASSERT_TRUE(CopyPcSettings(record, copy));
        ASSERT_EQ(copy.Entries().size(), 1U) << count;
        ExpectFullEntry(*copy.First(), 5);
    }
}

TEST(SettingsCopy, ModeZeroCopiesEntriesLikeAnyOtherMode) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    AddFullEntry(owner, 6);
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(TARN_PC_ABSENT), copy));
    EXPECT_TRUE(copy.loaded);
    EXPECT_EQ(copy.mode, TARN_PC_ABSENT);
    EXPECT_EQ(copy.Entries().size(), 2U);
}

TEST(SettingsCopy, NullEntriesAreNone) {
    for (const std::uint8_t mode : {std::uint8_t{TARN_PC_ONE_FOR_ALL}, kPerUser}) {
        PcSettingsRecord record{};
        record.mode = mode;
        record.entryCount = 0xFFFFFFFF;
        SettingsCopy copy;
        ASSERT_TRUE(CopyPcSettings(record, copy));
        EXPECT_TRUE(copy.loaded);
        EXPECT_EQ(copy.mode, mode);
        EXPECT_EQ(copy.First(), nullptr);
    }
}

TEST(SettingsCopy, NullListsWithCountsAreEmpty) {
    SettingsOwner owner;
    PcUserEntryRecord& entry = owner.AddEntry();
    for (DaySchedule& day : entry.schedule) day.count = 0xFFFFFFFF;
    entry.blockedCategories.count = 0xFFFFFFFF;
    entry.otherCategories.count = 1;
    entry.allowedSites.count = 0xFFFFFFFF;
    entry.scheduleAllowedSites.count = 1;
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), copy));
    for (const auto& day : copy.First()->schedule) EXPECT_TRUE(day.empty());
    EXPECT_TRUE(copy.First()->blockedCategories.empty());
    EXPECT_TRUE(copy.First()->otherCategories.empty());
    EXPECT_TRUE(copy.First()->allowedSites.empty());
    EXPECT_TRUE(copy.First()->scheduleAllowedSites.empty());
}

TEST(SettingsCopy, ListsWithCountZeroAreEmptyWhateverTheyPointTo) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    PcSettingsRecord record = owner.Record(kPerUser);
    PcUserEntryRecord& entry = record.entries[0];
    for (DaySchedule& day : entry.schedule) day.count = 0;
    entry.blockedCategories.count = 0;
    entry.allowedSites.count = 0;
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(record, copy));
    for (const auto& day : copy.First()->schedule) EXPECT_TRUE(day.empty());
    EXPECT_TRUE(copy.First()->blockedCategories.empty());
    EXPECT_TRUE(copy.First()->allowedSites.empty());
}

TEST(SettingsCopy, AllowedSitesEndAtTheCountOrTheirLastNode) {
    SettingsOwner owner;
    PcUserEntryRecord& entry = owner.AddEntry();
    entry.allowedSites = owner.Sites({"a", "b", "c"});
    entry.allowedSites.count = 2;
    entry.scheduleAllowedSites = owner.Sites({"d", "e"});
    entry.scheduleAllowedSites.count = 0xFFFFFFFF;
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), copy));
    EXPECT_THAT(HostsOf(copy.First()->allowedSites), ElementsAre("a", "b"));
    EXPECT_THAT(HostsOf(copy.First()->scheduleAllowedSites), ElementsAre("d", "e"));
}

TEST(SettingsCopy, AllowedSitesThatRunIntoThemselvesEnd) {
    SettingsOwner owner;
    PcUserEntryRecord& entry = owner.AddEntry();
    entry.allowedSites = owner.Sites({"a", "b", "c"});
    entry.allowedSites.first->next->next->next = entry.allowedSites.first->next;
    entry.allowedSites.count = 0xFFFFFFFF;
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), copy));
    EXPECT_THAT(HostsOf(copy.First()->allowedSites), ElementsAre("a", "b", "c"));
}

TEST(SettingsCopy, AllowedSitesKeepTheirBytesAndAreLinkedAnew) {
    SettingsOwner owner;
    PcUserEntryRecord& entry = owner.AddEntry();
    entry.allowedSites = owner.Sites({"Host.Example", "b"});
    UserUrlEntry& given = *entry.allowedSites.first;
    std::memset(given.path, 'P', sizeof given.path);
    given.hostOnly = 1;
    given.kind = TARN_SITE_SECURE;
    given.includeSubdomains = 3;
    given.reserved[4] = 9;
    std::memset(given.next->host, 'H', sizeof given.next->host);
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), copy));
    const UserUrlList list = AsRecord(copy.First()->allowedSites);
    ASSERT_EQ(list.count, 2U);
    const UserUrlEntry& first = *list.first;
    EXPECT_STREQ(first.host, "Host.Example");
    EXPECT_EQ(first.path, std::string(1023, 'P')) << "the last byte counts as the NUL";
    EXPECT_EQ(first.hostOnly, 1);
    EXPECT_EQ(first.kind, 2);
    EXPECT_EQ(first.includeSubdomains, 3);
    EXPECT_EQ(first.reserved[4], 9);
    ASSERT_EQ(first.next, list.first + 1);
    EXPECT_EQ(first.next->host, std::string(255, 'H'));
    EXPECT_EQ(first.next->next, nullptr);
    EXPECT_EQ(given.path[1023], 'P') << "the record is only read";

    const UserUrlList none = AsRecord(copy.First()->scheduleAllowedSites);
    EXPECT_EQ(none.count, 0U);
    EXPECT_EQ(none.first, nullptr);
}

TEST(SettingsCopy, EachMissingBlockFailsAndLeavesNothing) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    AddFullEntry(owner, 6);
    const PcSettingsRecord record = owner.Record(kPerUser);
    std::size_t blocks = 0;
    {
        const FailingMemory memory;
        SettingsCopy copy;
        ASSERT_TRUE(CopyPcSettings(record, copy, memory.Functions()));
        blocks = memory.Asked();
        copy = {};
        EXPECT_EQ(memory.Live(), 0U);
    }
    EXPECT_GT(blocks, 2U * (7 + 2 + 4 + 2));
    for (std::size_t i = 0; i < blocks; ++i) {
        const FailingMemory memory(i);
        SettingsCopy copy;
        EXPECT_FALSE(CopyPcSettings(record, copy, memory.Functions())) << i;
        EXPECT_EQ(memory.Live(), 0U) << i;
        ExpectEmpty(copy);
    }
}

TEST(SettingsCopy, AFailedCopyClearsThePreviousOne) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    PcSettingsRecord record = owner.Record(TARN_PC_ONE_FOR_ALL);
    record.strictness = 3;
    record.prompt = {1, 1};
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(record, copy));
    const FailingMemory memory(0);
    EXPECT_FALSE(CopyPcSettings(record, copy, memory.Functions()));
    ExpectEmpty(copy);
}

// No array is read when its memory is missing, so a count without its items does no harm before that.
TEST(SettingsCopy, HugeCountsFailAtTheirAllocation) {
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    PcSettingsRecord record = owner.Record(kPerUser);
    record.entryCount = 0xFFFFFFFF;
    {
        const FailingMemory memory(0);
        SettingsCopy copy;
        EXPECT_FALSE(CopyPcSettings(record, copy, memory.Functions()));
        EXPECT_EQ(memory.Asked(), 1U);
    }
    record.entryCount = 1;
    record.entries[0].schedule[0].count = 0xFFFFFFFF;
    {
        const FailingMemory memory(1);
        SettingsCopy copy;
        EXPECT_FALSE(CopyPcSettings(record, copy, memory.Functions()));
        EXPECT_EQ(memory.Live(), 0U);
    }
}

TEST(SettingsCopy, MemoryIsWhatTheRecordHolds) {
    SettingsOwner owner;
    PcUserEntryRecord& entry = owner.AddEntry();
    entry.allowedSites = owner.Sites({"a", "b"});
    entry.allowedSites.count = 0xFFFFFFFF;
    const FailingMemory memory;
    SettingsCopy copy;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), copy, memory.Functions()));
    EXPECT_EQ(memory.Bytes(), sizeof(PcUserEntry) + 2 * sizeof(UserUrlEntry));
    copy = {};
}

TEST(SettingsCopy, MovesWithoutMovingItsEntries) {
    static_assert(!std::is_copy_constructible_v<SettingsCopy>);
    static_assert(std::is_nothrow_move_assignable_v<SettingsCopy>);
    SettingsOwner owner;
    AddFullEntry(owner, 5);
    SettingsCopy made;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), made));
    const PcUserEntry* const first = made.First();
    const char* const text = first->sites.hosts[0].text;
    SettingsCopy kept;
    ASSERT_TRUE(CopyPcSettings(owner.Record(kPerUser), kept));
    kept = std::move(made);
    EXPECT_EQ(kept.First(), first);
    EXPECT_EQ(kept.First()->sites.hosts[0].text, text);
    ExpectFullEntry(*kept.First(), 5);
}

TEST(OwnedArray, SizesThatOverflowAreRefusedUnasked) {
    const FailingMemory memory;
    OwnedArray<TimeRange> ranges;
    EXPECT_FALSE(ranges.Allocate(SIZE_MAX / sizeof(TimeRange) + 1, memory.Functions()));
    EXPECT_FALSE(ranges.CopyFrom("", SIZE_MAX, memory.Functions()));
    EXPECT_EQ(memory.Asked(), 0U);
    EXPECT_TRUE(ranges.empty());
}

TEST(OwnedArray, EachItemIsMadeAndDestroyedOnce) {
    struct Counted {
        Counted() { ++Alive(); }
        ~Counted() { --Alive(); }
        static int& Alive() {
            static int alive = 0;
            return alive;
        }
    };
    const FailingMemory memory;
    {
        OwnedArray<Counted> items;
        ASSERT_TRUE(items.Allocate(5, memory.Functions()));
        EXPECT_EQ(Counted::Alive(), 5);
        items.Truncate(3);
        EXPECT_EQ(Counted::Alive(), 3);
        items.Truncate(4);
        EXPECT_EQ(items.size(), 3U);
        OwnedArray<Counted> moved(std::move(items));
        EXPECT_EQ(Counted::Alive(), 3);
        ASSERT_TRUE(moved.Allocate(2, memory.Functions()));
        EXPECT_EQ(Counted::Alive(), 2);
    }
    EXPECT_EQ(Counted::Alive(), 0);
    EXPECT_EQ(memory.Live(), 0U);
}

}  // namespace
}  // namespace tarn::parental
