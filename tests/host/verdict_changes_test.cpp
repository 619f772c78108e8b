// Two passes over the same traffic: what counts as a change, and for which entry.
#include "host/impact/verdict_changes.h"

#include <gmock/gmock.h>
#include <set>
#include <sstream>
#include <string>

#include "host/impact/change_groups.h"
#include "host/impact/impact_report.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const JudgedRequest kRequest{};
const PacketAttack kAttack{};

ImpactItem Request(std::uint32_t frame, VerdictState state, std::uint32_t reason, std::uint32_t line = 0) {
    ImpactItem item{0, frame, state, reason, {}, &kRequest, nullptr};
    if (line != 0) item.decider = DecidingEntry{"malicious_sites", "bad.example", "p.toml", line};
    return item;
}
ImpactItem Attack(std::uint32_t frame, std::uint32_t reason, std::uint32_t capture = 0) {
    return {capture, frame,   VerdictState::kBlocked, reason, DecidingEntry{"packet_signatures", "x", "p.toml", 9},
            nullptr, &kAttack};
}

class Changes : public testing::Test {
 protected:
    std::vector<VerdictChange> told;
    VerdictChanges changes{[this](const VerdictChange& change) { told.push_back(change); }};

    void Judge(const std::vector<ImpactItem>& before, const std::vector<ImpactItem>& after) {
        for (const ImpactItem& item : before) changes.Before(item);
        for (const ImpactItem& item : after) changes.After(item);
        changes.End();
    }
};

TEST_F(Changes, AreOtherVerdictsAndReasonsButNotOtherLines) {
    using enum VerdictState;
    Judge({Request(1, kAllowed, 26), Request(2, kBlocked, 2, 3), Request(3, kBlocked, 2, 3), Request(4, kBlocked, 2, 3),
           Request(5, kNone, 0)},
          {Request(1, kBlocked, 2, 8), Request(2, kAllowed, 26), Request(3, kBlocked, 0, 5), Request(4, kBlocked, 2, 7),
           Request(5, kAllowed, 26)});
    EXPECT_TRUE(changes.IsSameTraffic());
    ASSERT_THAT(told, SizeIs(4));
    EXPECT_EQ(told[0].kind, ChangeKind::kBlocked);
    EXPECT_EQ(told[0].frame, 1u);
    EXPECT_FALSE(told[0].before.decider);
    EXPECT_EQ(told[0].after.decider->line, 8u);
    EXPECT_EQ(told[1].kind, ChangeKind::kAllowed);
    EXPECT_EQ(told[1].before.decider->line, 3u);
    EXPECT_EQ(told[1].before.reason, 2u);
    EXPECT_FALSE(told[1].after.decider);
    EXPECT_EQ(told[2].kind, ChangeKind::kReason);
    EXPECT_EQ(told[3].kind, ChangeKind::kReason);
    EXPECT_EQ(told[3].before.state, kNone);
}

TEST_F(Changes, FindAttacksThatComeAndGo) {
    Judge({Attack(3, 31), Attack(5, 31), Attack(9, 31), Attack(2, 31, 1), Attack(4, 31, 1)},
          {Attack(5, 31), Attack(7, 30), Attack(9, 30), Attack(2, 31, 1)});
    std::vector<std::pair<std::uint32_t, ChangeKind>> found;
    for (const VerdictChange& change : told) {
        EXPECT_TRUE(change.isAttack);
        found.emplace_back(change.capture * 100 + change.frame, change.kind);
    }
    EXPECT_THAT(found, ElementsAre(std::pair(3u, ChangeKind::kAllowed), std::pair(7u, ChangeKind::kBlocked),
                                   std::pair(9u, ChangeKind::kReason), std::pair(104u, ChangeKind::kAllowed)));
    EXPECT_EQ(told[0].item, nullptr);
    EXPECT_NE(told[1].item, nullptr);
    EXPECT_EQ(changes.AttacksBefore(), 5u);
    EXPECT_EQ(changes.AttacksAfter(), 4u);
}

