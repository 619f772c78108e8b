#include "network/rule_details.h"

#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <random>
#include <vector>

#include "network/packet_fixture.h"
#include "network/plain_walk.h"

namespace tarn::network {
namespace {

PacketVerdict Untouched() {
    PacketVerdict verdict;
    std::memset(&verdict, 0xCC, sizeof verdict);
    return verdict;
}
bool SameBytes(const PacketVerdict& a, const PacketVerdict& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(RuleDetails, AnEmptyTableAndAnUnknownNumberChangeNothing) {
    modules::IdsRuleTable rules;
    PacketVerdict verdict = Untouched();
    FillRuleDetails(rules, 0, ExcludedRule::kAllows, verdict);
    EXPECT_TRUE(SameBytes(verdict, Untouched()));
    ASSERT_TRUE(SetRules(rules, {MakeRule(3, u"Three", 1)}));
    for (const std::uint16_t unknown : std::initializer_list<std::uint16_t>{0, 2, 4, 0x0300, 0xFFFF}) {
        FillRuleDetails(rules, unknown, ExcludedRule::kAllows, verdict);
        EXPECT_TRUE(SameBytes(verdict, Untouched())) << unknown;
    }
}

TEST(RuleDetails, TheFirstEntryWithTheNumberWins) {
    modules::IdsRuleTable rules;
    ASSERT_TRUE(SetRules(rules, {MakeRule(5, u"Other"), MakeRule(3, u"First"), MakeRule(3, u"Second", 1)}));
    PacketVerdict verdict = Untouched();
    FillRuleDetails(rules, 3, ExcludedRule::kAllows, verdict);
    EXPECT_EQ(verdict.action, 0xCCCCCCCC) << "the excluded second one does not count";
    EXPECT_EQ(verdict.ruleId, 3);
    EXPECT_EQ(TextOf(verdict.ruleName), u"First");
}

TEST(RuleDetails, ExcludedIsOneAndNothingElse) {
    for (const std::uint8_t flag : std::initializer_list<std::uint8_t>{0, 1, 2, 255}) {
        modules::IdsRuleTable rules;
        ASSERT_TRUE(SetRules(rules, {MakeRule(3, u"Three", flag)}));
        PacketVerdict verdict = Untouched();
        FillRuleDetails(rules, 3, ExcludedRule::kAllows, verdict);
        EXPECT_EQ(verdict.action, flag == 1 ? 1U : 0xCCCCCCCC);
        EXPECT_EQ(verdict.reason, flag == 1 ? 20U : 0xCCCCCCCC);
        EXPECT_EQ(TextOf(verdict.ruleName), u"Three");
        verdict = Untouched();
        FillRuleDetails(rules, 3, ExcludedRule::kIgnored, verdict);
        EXPECT_EQ(verdict.action, 0xCCCCCCCC);
        EXPECT_EQ(verdict.reason, 0xCCCCCCCC);
    }
}

TEST(RuleDetails, TextsWithoutANulEndAtTheirLastUnit) {
    IdsRule rule{};
    rule.id = 3;
    std::memset(rule.name, 0x41, sizeof rule.name);
    std::memset(rule.description, 0x42, sizeof rule.description);
    std::memset(rule.details, 0x43, sizeof rule.details);
    modules::IdsRuleTable rules;
    ASSERT_TRUE(SetRules(rules, {rule}));
    PacketVerdict verdict = Untouched();
    FillRuleDetails(rules, 3, ExcludedRule::kAllows, verdict);
    EXPECT_EQ(TextOf(verdict.ruleName), std::u16string(49, u'\x4141'));
    EXPECT_EQ(TextOf(verdict.description), std::u16string(149, u'\x4242'));
    EXPECT_EQ(TextOf(verdict.details), std::u16string(399, u'\x4343'));
}

TEST(RuleDetails, OnlyNumberAndTextsAreWritten) {
    modules::IdsRuleTable rules;
    ASSERT_TRUE(SetRules(rules, {MakeRule(3, u"")}));
    PacketVerdict verdict = Untouched();
    FillRuleDetails(rules, 3, ExcludedRule::kAllows, verdict);
    PacketVerdict expected = Untouched();
    expected.ruleId = 3;
    auto* const bytes = reinterpret_cast<std::uint8_t*>(&expected);
    bytes[31] = bytes[32] = 0;  // an empty name is its NUL
    const std::u16string description = std::u16string(u" description") + u'\0';
    const std::u16string details = std::u16string(u" details") + u'\0';
    std::memcpy(bytes + 131, description.data(), description.size() * sizeof(char16_t));
    std::memcpy(bytes + 431, details.data(), details.size() * sizeof(char16_t));
    EXPECT_TRUE(SameBytes(verdict, expected));
}

TEST(RuleDetails, EmptyingZeroesHalfOfEachField) {
    PacketVerdict verdict = Untouched();
    EmptyRuleTexts(verdict);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&verdict);
    for (std::size_t i = 0; i < sizeof verdict; ++i) {
        const bool zeroed = (i >= 31 && i < 81) || (i >= 131 && i < 281) || (i >= 431 && i < 831);
        EXPECT_EQ(bytes[i], zeroed ? 0 : 0xCC) << i;
    }
}

TEST(IdsRuleIndex, FindsLikeThePlainWalk) {
    std::mt19937 random(5);
    for (const std::uint32_t mask : {0x000FU, 0x00FFU, 0x0FFFU, 0xFFFFU}) {
        std::vector<IdsRule> entries(400);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            entries[i].id = static_cast<std::uint16_t>(random() & mask);
            entries[i].name[0] = static_cast<char16_t>(i);
        }
        modules::IdsRuleTable rules;
        ASSERT_TRUE(SetRules(rules, entries));
        for (std::uint32_t id = 0; id <= 0xFFFF; ++id)
            ASSERT_EQ(rules.Find(static_cast<std::uint16_t>(id)),
                      plain::FindRule(rules.Record(), static_cast<std::uint16_t>(id)))
                << id;
    }
}

TEST(IdsRuleIndex, FollowsTheTable) {
    modules::IdsRuleTable rules;
    EXPECT_EQ(rules.Find(0), nullptr);
    ASSERT_TRUE(SetRules(rules, {MakeRule(0, u"Zero"), MakeRule(0xFFFF, u"Last")}));
    EXPECT_EQ(rules.Find(0), &rules.Record().rules[0]);
    EXPECT_EQ(rules.Find(0xFFFF), &rules.Record().rules[1]);
    ASSERT_TRUE(SetRules(rules, {MakeRule(2, u"Two")}));
    EXPECT_EQ(rules.Find(0), nullptr);
    EXPECT_EQ(rules.Find(0xFFFF), nullptr);
    EXPECT_EQ(rules.Find(2), &rules.Record().rules[0]);
    IdsRule stray{};
    rules.Keep({.ruleCount = 0, .extra = 0, .rules = &stray});
    EXPECT_EQ(rules.Find(2), nullptr);
    rules.Clear();
    EXPECT_EQ(rules.Find(2), nullptr);
}

TEST(IdsRuleIndex, RulesOfOtherSystemsAreNotFound) {
    std::uint8_t systems[] = {60, 0};
    IdsRule other = MakeRule(1, u"Other");
    other.systemCount = 1;
    other.systems = systems;
    modules::IdsRuleTable rules;
    ASSERT_TRUE(SetRules(rules, {other, MakeRule(1, u"Own")}));
    ASSERT_NE(rules.Find(1), nullptr);
    EXPECT_EQ(TextOf(rules.Find(1)->name), u"Own");
}

int allocationsLeft = 0;
void* AllocateSome(std::size_t count, std::size_t size) {
    return allocationsLeft-- > 0 ? std::calloc(count, size) : nullptr;
}

TEST(IdsRuleIndex, MissingMemoryLeavesAnEmptyTable) {
    for (int available = 0; available < 2; ++available) {
        allocationsLeft = available;
        modules::IdsRuleTable rules(modules::RuleMemory{&AllocateSome, &std::free});
        EXPECT_FALSE(SetRules(rules, {MakeRule(1, u"One")}));
        EXPECT_EQ(rules.Record().ruleCount, 0U);
        EXPECT_EQ(rules.Find(1), nullptr);
    }
    allocationsLeft = 2;
    modules::IdsRuleTable rules(modules::RuleMemory{&AllocateSome, &std::free});
    EXPECT_TRUE(SetRules(rules, {MakeRule(1, u"One")}));
    EXPECT_NE(rules.Find(1), nullptr);
}

}  // namespace
}  // namespace tarn::network
