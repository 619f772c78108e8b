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

    UrlDecisionWithUrl Judge() {
        TakeProfiles({profile});
        if (scheduleRuns) Schedule({});
        EXPECT_TRUE(Init());
        if (addressIsBlocked) BlockAddress(kHost, "/");
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(url::TlsHello(kHost)));
        if (verdict.reason != TARN_REASON_PHISHING) return Verdict();
        return {Verdict(), verdict.text.url};
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
        UrlDecisionWithUrl verdict;
        std::function<void(RulesOfTheLibrary&)> match;
    } rules[] = {
        {Allows(TARN_REASON_DEFAULT), [](RulesOfTheLibrary& t) { t.LetWebSecurityAllow(kHost); }},
        {Allows(TARN_REASON_DEFAULT), [](RulesOfTheLibrary& t) { t.profile.allowed = {kHost}; }},
        {Blocks(TARN_REASON_SCHEDULE), [](RulesOfTheLibrary& t) { t.scheduleRuns = true; }},
        {Allows(TARN_REASON_DEFAULT), [](RulesOfTheLibrary& t) { t.answers.agentStatus = 1; }},
        {Blocks(TARN_REASON_PARENTAL_SITE),
         [](RulesOfTheLibrary& t) {
             t.profile.sites = {{kHost, ""}};
         }},
        {Allows(TARN_REASON_DEFAULT),
         [](RulesOfTheLibrary& t) {
             t.remote = {TARN_FAMILY_IPV4, {10, 1, 2, 3}};
         }},
        {Blocks(TARN_REASON_MALICIOUS), [](RulesOfTheLibrary& t) { t.MakeMalicious(kHost, "Worm"); }},
        {{Blocks(TARN_REASON_PHISHING), kHost}, [](RulesOfTheLibrary& t) { t.MakePhishing(kHost); }},
        {Blocks(TARN_REASON_IDS_BLOCKED),
         [](RulesOfTheLibrary& t) {
             t.answers.idsIpsStatus.enabled = 1;
             t.addressIsBlocked = true;
         }},
        {Blocks(TARN_REASON_HTTPS_INSPECTION), [](RulesOfTheLibrary& t) { t.answers.httpsBlock = 1; }},
        {StopsBeforeCategories(), [](RulesOfTheLibrary& t) { t.stop = 1; }},
        {Blocks(TARN_REASON_MALICIOUS_CATEGORY),
         [&](RulesOfTheLibrary& t) {
             t.answers.bpStatus = 1;
             categories.push_back(2);
         }},
        {{Blocks(TARN_REASON_PHISHING), "https://" + kHost},
         [&](RulesOfTheLibrary& t) {
             t.answers.apStatus = 1;
             categories.push_back(3);
         }},
        {Blocks(TARN_REASON_PARENTAL_CATEGORY),
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
