// What a policy makes of the lists that it includes: where the entries go, which win, what is told.
#include "policy/list_reader.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "base/hash.h"
#include "companions/given_lists.h"
#include "policy/policy_reader.h"
#include "policy/policy_records.h"

namespace tarn::policy {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

ReadPolicy ReadBeside(const std::string& text, std::map<std::string, std::string> files) {
    GivenLists lists(std::move(files));
    return ParsePolicy(text, {}, &lists);
}

std::vector<std::string> Told(const std::vector<Mistake>& mistakes) {
    std::vector<std::string> lines;
    for (const Mistake& mistake : mistakes) lines.push_back(Describe(kPolicyFile, mistake));
    return lines;
}

template <class Entries, class TextOf>
std::vector<std::string> Places(const Policy& policy, const Entries& entries, TextOf textOf) {
    std::vector<std::string> texts;
    for (const auto& entry : entries)
        texts.push_back(fmt::format("{}:{} {}", policy.files.at(entry.place.file), entry.place.line, textOf(entry)));
    return texts;
}
std::vector<std::string> Malicious(const ReadPolicy& read) {
    return Places(read.policy, read.policy.maliciousSites, [](const auto& site) { return site.host; });
}

TEST(Lists, ATextTakesMaliciousSites) {
    const ReadPolicy read =
        ReadBeside("include = [\"lists/*.txt\"]\n", {{"lists/ads.txt", "A.example\nwww.b.example\n"},
                                                     {"lists/more.txt", "c.example\n"},
                                                     {"lists/other.csv", "d.example\n"}});
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_THAT(read.warnings, IsEmpty());
    EXPECT_THAT(Malicious(read),
                ElementsAre("lists/ads.txt:1 a.example", "lists/ads.txt:2 b.example", "lists/more.txt:1 c.example"));
    ASSERT_THAT(read.lists, SizeIs(2));
    EXPECT_EQ(read.lists[0].name, "lists/ads.txt");
    EXPECT_EQ(read.lists[0].entries, 2U);
    EXPECT_EQ(read.lists[0].threat, "ads");
    EXPECT_EQ(read.lists[1].threat, "more");
}

TEST(Lists, ThePolicyAndThenTheFirstListWin) {
    const ReadPolicy read = ReadBeside(
        "include = [\"one.txt\", \"two.txt\"]\n[[malicious_sites]]\nhost = \"own.example\"\nwhole_site = false\n"
        "threats = [{ name = \"T\", path = \"/x\" }]\n",
        {{"one.txt", "own.example\na.example\na.example\n"}, {"two.txt", "www.a.example\nb.example\n"}});
    EXPECT_THAT(Malicious(read),
                ElementsAre("tarn-policy.toml:2 own.example", "one.txt:2 a.example", "two.txt:2 b.example"));
    EXPECT_FALSE(read.policy.maliciousSites.at(0).wholeSite);
    EXPECT_EQ(read.lists.at(0).repeated, 2U);
    EXPECT_EQ(read.lists.at(1).repeated, 1U);
    EXPECT_EQ(read.lists.at(1).entries, 1U);
}

TEST(Lists, AnExceptionTakesItsHostAndTheDomainsBelowOutOfEveryListOfThatKind) {
    const ReadPolicy read = ReadBeside(
        "include = [\"a.txt\", \"b.txt\", { files = \"p.txt\", list = \"phishing_sites\" }]\n[[malicious_sites]]\n"
        "host = \"own.good.example\"\n",
        {{"a.txt", "||good.example^\n||x.good.example^\n||notgood.example^\n"},
         {"b.txt", "@@||good.example^\n||own.good.example^\n"},
         {"p.txt", "good.example\n"}});
    EXPECT_THAT(Malicious(read), ElementsAre("tarn-policy.toml:2 own.good.example", "a.txt:3 notgood.example"));
    EXPECT_EQ(read.lists.at(0).excepted, 2U);
    EXPECT_EQ(read.lists.at(1).exceptions, 1U);
    EXPECT_THAT(read.policy.phishingSites, SizeIs(1)) << "a list of another kind";
}

TEST(Lists, EveryListThatTakesFilesGetsItsEntries) {
    const ReadPolicy read = ReadBeside(R"(include = [
  { files = "h", list = "phishing_sites" },
  { files = "h", list = "sites", categories = [5, 2] },
  { files = "h", list = "white_lists.web_security" },
  { files = "h", list = "white_lists.browsing_protection" },
  { files = "h", list = "white_lists.user" },
  { files = "h", list = "https_inspection.blocked_hosts" },
  { files = "patterns", list = "malicious_patterns" },
  { files = "h", threat = "Worm", format = "domains" },
])",
                                       {{"h", "www.A.example\n"}, {"patterns", "/Drop/\n*.Scr\n"}});
    EXPECT_THAT(Told(read.mistakes), IsEmpty());
    const Policy& policy = read.policy;
    const auto text = [](const ListedText& entry) { return entry.text; };
    EXPECT_THAT(Places(policy, policy.phishingSites, [](const auto& site) { return site.host; }),
                ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(Places(policy, policy.sites, [](const auto& site) { return site.address; }),
                ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(policy.sites.at(0).categories, ElementsAre(5, 2));
    EXPECT_THAT(Places(policy, policy.whiteLists.webSecurity, text), ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(Places(policy, policy.whiteLists.browsingProtection, text), ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(Places(policy, policy.whiteLists.user, text), ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(Places(policy, policy.inspectedHosts, text), ElementsAre("h:1 www.a.example"));
    EXPECT_THAT(Places(policy, policy.maliciousPatterns, text), ElementsAre("patterns:1 /Drop/", "patterns:2 *.Scr"));
    EXPECT_THAT(Malicious(read), ElementsAre("h:1 a.example"));
    EXPECT_EQ(policy.listThreats.at(policy.maliciousSites.at(0).place.file), "Worm");
}

// The host of a phishing site counts as it is asked for, a rule means the domains below it.
TEST(Lists, AHostRuleOfPhishingSitesCoversWww) {
    const ReadPolicy read =
        ReadBeside("include = [{ files = \"p\", list = \"phishing_sites\" }]\n", {{"p", "||a.example^"}});
    EXPECT_THAT(Places(read.policy, read.policy.phishingSites, [](const auto& site) { return site.host; }),
                ElementsAre("p:1 www.a.example", "p:1 a.example"));
}

TEST(Lists, AnExceptionOfCategorisedSitesHasNoCategory) {
    const ReadPolicy read = ReadBeside("include = [{ files = \"s\", list = \"sites\", categories = [2] }]\n",
                                       {{"s", "||bad.example^\n@@||ok.bad.example^\n||ok.bad.example^\n"}});
    EXPECT_THAT(read.warnings, IsEmpty()) << "sites cover the domains below";
    ASSERT_THAT(read.policy.sites, SizeIs(2));
    EXPECT_EQ(read.policy.sites[1].address, "ok.bad.example");
    EXPECT_THAT(read.policy.sites[1].categories, IsEmpty());
}

TEST(Lists, WhatCannotBeUsedIsToldByLineOnceForEachKind) {
    const ReadPolicy read = ReadBeside(
        "include = [\"x.txt\"]\n",
        {{"x.txt", "||a.example^\nb##.ad\nb##.ad\nb##.ad\nb##.ad\nb##.ad\nb##.ad\n||c.example^$script\n/re/\n"}});
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_THAT(
        Told(read.warnings),
        ElementsAre("x.txt:9: 1 line not used: it is a regular expression (line 9)",
                    "x.txt:8: 1 line not used: it holds under a condition only (behind \"$\") (line 8)",
                    "x.txt:2: 6 lines not used: they are about what pages show or run (lines 2, 3, 4, 5, 6, ...)",
                    "x.txt:1: 1 line means the domains below the host too; malicious_sites blocks the host alone (with "
                    "and without www.) (line 1)"));
    EXPECT_EQ(read.lists.at(0).unused, 8U);
    EXPECT_FALSE(read.leavesOutAccounts);
}

TEST(Lists, AFileThatIsNotThereIsAMistakeAndAPatternWithoutFilesAWarning) {
    EXPECT_THAT(Told(ReadBeside("include = [\"gone.txt\"]\n", {}).mistakes),
                ElementsAre("tarn-policy.toml:1:12: gone.txt: cannot be read"));
    const ReadPolicy none = ReadBeside("include = [\"gone/*.txt\"]\n", {});
    EXPECT_THAT(none.mistakes, IsEmpty());
    EXPECT_THAT(Told(none.warnings), ElementsAre(HasSubstr(":1:12: no file matches \"gone/*.txt\"")));
    EXPECT_THAT(Told(ParsePolicy("include = [\"a\"]").mistakes),
                ElementsAre("tarn-policy.toml:1:12: files cannot be included here"));
}

TEST(Lists, AnItemThatSaysSomethingElseIsAMistake) {
    const ReadPolicy read = ReadBeside(R"(include = [
  1,
  { list = "sites", files = "a" },
  { files = "a", list = "ids_rules" },
  { files = "a", format = "csv" },
  { files = "a", list = "white_lists.user", threat = "T" },
  { files = "a", categories = [1] },
  { threat = "T" },
  { files = "a", file = "b" },
])",
                                       {{"a", "a.example"}});
    EXPECT_THAT(Told(read.mistakes),
                ElementsAre(AllOf(HasSubstr(":2:"), HasSubstr("include is a whole number")),
                            AllOf(HasSubstr(":3:"), HasSubstr("needs categories")),
                            AllOf(HasSubstr(":4:"), HasSubstr("\"ids_rules\" is no list that takes files; allowed: ")),
                            AllOf(HasSubstr(":5:"), HasSubstr("\"csv\" is no format")),
                            AllOf(HasSubstr(":6:"), HasSubstr("only malicious_sites have a threat")),
                            AllOf(HasSubstr(":7:"), HasSubstr("only the list sites has categories")),
                            AllOf(HasSubstr(":8:"), HasSubstr("include.files is missing")),
                            AllOf(HasSubstr(":9:"), HasSubstr("unknown key \"file\""))));
}

TEST(Lists, AWhiteListIsBounded) {
    std::string many;
    for (int i = 0; i <= 100'000; ++i) many += fmt::format("h{}.example\n", i);
    EXPECT_THAT(
        Told(ReadBeside("include = [{ files = \"a\", list = \"white_lists.user\" }]\n", {{"a", many}}).mistakes),
        ElementsAre(HasSubstr("the lists for white_lists.user hold more than 100000 entries")));
}

TEST(Lists, ManyRepeatedLinesAreQuicklySettled) {
    std::string same;
    for (int i = 0; i < 200'000; ++i) same += "a.example\n";
    const ReadPolicy read = ReadBeside("include = [\"a\"]\n", {{"a", same}});
    EXPECT_THAT(read.policy.maliciousSites, SizeIs(1));
    EXPECT_EQ(read.lists.at(0).repeated, 199'999U);
}

TEST(Lists, TheRecordCarriesTheThreatOfTheList) {
    const ReadPolicy read = ReadBeside(
        "include = [\"worms.txt\", \"more.txt\"]\n[[malicious_sites]]\nhost = \"own.example\"\nthreat = \"Own\"\n",
        {{"worms.txt", "a.example\nb.example\n"}, {"more.txt", "c.example\n"}});
    ThreatSiteList record{};
    ASSERT_TRUE(BuildThreatSites(read.policy, record));
    ASSERT_EQ(record.count, 4U);
    std::map<std::string, std::string> names;
    for (std::uint32_t i = 0; i < record.count; ++i) {
        const ThreatSiteEntry& entry = record.entries[i];
        ASSERT_NE(entry.threats, nullptr);
        EXPECT_EQ(entry.threats->path[0], 0);
        EXPECT_EQ(entry.wholeSite, 1);
        names[entry.host] = entry.threats->name;
    }
    EXPECT_THAT(names, ElementsAre(Pair("a.example", "worms"), Pair("b.example", "worms"), Pair("c.example", "more"),
                                   Pair("own.example", "Own")));
    ReleaseThreatSites(record);  // what lists share is released once, which the sanitizers watch
}

TEST(ListNames, MatchPatterns) {
    EXPECT_TRUE(MatchesName("Ads.TXT", "*.txt"));
    EXPECT_TRUE(MatchesName("a1.txt", "a?.t*t"));
    EXPECT_TRUE(MatchesName("aab", "*ab"));
    EXPECT_FALSE(MatchesName("ads.txt.bak", "*.txt"));
    EXPECT_FALSE(MatchesName("", "?"));
    EXPECT_TRUE(MatchesName("", "*"));
    EXPECT_TRUE(IsPattern("a/*.txt"));
    EXPECT_FALSE(IsPattern("a*/b.txt"));
    EXPECT_EQ(SplitPattern("a/b\\c.txt").folder, "a/b\\");
}

TEST(Lists, WhatAPolicyIncludesIsKnownBeforeItIsRead) {
    EXPECT_THAT(IncludePatterns("include = [\"a\", { files = \"b/*\" }, 3]\n"), ElementsAre("a", "b/*"));
    EXPECT_THAT(IncludePatterns("include = [\n"), IsEmpty());
    EXPECT_THAT(IncludePatterns("x = 1\n"), IsEmpty());
}

}  // namespace
}  // namespace tarn::policy