TEST_F(Changes, NoticeTrafficThatIsNotTheSame) {
    using enum VerdictState;
    Judge({Request(1, kAllowed, 26)}, {Request(2, kAllowed, 26)});
    EXPECT_FALSE(changes.IsSameTraffic());
    EXPECT_THAT(told, IsEmpty());
    VerdictChanges fewer([](const VerdictChange&) {});
    fewer.Before(Request(1, kAllowed, 26));
    fewer.End();
    EXPECT_FALSE(fewer.IsSameTraffic());
    VerdictChanges more([](const VerdictChange&) {});
    more.After(Request(1, kAllowed, 26));
    more.End();
    EXPECT_FALSE(more.IsSameTraffic());
}

TEST(ChangeGroups, CountForTheEntryThatMakesTheChange) {
    const DecidingEntry old{"malicious_sites", "a", "old.toml", 3};
    const DecidingEntry white{"white_lists.user", "a", "new.toml", 4};
    ChangeGroups groups(2);
    const auto add = [&](ChangeKind kind, std::optional<DecidingEntry> before, std::optional<DecidingEntry> after,
                         const char* what) {
        groups.Add({kind,
                    false,
                    0,
                    1,
                    {VerdictState::kBlocked, 2, std::move(before)},
                    {VerdictState::kAllowed, 9, std::move(after)},
                    nullptr},
                   {what, "x.pcap:1"});
    };
    add(ChangeKind::kAllowed, old, std::nullopt, "one");
    for (const char* what : {"one", "one", "two", "three"}) add(ChangeKind::kAllowed, old, white, what);
    add(ChangeKind::kReason, std::nullopt, std::nullopt, "one");
    EXPECT_EQ(groups.Count(), 6u);
    EXPECT_EQ(groups.CountOf(ChangeKind::kAllowed), 5u);
    const auto sorted = groups.Sorted(ChangeKind::kAllowed);
    ASSERT_THAT(sorted, SizeIs(2));
    EXPECT_EQ(sorted[0]->entry, white);
    EXPECT_TRUE(sorted[0]->isNew);
    EXPECT_EQ(sorted[0]->count, 4u);
    ASSERT_THAT(sorted[0]->samples, SizeIs(2));  // each once
    EXPECT_EQ(sorted[0]->samples[1].what, "two");
    EXPECT_EQ(sorted[1]->entry, old);
    EXPECT_FALSE(sorted[1]->isNew);
    EXPECT_THAT(groups.Sorted(ChangeKind::kBlocked), IsEmpty());
}

// Hosts that no entry decides would fill the memory; behind the first 10,000 they have no name.
TEST(ImpactItems, RememberABoundedNumberOfHosts) {
    std::set<std::string> deciders;
    ImpactItems items([&](const ImpactItem& item) { deciders.insert(item.decider->text); });
    JudgedRequest request;
    request.judgement.isValid = true;
    request.judgement.verdict.allow = TARN_BLOCK;
    for (int i = 0; i < 12000; ++i) {
        request.view.host = "host" + std::to_string(i) + ".example";
        items.Request(request);
    }
    EXPECT_EQ(deciders.size(), 10001u);
    EXPECT_TRUE(deciders.contains(""));
    request.view.host = "host7.example";
    items.Request(request);
    EXPECT_EQ(deciders.size(), 10001u);
}

TEST(ImpactReport, SamplesFitIntoTheLine) {
    for (const std::size_t columns : {std::size_t{60}, std::size_t{80}, std::size_t{0}}) {
        std::ostringstream out;
        ImpactReport report(out, {false, false, 3, columns});
        JudgedRequest request;
        request.view = {"a-long-name-of-a-host.example", "/and/a/path/of/some/length"};
        ImpactItem item{0, 12, VerdictState::kBlocked, 2, {}, &request, nullptr};
        report.Change({ChangeKind::kBlocked, false, 0, 12, {}, {VerdictState::kBlocked, 2, {}}, &item},
                      {"http_wget_and_others.pcap"});
        report.Summary({"a.toml", "b.toml", 1, 0, 0, 0});
        std::istringstream lines(out.str());
        std::string sample;
        for (std::string line; std::getline(lines, line);)
            if (line.find("pcap:12") != std::string::npos) sample = line;
        ASSERT_FALSE(sample.empty());
        EXPECT_LE(sample.size(), columns == 0 ? std::size_t{100} : columns);
    }
}

}  // namespace
}  // namespace tarn::host
