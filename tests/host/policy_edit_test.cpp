// Single entries taken out of the text of a policy, and the times of its schedules.
#include "host/explain/policy_edit.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/clock_time.h"
#include "host/explain/week_times.h"
#include "host/file_path.h"
#include "host/policy_check.h"
#include "host/temporary_file.h"
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
    const auto edited = WithoutEntry({"", GetParam().before}, read.policy, GetParam().entry, {}, whyNot);
    ASSERT_TRUE(edited) << whyNot;
    EXPECT_EQ(edited->variant.text, GetParam().after);
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
    EXPECT_FALSE(WithoutEntry({"", text}, read.policy, {PolicyList::kSites, 0}, {}, whyNot));
    EXPECT_EQ(whyNot, "it cannot be taken out of the file alone");
}

// The folder of a policy with lists.
struct Included {
    Included() {
        std::filesystem::create_directories(ToPath(policy.Folder()) / "lists");
        Write("lists/a.txt", "ads.example\nb.example\n");
        Write("lists/b.txt", "# more\nads.example\n");
    }
    void Write(const char* name, const char* text) const {
        std::ofstream(ToPath(policy.Folder()) / name, std::ios::binary) << text;
    }
    static constexpr const char* kText =
        "include = [ # lists\n  \"lists/*.txt\", { files = \"lists/b.txt\", list = \"phishing_sites\" }]\n"
        "[[malicious_sites]]\nhost = \"evil.example\"\n";
    TemporaryFile policy{"mine.toml", kText};
    PolicyVariant variant{policy.Path(), kText};
};

std::vector<std::string> MaliciousOf(const policy::Policy& policy) {
    std::vector<std::string> found;
    for (const policy::MaliciousSite& site : policy.maliciousSites)
        found.push_back(policy.files[site.place.file] + ":" + std::to_string(site.place.line) + " " + site.host);
    return found;
}

TEST(EntryRemovals, TakesOutOneOfThePolicyThatIncludesLists) {
    const Included included;
    const policy::ReadPolicy read = ReadVariant(included.variant);
    ASSERT_THAT(read.mistakes, testing::IsEmpty());
    std::string whyNot;
    const auto edited = WithoutEntry(included.variant, read.policy, {PolicyList::kMaliciousSites, 0}, {}, whyNot);
    ASSERT_TRUE(edited) << whyNot;
    EXPECT_THAT(MaliciousOf(edited->says),
                testing::ElementsAre("lists/a.txt:1 ads.example", "lists/a.txt:2 b.example"));
}

TEST(EntryRemovals, TakesOutALineOfAListAndShowsWhatItHid) {
    const Included included;
    const policy::ReadPolicy read = ReadVariant(included.variant);
    std::string whyNot;
    const auto edited = WithoutEntry(included.variant, read.policy, {PolicyList::kMaliciousSites, 1}, {}, whyNot);
    ASSERT_TRUE(edited) << whyNot;
    EXPECT_THAT(MaliciousOf(edited->says), testing::ElementsAre("mine.toml:3 evil.example", "lists/a.txt:2 b.example",
                                                                "lists/b.txt:2 ads.example"));
    EXPECT_EQ(edited->variant.text, Included::kText);
}

TEST(PolicyVariants, SayTheSameFromAnotherFolder) {
    const Included included;
    PolicyVariant variant = included.variant;
    std::string whyNot;
    ASSERT_TRUE(TakeLineOut(variant, "lists/a.txt", 2, whyNot)) << whyNot;
    const TemporaryFile elsewhere("copy.toml", std::string());
    ASSERT_TRUE(WriteVariant(variant, ToPath(elsewhere.Path()), whyNot)) << whyNot;
    const auto read = ReadPolicyFile(elsewhere.Path());
    ASSERT_TRUE(read);
    ASSERT_THAT(read->mistakes, testing::IsEmpty()) << read->mistakes.front().text;
    std::vector<std::string> hosts;
    for (const policy::MaliciousSite& site : read->policy.maliciousSites) hosts.push_back(site.host);
    EXPECT_THAT(hosts, testing::ElementsAre("evil.example", "ads.example"));
    ASSERT_THAT(read->policy.phishingSites, testing::SizeIs(1));
    EXPECT_EQ(read->policy.phishingSites[0].place.line, 2u);
    std::ifstream own(ToPath(included.policy.Folder()) / "lists/a.txt", std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(own), {}), "ads.example\nb.example\n");  // as it was
}

TEST(EntryRemovals, SaysWhichListCannotBeRead) {
    const Included included;
    const policy::ReadPolicy read = ReadVariant(included.variant);
    std::filesystem::remove(ToPath(included.policy.Folder()) / "lists/a.txt");
    std::string whyNot;
    EXPECT_FALSE(WithoutEntry(included.variant, read.policy, {PolicyList::kMaliciousSites, 1}, {}, whyNot));
    EXPECT_THAT(whyNot, testing::HasSubstr("lists/a.txt: cannot be read"));
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
