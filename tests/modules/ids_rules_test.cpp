#include "modules/ids_rules.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fakes/fake_modules.h"
#include "modules/module_calls.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Rules in heap blocks of exactly their size; the systems two bytes apart, without the last one's second byte.
class Rules {
 public:
    IdsRule& Add(std::uint16_t id, const std::vector<std::uint8_t>& systems) {
        IdsRule& rule = rules_.emplace_back();
        rule.id = id;
        rule.systemCount = static_cast<std::uint8_t>(systems.size());
        if (systems.empty()) return rule;
        auto& block = systems_.emplace_back(std::make_unique<std::uint8_t[]>(systems.size() * 2 - 1));
        for (std::size_t i = 0; i < systems.size(); ++i) {
            block[i * 2] = systems[i];
            if (i + 1 < systems.size()) block[i * 2 + 1] = 100;  // means nothing
        }
        rule.systems = block.get();
        return rule;
    }

    IdsSettingsRecord Record() {
        block_ = std::make_unique<std::uint8_t[]>(rules_.size() * sizeof(IdsRule));
        std::memcpy(block_.get(), rules_.data(), rules_.size() * sizeof(IdsRule));
        IdsSettingsRecord record{};
        record.ruleCount = static_cast<std::uint32_t>(rules_.size());
        record.extra = 0x42;
        record.rules = reinterpret_cast<IdsRule*>(block_.get());
        return record;
    }

 private:
    std::vector<IdsRule> rules_;
    std::vector<std::unique_ptr<std::uint8_t[]>> systems_;
    std::unique_ptr<std::uint8_t[]> block_;
};

std::vector<int> Ids(const IdsRuleTable& table) {
    std::vector<int> ids;
    const IdsSettingsRecord& record = table.Record();
    for (std::uint32_t i = 0; i < record.ruleCount; ++i) ids.push_back(record.rules[i].id);
    return ids;
}

// Memory that runs out after a number of blocks.
int blocksLeft = 0;
int liveBlocks = 0;
void* Allocate(std::size_t count, std::size_t size) {
    if (--blocksLeft < 0) return nullptr;
    ++liveBlocks;
    return std::calloc(count, size);
}
void Free(void* block) {
    if (block != nullptr) --liveBlocks;
    std::free(block);
}
constexpr RuleMemory kCountedMemory{&Allocate, &Free};

TEST(IdsSystemOf, EveryCodeOfTheTable) {
    const std::map<std::uint8_t, std::vector<std::uint32_t>> table = {
        {50, {50017, 50018, 50019, 50028}},
        {51, {50015, 50016, 50003, 50004, 50005, 50006, 50007, 50008, 50009, 50010, 50011, 50012, 50014}},
        {52, {50013}},
        {60, {50001, 50026, 50002, 50029}},
        {61, {50030, 50031, 50032, 50033}},
        {62, {50034, 50035, 50036, 50037}},
        {63, {50038, 50039, 50040}},
        {100, {50041, 50042, 50043, 50046, 50047, 50048, 50049}}};
    std::map<std::uint32_t, std::uint8_t> expected;
    for (const auto& [system, codes] : table)
        for (const std::uint32_t code : codes) expected[code] = system;
    for (std::uint32_t code = 49990; code < 50060; ++code)
        EXPECT_EQ(IdsSystemOf(code), expected.contains(code) ? expected[code] : 0) << code;
    EXPECT_EQ(IdsSystemOf(0), 0);
    EXPECT_EQ(IdsSystemOf(0xFFFFFFFF), 0);
}

TEST(IdsRuleTable, TakesTheRulesOfEverySystemAndOfThisOne) {
    Rules rules;
    rules.Add(1, {});
    rules.Add(2, {100});
    rules.Add(3, {63});
    IdsRuleTable table;
    ASSERT_TRUE(table.CopySelected(rules.Record(), 100));
    EXPECT_THAT(Ids(table), ElementsAre(1, 2));
    EXPECT_EQ(table.Record().extra, 0x42);
    ASSERT_TRUE(table.CopySelected(rules.Record(), 63));
    EXPECT_THAT(Ids(table), ElementsAre(1, 3));
    ASSERT_TRUE(table.CopySelected(rules.Record(), 50));
    EXPECT_THAT(Ids(table), ElementsAre(1));
}

