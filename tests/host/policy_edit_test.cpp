// Single entries taken out of the text of a policy, and the times of its schedules.
#include "host/explain/policy_edit.h"

#include <gmock/gmock.h>

#include "host/clock_time.h"
#include "host/explain/week_times.h"
#include "policy/policy_reader.h"

namespace tarn::host {
namespace {

struct EditCase {
    const char* name;
    const char* before;
    EntryRef entry;
    const char* after;
};

class EntryRemoval : public testing::TestWithParam<EditCase> {};

TEST_P(EntryRemoval, TakesOutThatEntryAlone) {
    const policy::ReadPolicy read = policy::ParsePolicy(GetParam().before);
    ASSERT_TRUE(read.mistakes.empty());
    std::string whyNot;
    const auto edited = WithoutEntry(GetParam().before, read.policy, GetParam().entry, {}, whyNot);
    ASSERT_TRUE(edited) << whyNot;
    EXPECT_EQ(*edited, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, EntryRemoval,
    testing::Values(EditCase{"FirstOfALine",
                             "[white_lists]\nuser = [\"a\", \"b\"]\n",
                             {PolicyList::kUserWhiteList, 0},
                             "[white_lists]\nuser = [     \"b\"]\n"},
                    EditCase{"LastOfALine",
                             "[white_lists]\nuser = [\"a\", \"b\"]\n",
                             {PolicyList::kUserWhiteList, 1},
                             "[white_lists]\nuser = [\"a\",    ]\n"},
                    EditCase{"TheSameTextTwice",
                             "[white_lists]\nuser = [\"a\", \"a\", \"c\"]\n",
                             {PolicyList::kUserWhiteList, 1},
                             "[white_lists]\nuser = [\"a\",      \"c\"]\n"},
                    EditCase{"BetweenComments",
                             "[white_lists]\nuser = [ # one\n  \"\xC3\xA4\", \"b\" # two, three\n  , \"c\"]\n",
                             {PolicyList::kUserWhiteList, 1},
                             "[white_lists]\nuser = [ # one\n  \"\xC3\xA4\",     # two, three\n    \"c\"]\n"},
                    EditCase{"ATable",
                             "[[sites]]\naddress = \"a\"\n[[sites]] # b\naddress = \"b\"\n[ids]\nalert = 1\n",
                             {PolicyList::kSites, 1},
                             "[[sites]]\naddress = \"a\"\n             \n             \n[ids]\nalert = 1\n"},
                    EditCase{
                        "ATableWithTablesInside",
                        "[[malicious_sites]]\nhost = \"a\"\n[[malicious_sites.threats]]\nname = \"n\"\npath = \"/p\"\n"
                        "[[malicious_sites]]\nhost = \"b\"\n",
                        {PolicyList::kMaliciousSites, 0},
                        "                   \n          \n                           \n          \n           \n"
                        "[[malicious_sites]]\nhost = \"b\"\n"},
                    EditCase{"AnInlineTable",
                             "[[malicious_sites]]\nhost = \"a\"\nthreats = [{ name = \"n\", path = \"/p\" }]\n",
                             {PolicyList::kThreats, 0, 0},
                             "[[malicious_sites]]\nhost = \"a\"\nthreats = [                           ]\n"},
                    EditCase{"ASchedule",
                             "[[parental.users]]\nschedule = { on = true, sunday = [] }\n",
                             {PolicyList::kSchedule},
                             "[[parental.users]]\nschedule = { on = false, sunday = [] }\n"}),
    [](const auto& one) { return one.param.name; });

TEST(EntryRemovals, LeavesWhatItCannotTakeOutAlone) {
    // A line that looks like a header would end the table too early, and what is left is no policy.
    const std::string text = "[[sites]]\naddress = \"\"\"\n[x]\"\"\"\n[[sites]]\naddress = \"b\"\n";
    const policy::ReadPolicy read = policy::ParsePolicy(text);
    ASSERT_TRUE(read.mistakes.empty());
    std::string whyNot;
    EXPECT_FALSE(WithoutEntry(text, read.policy, {PolicyList::kSites, 0}, {}, whyNot));
    EXPECT_EQ(whyNot, "it cannot be taken out of the file alone");
}

TEST(EntryRemovals, LeavesEntriesOfOtherFiles) {
    const std::string text = "[white_lists]\nuser = [\"a\"]\n";
    policy::Policy policy = policy::ParsePolicy(text).policy;
    policy.files.emplace_back("more.toml");
    policy.whiteLists.user[0].place.file = 1;
    std::string whyNot;
    EXPECT_FALSE(WithoutEntry(text, policy, {PolicyList::kUserWhiteList, 0}, {}, whyNot));
    EXPECT_EQ(whyNot, "it stands in another file than the policy");
}

bool IsAllowedAt(const char* times, const char* time) {
    const std::string text = std::string("[[parental.users]]\n[parental.users.schedule]\non = true\n") + times;
    const policy::ReadPolicy read = policy::ParsePolicy(text);
    EXPECT_TRUE(read.mistakes.empty());
    return IsAllowedTime(read.policy.parental.users.at(0), *ParseClockTime(time, {}));
}

TEST(WeekTimes, BeginWithTheirMinuteAndEndBeforeIt) {
    const char* saturday = "saturday = [\"08:00-12:30\", \"14:00-23:59\"]\n";
    EXPECT_FALSE(IsAllowedAt(saturday, "2026-03-07T07:59"));
    EXPECT_TRUE(IsAllowedAt(saturday, "2026-03-07T08:00"));
    EXPECT_TRUE(IsAllowedAt(saturday, "2026-03-07T12:29"));
    EXPECT_FALSE(IsAllowedAt(saturday, "2026-03-07T12:30"));
    EXPECT_TRUE(IsAllowedAt(saturday, "2026-03-07T23:59"));
    EXPECT_FALSE(IsAllowedAt(saturday, "2026-03-08T00:00"));
    EXPECT_FALSE(IsAllowedAt("", "2026-03-07T08:00"));
}

TEST(WeekTimes, WhatStandsOutOfOrderInFrontIsLost) {
    EXPECT_FALSE(IsAllowedAt("sunday = [\"14:00-15:00\", \"08:00-09:00\"]\n", "2026-03-01T08:30"));
    EXPECT_TRUE(IsAllowedAt("sunday = [\"08:00-09:00\", \"14:00-15:00\"]\n", "2026-03-01T08:30"));
}

}  // namespace
}  // namespace tarn::host
