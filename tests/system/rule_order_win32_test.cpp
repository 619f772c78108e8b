// The order of the rules through the built library: a hello that every rule matches is decided by the first, and with
// the rules taken away from the front by one after the other.
#include <functional>
#include <gtest/gtest.h>

#include "system/scan_fixture_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

const std::string kHost = "both.youtube.com";  // the video-sharing site too

class RulesOfTheLibrary : public ScanRecords {
 public:
    url::ProfileShape profile;
    bool scheduleRuns = false;
    bool addressIsBlocked = false;

    std::string Judge() {
        TakeProfiles({profile});
        if (scheduleRuns) Schedule({});
        EXPECT_TRUE(Init());
        if (addressIsBlocked) BlockAddress(kHost, "/");
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(url::TlsHello(kHost)));
        return verdict.reason == 0 ? Verdict() + " " + verdict.text.url : Verdict();
    }
    void StartRule() {
        StartAnew();
        profile = {};
        scheduleRuns = addressIsBlocked = false;
    }
};

TEST_F(RulesOfTheLibrary, TheFirstThatMatchesDecides) {
    std::vector<std::uint16_t> categories;
    const struct {
        std::string verdict;
        std::function<void(RulesOfTheLibrary&)> match;
    } rules[] = {
        {"1/26", [](RulesOfTheLibrary& t) { t.LetWebSecurityAllow(kHost); }},
        {"1/26", [](RulesOfTheLibrary& t) { t.profile.allowed = {kHost}; }},
        {"0/5", [](RulesOfTheLibrary& t) { t.scheduleRuns = true; }},
        {"1/26", [](RulesOfTheLibrary& t) { t.answers.agentStatus = 1; }},
        {"0/6",
         [](RulesOfTheLibrary& t) {
             t.profile.sites = {{kHost, ""}};
         }},
        {"1/26",
         [](RulesOfTheLibrary& t) {
             t.remote = {TARN_FAMILY_IPV4, {10, 1, 2, 3}};
         }},
        {"0/2", [](RulesOfTheLibrary& t) { t.MakeMalicious(kHost, "Worm"); }},
        {"0/0 " + kHost, [](RulesOfTheLibrary& t) { t.MakePhishing(kHost); }},
        {"0/22",
         [](RulesOfTheLibrary& t) {
             t.answers.idsIpsStatus.enabled = 1;
             t.addressIsBlocked = true;
         }},
        {"0/15", [](RulesOfTheLibrary& t) { t.answers.httpsBlock = 1; }},
        {"9/26", [](RulesOfTheLibrary& t) { t.stop = 1; }},
        {"0/1",
         [&](RulesOfTheLibrary& t) {
             t.answers.bpStatus = 1;
             categories.push_back(2);
         }},
        {"0/0 https://" + kHost,
         [&](RulesOfTheLibrary& t) {
             t.answers.apStatus = 1;
             categories.push_back(3);
         }},
        {"0/7",
         [&](RulesOfTheLibrary& t) {
             t.profile.categorySwitch = 1;
             t.profile.blockedCategories = {41};
             categories.push_back(41);
         }},
    };
    for (std::size_t first = 0; first < std::size(rules); ++first) {
        StartRule();
        categories.clear();
        for (std::size_t i = first; i < std::size(rules); ++i) rules[i].match(*this);
        Categorise({categories.rbegin(), categories.rend()});
        EXPECT_EQ(Judge(), rules[first].verdict) << "rule " << first;
    }
}

}  // namespace
}  // namespace tarn::system_test