TEST(IdsRuleTable, AnyOfARulesSystemsSelectsIt) {
    Rules rules;
    rules.Add(7, {50, 51, 100});
    rules.Add(8, {100, 50});
    rules.Add(9, {50, 51});  // 100 stands only in a second byte
    rules.Add(10, std::vector<std::uint8_t>(254, 51));
    std::vector<std::uint8_t> longest(255, 51);
    longest.back() = 100;
    rules.Add(11, longest);
    IdsRuleTable table;
    ASSERT_TRUE(table.CopySelected(rules.Record(), 100));
    EXPECT_THAT(Ids(table), ElementsAre(7, 8, 11));
}

TEST(IdsRuleTable, CopiesAreDeep) {
    IdsRuleTable table;
    {
        Rules rules;
        IdsRule& rule = rules.Add(7, {50, 100});
        rule.excluded = 1;
        std::memset(rule.name, 'n', sizeof rule.name);
        rule.reserved5399[7] = 0x99;
        ASSERT_TRUE(table.CopySelected(rules.Record(), 100));
    }
    // The module's record and its lists are gone.
    ASSERT_THAT(Ids(table), ElementsAre(7));
    const IdsRule& copy = table.Record().rules[0];
    EXPECT_EQ(copy.excluded, 1);
    EXPECT_EQ(std::memcmp(copy.name, std::string(sizeof copy.name, 'n').data(), sizeof copy.name), 0);
    EXPECT_EQ(copy.reserved5399[7], 0x99);
    ASSERT_EQ(copy.systemCount, 2);
    EXPECT_EQ(copy.systems[0], 50);
    EXPECT_EQ(copy.systems[2], 100);
}

TEST(IdsRuleTable, NoRuleForThisSystemIsAnEmptyTable) {
    Rules rules;
    rules.Add(1, {50});
    IdsRuleTable table;
    EXPECT_TRUE(table.CopySelected(rules.Record(), 100));
    EXPECT_EQ(table.Record().ruleCount, 0U);
    EXPECT_EQ(table.Record().extra, 0x42);
}

TEST(IdsRuleTable, NullArraysWithACountAreEmpty) {
    IdsSettingsRecord record{};
    record.ruleCount = 5;
    IdsRuleTable table;
    EXPECT_TRUE(table.CopySelected(record, 100));
    EXPECT_EQ(table.Record().ruleCount, 0U);

    Rules rules;
    rules.Add(1, {}).systemCount = 3;
    rules.Add(2, {});
    ASSERT_TRUE(table.CopySelected(rules.Record(), 100));
    EXPECT_THAT(Ids(table), ElementsAre(1, 2)) << "a rule without identifiers is for every system, whatever its count";
    EXPECT_EQ(table.Record().rules[0].systems, nullptr);
}

TEST(IdsRuleTable, EachMissingBlockFailsAndLeavesNothing) {
    Rules rules;
    rules.Add(1, {100});
    rules.Add(2, {});
    rules.Add(3, {100, 50});
    const IdsSettingsRecord record = rules.Record();
    liveBlocks = 0;
    for (int blocks = 0; blocks < 4; ++blocks) {
        IdsRuleTable table(kCountedMemory);
        blocksLeft = blocks;
        EXPECT_FALSE(table.CopySelected(record, 100)) << blocks;
        EXPECT_EQ(liveBlocks, 0) << blocks;
        EXPECT_EQ(table.Record().ruleCount, 0U);
        EXPECT_EQ(table.Record().extra, 0);
        EXPECT_EQ(table.Record().rules, nullptr);
    }
    {
        IdsRuleTable table(kCountedMemory);
        blocksLeft = 4;
        EXPECT_TRUE(table.CopySelected(record, 100));
        EXPECT_EQ(liveBlocks, 4) << "the rules, two lists of systems and the index";
    }
    EXPECT_EQ(liveBlocks, 0) << "freed with the table";
}

TEST(IdsRuleTable, AFailedCopyDropsTheFormerTable) {
    Rules rules;
    rules.Add(1, {100});
    IdsRuleTable table(kCountedMemory);
    liveBlocks = 0;
    blocksLeft = 3;
    ASSERT_TRUE(table.CopySelected(rules.Record(), 100));
    EXPECT_FALSE(table.CopySelected(rules.Record(), 100));
    EXPECT_EQ(table.Record().ruleCount, 0U);
    EXPECT_EQ(liveBlocks, 0);
}

TEST(IdsRuleTable, ARecordWithoutRulesIsKeptAsItStands) {
    IdsSettingsRecord record{};
    record.extra = 3;
    record.rules = reinterpret_cast<IdsRule*>(std::uintptr_t{0x7000});
    IdsRuleTable table;
    table.Keep(record);
    EXPECT_EQ(table.Record().extra, 3);
    EXPECT_EQ(table.Record().rules, record.rules);
    EXPECT_EQ(table.KeptRecord().rules, record.rules);
    table.Clear();
    EXPECT_EQ(table.Record().rules, nullptr);
    EXPECT_EQ(table.KeptRecord().extra, 0);
}

