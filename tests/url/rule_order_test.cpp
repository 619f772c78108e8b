// The order of the rules: of any two that match a request the earlier one decides. Every pair whose verdicts differ is
// tried; two rules that both allow cannot be told apart, here or by a host.
#include <functional>
#include <gtest/gtest.h>

#include "scan_fixture.h"
#include "tls_hello.h"

namespace tarn::url {
namespace {

// Part of it is the video-sharing site, so that one host is right for every rule.
const std::string kHost = "both.youtube.com";

std::uint8_t TARN_CALL BlockEverything(std::uint32_t, const char*, std::uint32_t, std::uint16_t, const std::uint8_t*,
                                       std::uint32_t, std::uint8_t* block) {
    *block = 1;
    return 1;
}

class RuleOrder : public ScanFixture {
 public:
    // What the rules under test add to one scan.
    ProfileShape profile;

    void StartAnew() {
        profile = {};
        settings.bpStatus = settings.apStatus = settings.idsIpsStatus = settings.agentStatus = 0;
        lists = {};
        managedClient = {};
        allows.Write([](bool& flag) { flag = true; });
        idsBlockedList.Clear();
        companions.httpsInspection = {};
        script.categories.clear();
        stop = 0;
        remote.bytes[0] = 203;
        kind = TARN_KIND_TLS;
        port = 443;
    }
    std::string Judge() {
        TakeProfiles({profile});
        EXPECT_TRUE(Scan(TlsHello(kHost)));
        return verdict.reason == 0 ? Verdict() + " " + verdict.text.url : Verdict();
    }

    // What the rules need of the fixture; they stand outside of it.
    using ScanFixture::allows;
    using ScanFixture::companions;
    using ScanFixture::idsBlockedList;
    using ScanFixture::lists;
    using ScanFixture::managedClient;
    using ScanFixture::PublishMalicious;
    using ScanFixture::PublishPhishing;
    using ScanFixture::PublishUrls;
    using ScanFixture::remote;
    using ScanFixture::script;
    using ScanFixture::settings;
    using ScanFixture::stop;
};

struct Rule {
    const char* name;
    std::string verdict;
    std::function<void(RuleOrder&)> match;
};

const std::string kAllowed = "1/26";

std::vector<Rule> RulesInOrder() {
    return {
        {"internal white list", kAllowed, [](RuleOrder& t) { t.PublishUrls(t.lists.webSecurityInternal, {kHost}); }},
        {"management server", kAllowed,
         [](RuleOrder& t) {
             t.managedClient.installed = true;
             base::CopyText(t.managedClient.serverAddress, std::u16string(kHost.begin(), kHost.end()));
         }},
        {"parental allowed list", kAllowed, [](RuleOrder& t) { t.profile.allowed = {kHost}; }},
        {"parental schedule", "0/5", [](RuleOrder& t) { t.allows.Write([](bool& flag) { flag = false; }); }},
        {"video-sharing exception", kAllowed, [](RuleOrder& t) { t.settings.agentStatus = 1; }},
        {"parental block lists", "0/6",
         [](RuleOrder& t) {
             t.profile.sites = {{kHost, ""}};
         }},
        {"private address", kAllowed, [](RuleOrder& t) { t.remote.bytes[0] = 10; }},
        {"malicious list", "0/2",
         [](RuleOrder& t) {
             t.settings.bpStatus = 1;
             t.PublishMalicious(kHost, true, {});
         }},
        {"phishing list", "0/0 " + kHost,
         [](RuleOrder& t) {
             t.settings.apStatus = 1;
             t.PublishPhishing(kHost, true);
         }},
        {"intrusion-prevention blocked list", "0/22",
         [](RuleOrder& t) {
             IdsBlockRequest request{};
             std::memcpy(request.hostName, kHost.data(), kHost.size());
             t.settings.idsIpsStatus = 1;
             t.idsBlockedList.Add(request);
         }},
        {"HTTPS inspection", "0/15", [](RuleOrder& t) {
             t.companions.httpsInspection = modules::HttpsInspection{.TiScanHttpsPacket = BlockEverything};
         }},
        {"stop before the categories", "9/26", [](RuleOrder& t) { t.stop = 1; }},
        {"malicious category", "0/1",
         [](RuleOrder& t) {
             t.settings.bpStatus = 1;
             t.script.categories.push_back(2);
         }},
        {"phishing category", "0/0 https://" + kHost,
         [](RuleOrder& t) {
             t.settings.apStatus = 1;
             t.script.categories.insert(t.script.categories.begin(), 3);
         }},
        {"parental categories", "0/7",
         [](RuleOrder& t) {
             t.profile.categorySwitch = 1;
             t.profile.blockedCategories = {41};
             t.script.categories.insert(t.script.categories.begin(), 41);
         }},
    };
}

TEST_F(RuleOrder, EveryRuleMatchesByItself) {
    StartAnew();
    EXPECT_EQ(Judge(), kAllowed);
    EXPECT_EQ(processes.asked.size(), 0U);
    for (const Rule& rule : RulesInOrder()) {
        StartAnew();
        rule.match(*this);
        EXPECT_EQ(Judge(), rule.verdict) << rule.name;
    }
}

TEST_F(RuleOrder, OfTwoThatMatchTheEarlierDecides) {
    const std::vector<Rule> rules = RulesInOrder();
    std::size_t told = 0;
    for (std::size_t i = 0; i < rules.size(); ++i)
        for (std::size_t j = i + 1; j < rules.size(); ++j) {
            if (rules[i].verdict == rules[j].verdict) continue;
            StartAnew();
            rules[i].match(*this);
            rules[j].match(*this);
            EXPECT_EQ(Judge(), rules[i].verdict) << rules[i].name << " and " << rules[j].name;
            ++told;
        }
    EXPECT_EQ(told, rules.size() * (rules.size() - 1) / 2 - 10) << "five rules allow: ten pairs say the same";
}

TEST_F(RuleOrder, WhatMatchesEverywhereFallsBackRuleByRule) {
    const std::vector<Rule> rules = RulesInOrder();
    for (std::size_t first = 0; first < rules.size(); ++first) {
        StartAnew();
        for (std::size_t i = first; i < rules.size(); ++i) rules[i].match(*this);
        EXPECT_EQ(Judge(), rules[first].verdict) << rules[first].name;
    }
}

}  // namespace
}  // namespace tarn::url
