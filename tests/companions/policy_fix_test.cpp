// Mended copies: what changes, that everything else stays byte by byte, and that a second time changes nothing.
#include "policy/policy_fix.h"

#include <gmock/gmock.h>
#include <sstream>

#include "companions/dead_entries.h"
#include "companions/known_hosts.h"

namespace tarn::policy {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

FixedPolicy Fix(std::string_view policy) {
    return FixPolicy(policy, {}, KnownAsciiHost);
}

TEST(PolicyFix, MendsWhatIsSafeAndLeavesTheRest) {
    const FixedPolicy fixed = Fix(kDeadPolicy);
    EXPECT_THAT(fixed.repaired, SizeIs(16));
    EXPECT_THAT(fixed.left, SizeIs(19));
    for (const Finding& finding : fixed.left) EXPECT_FALSE(finding.repair) << finding.text;
    EXPECT_THAT(ParsePolicy(fixed.text).mistakes, IsEmpty());
    EXPECT_THAT(fixed.text,
                AllOf(HasSubstr("malicious_patterns = [\"pattern.example/drop/\"] # dead\n"),
                      HasSubstr("    \"white.example/in\", # dead\n    \"*\", # dead\n"),
                      HasSubstr("host = \"xn--mnchen-3ya.example\"\nthreat = \"Kept.Name\" # as it stands\n"),
                      HasSubstr("    { name = \"A\", path = \"/nopath\" }, # dead\n")));
}

TEST(PolicyFix, ChangesTheNamedLinesAlone) {
    const FixedPolicy fixed = Fix(kDeadPolicy);
    std::istringstream before(kDeadPolicy);
    std::istringstream after(fixed.text);
    std::size_t changed = 0;
    std::string newLine;
    for (std::string line; std::getline(before, line);) {
        ASSERT_TRUE(std::getline(after, newLine));
        changed += line == newLine ? 0 : 1;
    }
    EXPECT_FALSE(std::getline(after, newLine));
    EXPECT_EQ(changed, fixed.repaired.size());
}

TEST(PolicyFix, ASecondTimeChangesNothing) {
    const FixedPolicy once = Fix(kDeadPolicy);
    const FixedPolicy twice = Fix(once.text);
    EXPECT_EQ(twice.text, once.text);
    EXPECT_THAT(twice.repaired, IsEmpty());
    EXPECT_THAT(twice.left, SizeIs(once.left.size()));
}

constexpr const char* kOn = "features.browsing_protection = true\n";

TEST(PolicyFix, TakesDoubledTextsOutOfTheirLists) {
    struct Case {
        const char* before;
        const char* after;
    };
    constexpr Case kCases[] = {
        {"white_lists.user = [\"a.example\", \"b.example\", \"A.example/\", \"b.example\", \"b.example\"]\n",
         "white_lists.user = [\"a.example\", \"b.example\"]\n"},
        {"white_lists.user = [\n  \"a.example\", # first\n  \"a.example\",\n  \"b.example\",\n  \"a.example\" # "
         "third\n]\n",
         "white_lists.user = [\n  \"a.example\", # first\n  \"b.example\",\n   # third\n]\n"},
        {"white_lists.user = ['a.example', 'a.example',]\r\n", "white_lists.user = ['a.example', ]\r\n"},
        {"white_lists.user = [\"https://a.example/\", \"http://a.example\"]\n", "white_lists.user = [\"a.example\"]\n"},
    };
    for (const Case& one : kCases) {
        const FixedPolicy fixed = Fix(kOn + std::string(one.before));
        EXPECT_EQ(fixed.text, kOn + std::string(one.after));
        EXPECT_THAT(fixed.left, IsEmpty()) << one.before;
    }
}

TEST(PolicyFix, FindsTextsBehindLettersBeyondAscii) {
    const FixedPolicy fixed =
        Fix("\xEF\xBB\xBF"
            "white_lists.user = [\"münchen.example\", \"http://a.example\", \"käse.example\"] # äöü\n");
    EXPECT_EQ(fixed.text,
              "\xEF\xBB\xBF"
              "white_lists.user = [\"xn--mnchen-3ya.example\", \"a.example\", "
              "\"xn--kse-qla.example\"] # äöü\n");
}

TEST(PolicyFix, MendsATextWithSeveralFaults) {
    EXPECT_EQ(Fix("white_lists.user = [\"https://münchen.example/\"]\n").text,
              "white_lists.user = [\"xn--mnchen-3ya.example\"]\n");
    EXPECT_EQ(Fix(kOn + std::string("[[malicious_sites]]\nhost = \"WWW.münchen.example\"\n")).text,
              kOn + std::string("[[malicious_sites]]\nhost = \"xn--mnchen-3ya.example\"\n"));
}

// What a person must decide: the mended host is listed already, and a host that stands there twice is a mistake.
TEST(PolicyFix, NeverMakesAMistake) {
    for (const char* host : {"www.a.example", "münchen.example"}) {
        const std::string policy = kOn +
                                   std::string(
                                       "[[malicious_sites]]\nhost = \"a.example\"\n[[malicious_sites]]\n"
                                       "host = \"xn--mnchen-3ya.example\"\n[[malicious_sites]]\nhost = \"") +
                                   host + "\"\n";
        const FixedPolicy fixed = Fix(policy);
        EXPECT_EQ(fixed.text, policy);
        EXPECT_THAT(fixed.left, SizeIs(1));
    }
    const std::string both = kOn + std::string(
                                       "[[malicious_sites]]\nhost = \"www.münchen.example\"\n[[malicious_sites]]\n"
                                       "host = \"münchen.example\"\n");
    const FixedPolicy fixed = Fix(both);
    EXPECT_THAT(ParsePolicy(fixed.text).mistakes, IsEmpty());
    EXPECT_THAT(fixed.text, HasSubstr("\"xn--mnchen-3ya.example\""));
}

TEST(PolicyFix, LeavesWhatIsNotWrittenPlainly) {
    for (const char* text :
         {"\"http:\\u002f/a.example\"", "\"\"\"http://a.example\"\"\"", "\"\"\"\nhttp://a.example\"\"\""}) {
        const std::string policy = "white_lists.user = [" + std::string(text) + "]\n";
        const FixedPolicy fixed = Fix(policy);
        EXPECT_EQ(fixed.text, policy);
        EXPECT_THAT(fixed.repaired, IsEmpty());
        EXPECT_THAT(fixed.left, SizeIs(1)) << text;
    }
}

TEST(PolicyFix, LeavesATextWithMistakesAlone) {
    const std::string policy = "[[malicious_sites]]\nhost = \"www.a.example\"\nunknown = 1\n";
    EXPECT_EQ(Fix(policy).text, policy);
    EXPECT_EQ(Fix("[features").text, "[features");
}

}  // namespace
}  // namespace tarn::policy