class IdsSettings : public testing::Test {
 protected:
    IdsSettings() {
        base::PathBuffer folder;
        fake.InstallFolder(folder);
        EXPECT_TRUE(calls.Load<SettingsReader>(folder));
        fake.Take();
        Rules former;
        former.Add(99, {});
        EXPECT_TRUE(table.CopySelected(former.Record(), 100));
    }
    // What a release was handed.
    IdsSettingsRecord Released() {
        IdsSettingsRecord record{};
        const auto& bytes = fake.released["ReleaseIDSSettings"];
        EXPECT_EQ(bytes.size(), sizeof record);
        if (bytes.size() == sizeof record) std::memcpy(&record, bytes.data(), sizeof record);
        return record;
    }
    bool Read(std::uint32_t classification) { return calls.ReadIDSSettings(classification, table); }

    fakes::FakeModules fake;
    Companions companions;
    IdsRuleTable table{};  // holds one rule of before
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

TEST_F(IdsSettings, RulesAreCopiedAndTheRecordGivenBackAtOnce) {
    Rules rules;
    rules.Add(1, {});
    rules.Add(2, {100});
    rules.Add(3, {50});
    const IdsSettingsRecord given = rules.Record();
    fake.Give("ReadIDSSettings", given);
    ASSERT_TRUE(Read(50042));
    EXPECT_THAT(Ids(table), ElementsAre(1, 2));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadIDSSettings", "ReleaseIDSSettings"));
    EXPECT_EQ(Released().rules, given.rules);
    EXPECT_EQ(Released().ruleCount, 3U);

    calls.ReleaseIDSSettings(table);
    EXPECT_THAT(fake.Take(), ElementsAre("ReleaseIDSSettings"));
    EXPECT_EQ(Released().rules, nullptr) << "the own copies never reach the module";
    EXPECT_EQ(Released().ruleCount, 0U);
    EXPECT_EQ(table.Record().ruleCount, 0U);
}

TEST_F(IdsSettings, CountZeroIsKeptWithItsPointerUntilTheRelease) {
    IdsSettingsRecord given{};
    given.extra = 8;
    given.rules = reinterpret_cast<IdsRule*>(std::uintptr_t{0x7000});
    fake.Give("ReadIDSSettings", given);
    ASSERT_TRUE(Read(50042));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadIDSSettings"));
    EXPECT_EQ(table.Record().ruleCount, 0U);
    EXPECT_EQ(table.Record().extra, 8);
    EXPECT_EQ(table.Record().rules, given.rules);
    calls.ReleaseIDSSettings(table);
    EXPECT_EQ(Released().rules, given.rules);
    EXPECT_EQ(Released().extra, 8);
    EXPECT_EQ(table.Record().rules, nullptr);
}

TEST_F(IdsSettings, AnUnknownSystemFailsBeforeTheRead) {
    for (const std::uint32_t code : {0U, 50020U, 50027U, 50044U, 50050U}) EXPECT_FALSE(Read(code)) << code;
    EXPECT_THAT(fake.Take(), IsEmpty());
    EXPECT_EQ(table.Record().ruleCount, 0U) << "the former rules are gone";
}

TEST_F(IdsSettings, AFailedReadLeavesAnEmptyTableAndIsNotReleased) {
    fake.failing = {"ReadIDSSettings"};
    EXPECT_FALSE(Read(50042));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadIDSSettings"));
    EXPECT_EQ(table.Record().ruleCount, 0U);
    EXPECT_EQ(table.Record().rules, nullptr);
    companions.settingsReader = {};
    fake.Take();
    EXPECT_FALSE(Read(50042));
    calls.ReleaseIDSSettings(table);
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST_F(IdsSettings, WhenMemoryIsMissingTheRecordIsStillGivenBack) {
    Rules rules;
    rules.Add(1, {});
    fake.Give("ReadIDSSettings", rules.Record());
    IdsRuleTable poor(kCountedMemory);
    blocksLeft = 0;
    EXPECT_FALSE(calls.ReadIDSSettings(50042, poor));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadIDSSettings", "ReleaseIDSSettings"));
    EXPECT_EQ(poor.Record().ruleCount, 0U);
}

}  // namespace
}  // namespace tarn::modules
