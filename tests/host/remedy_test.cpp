// What explain says is to be written: pasted as printed it is a policy that has the wanted verdict.
// That the library agrees is held against it by explain_library_win32_test.
#include "host/explain/remedy.h"

#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "host/explain/scan_steps.h"

namespace tarn::host {
namespace {

constexpr const char* kOn = "[features]\nbrowsing_protection = true\n";
constexpr const char* kEvil = "[[malicious_sites]]\nhost = \"evil.example\"\n";

struct RemedyCase {
    const char* name;
    std::string policy;
    const char* url;
    const char* text;   // what to write
    const char* words;  // where
};

class Remedying : public testing::TestWithParam<RemedyCase> {};

TEST_P(Remedying, WorksAsItIsPrinted) {
    const PolicyVariant variant{"", GetParam().policy};
    policy::ReadPolicy read = ReadVariant(variant);
    ASSERT_THAT(read.mistakes, testing::IsEmpty()) << read.mistakes.front().text;
    const PolicyIndex index(std::move(read.policy));
    std::string mistake;
    const auto composed = ComposeRequest(GetParam().url, mistake);
    ASSERT_TRUE(composed) << mistake;
    ScanQuestion question;
    question.asked = AskedOf(JudgedRequest{composed->protocol, composed->view, composed->server, {}, {}, {}});
    const Foretold before = Foretell(index, question);
    const auto remedy = FindRemedy(variant, index, question, before, {});
    ASSERT_TRUE(remedy);
    EXPECT_EQ(remedy->text, GetParam().text);
    EXPECT_EQ(remedy->words, GetParam().words);
    EXPECT_THAT(remedy->policy.text, testing::HasSubstr(remedy->text));
    policy::ReadPolicy changed = ReadVariant(remedy->policy);
    ASSERT_THAT(changed.mistakes, testing::IsEmpty()) << changed.mistakes.front().text << remedy->policy.text;
    const Outcome after = Foretell(PolicyIndex(std::move(changed.policy)), question).outcome;
    EXPECT_NE(after.isBlocked, before.outcome.isBlocked);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, Remedying,
    testing::Values(
        RemedyCase{"NoWhiteLists", std::string(kOn) + kEvil, "http://evil.example/x",
                   "[white_lists]\nuser = [\"evil.example/x\"]", "at the end of tarn-policy.toml"},
        RemedyCase{"AListThatStandsThere", std::string(kOn) + "[white_lists]\nuser = [\"a\"]\n" + kEvil,
                   "http://evil.example/x", "\"evil.example/x\",",
                   "in front of what the list user of tarn-policy.toml:4 holds"},
        RemedyCase{"AnEmptyList", std::string(kOn) + "[white_lists]\nuser = []\n" + kEvil, "http://evil.example/x",
                   "\"evil.example/x\",", "in front of what the list user of tarn-policy.toml:4 holds"},
        RemedyCase{"AnotherListOfTheTable", std::string(kOn) + "[white_lists]\nweb_security = []\n" + kEvil,
                   "http://evil.example/x", "user = [\"evil.example/x\"]", "below [white_lists] of tarn-policy.toml:3"},
        RemedyCase{"NewMaliciousSite", kOn, "http://www.new.example/x", "[[malicious_sites]]\nhost = \"new.example\"",
                   "at the end of tarn-policy.toml"},
        RemedyCase{"SitesInBrackets", std::string("malicious_sites = []\n") + kOn, "http://new.example/x",
                   "{ host = \"new.example\" },",
                   "in front of what the list malicious_sites of tarn-policy.toml:1 holds"},
        RemedyCase{"AKnownSiteInPart", std::string(kOn) + kEvil + "whole_site = false\n", "http://evil.example/x",
                   "whole_site = true", "in the place of what tarn-policy.toml:5 says"},
        RemedyCase{"AKnownSiteThatIsSwitchedOff", std::string("[features]\nbrowsing_protection = false\n") + kEvil,
                   "http://evil.example/x", "browsing_protection = true",
                   "in the place of what tarn-policy.toml:2 says"},
        RemedyCase{"NewAndSwitchedOff", "[features]\nbrowsing_protection = false\n", "http://new.example/",
                   "[[malicious_sites]]\nhost = \"new.example\"",
                   "at the end of tarn-policy.toml, and browsing_protection = true in the place of what "
                   "tarn-policy.toml:2 says"},
        RemedyCase{"OfAnEmptyPolicy", "[ids]\nalert = 0\n", "http://new.example/",
                   "[[malicious_sites]]\nhost = \"new.example\"\n[features]\nbrowsing_protection = true",
                   "at the end of tarn-policy.toml"},
        RemedyCase{"TheFirstOfTwoUsers",
                   "[parental]\nmode = 1\n[[parental.users]]\nblock_list = true\n[[parental.users]]\n",
                   "http://new.example/", "[[parental.users.blocked_sites]]\nhost = \"new.example\"",
                   "in front of the second [[parental.users]], tarn-policy.toml:5"},
        RemedyCase{"OutOfTheWayAlone", std::string(kOn) + "[white_lists]\nweb_security = [\"evil.example\"]\n" + kEvil,
                   "http://evil.example/x", "", "take out tarn-policy.toml:4, which lets it pass"},
        RemedyCase{"OutOfTheWayAndListed", std::string(kOn) + "[white_lists]\nweb_security = [\"new.example\"]\n",
                   "http://new.example/", "[[malicious_sites]]\nhost = \"new.example\"",
                   "take out tarn-policy.toml:4, which lets it pass, and write at the end of tarn-policy.toml"}),
    [](const auto& one) { return one.param.name; });

}  // namespace
}  // namespace tarn::host
