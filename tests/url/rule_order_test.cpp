// The order of the rules: of any two that match a request the earlier one decides. Every pair is tried; two rules that
// both allow are the same to a host and differ only in the name of the one that ended the scan.
#include <functional>
#include <gtest/gtest.h>
#include <set>

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
    UrlDecisionWithUrl Judge() {
        TakeProfiles({profile});
        EXPECT_TRUE(Scan(TlsHello(kHost)));
        if (verdict.reason != TARN_REASON_PHISHING) return Verdict();
        return {Verdict(), verdict.text.url};
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

// What makes one rule decide, and how.
struct Cause {
    Step (*rule)(ScanState&);
    UrlDecisionWithUrl verdict;
    std::function<void(RuleOrder&)> match;
};

const UrlDecision kAllowed = Allows(TARN_REASON_DEFAULT);

// In the order in which the rules are asked.
std::vector<Cause> CausesInOrder() {
    return {
        {InternalWhiteList, kAllowed, [](RuleOrder& t) { t.PublishUrls(t.lists.webSecurityInternal, {kHost}); }},
        {ManagementServer, kAllowed,
         [](RuleOrder& t) {
             t.managedClient.installed = true;
             base::CopyText(t.managedClient.serverAddress, std::u16string(kHost.begin(), kHost.end()));
         }},
        {ParentalAllowedList, kAllowed, [](RuleOrder& t) { t.profile.allowed = {kHost}; }},
        {ParentalSchedule, Blocks(TARN_REASON_SCHEDULE),
         [](RuleOrder& t) { t.allows.Write([](bool& flag) { flag = false; }); }},
        {VideoSharingException, kAllowed, [](RuleOrder& t) { t.settings.agentStatus = 1; }},
        {ParentalBlockLists, Blocks(TARN_REASON_PARENTAL_SITE),
         [](RuleOrder& t) {
             t.profile.sites = {{kHost, ""}};
         }},
        {PrivateAddress, kAllowed, [](RuleOrder& t) { t.remote.bytes[0] = 10; }},
        {MaliciousSite, Blocks(TARN_REASON_MALICIOUS),
         [](RuleOrder& t) {
             t.settings.bpStatus = 1;
             t.PublishMalicious(kHost, true, {});
         }},
        {PhishingSite,
         {Blocks(TARN_REASON_PHISHING), kHost},
         [](RuleOrder& t) {
             t.settings.apStatus = 1;
             t.PublishPhishing(kHost, true);
         }},
        {IdsBlockedSite, Blocks(TARN_REASON_IDS_BLOCKED),
         [](RuleOrder& t) {
             IdsBlockRequest request{};
             std::memcpy(request.hostName, kHost.data(), kHost.size());
             t.settings.idsIpsStatus = 1;
             t.idsBlockedList.Add(request);
         }},
        {HttpsInspection, Blocks(TARN_REASON_HTTPS_INSPECTION),
         [](RuleOrder& t) {
             t.companions.httpsInspection = modules::HttpsInspection{.TiScanHttpsPacket = BlockEverything};
         }},
        {Categories, StopsBeforeCategories(), [](RuleOrder& t) { t.stop = 1; }},
        {Categories, Blocks(TARN_REASON_MALICIOUS_CATEGORY),
         [](RuleOrder& t) {
             t.settings.bpStatus = 1;
             t.script.categories.push_back(2);
         }},
        {Categories,
         {Blocks(TARN_REASON_PHISHING), "https://" + kHost},
         [](RuleOrder& t) {
             t.settings.apStatus = 1;
             t.script.categories.insert(t.script.categories.begin(), 3);
         }},
        {Categories, Blocks(TARN_REASON_PARENTAL_CATEGORY),
         [](RuleOrder& t) {
             t.profile.categorySwitch = 1;
             t.profile.blockedCategories = {41};
             t.script.categories.insert(t.script.categories.begin(), 41);
         }},
    };
}

std::string_view NameOf(const Cause& cause) {
    for (const Rule& rule : UrlRules())
        if (rule.judge == cause.rule) return rule.name;
    return "no rule of the table";
}

TEST_F(RuleOrder, TheTableHoldsTheRulesOfTheContractInItsOrder) {
    std::vector<Step (*)(ScanState&)> expected;
    for (const Cause& cause : CausesInOrder())
        if (expected.empty() || expected.back() != cause.rule) expected.push_back(cause.rule);
    std::vector<Step (*)(ScanState&)> found;
    for (const Rule& rule : UrlRules()) found.push_back(rule.judge);
    EXPECT_EQ(found, expected);
}

TEST_F(RuleOrder, EveryNameIsThereOnce) {
    std::set<std::string_view> names;
    for (const std::span<const Rule> table : {UrlPreparation(), UrlRules()})
        for (const Rule& rule : table) {
            EXPECT_FALSE(rule.name.empty());
            EXPECT_TRUE(names.insert(rule.name).second) << rule.name;
        }
}

TEST_F(RuleOrder, EveryRuleMatchesByItself) {
    StartAnew();
    EXPECT_EQ(Judge(), kAllowed);
    EXPECT_EQ(endedBy, "") << "no rule decided";
    EXPECT_EQ(processes.asked.size(), 0U);
    for (const Cause& cause : CausesInOrder()) {
        StartAnew();
        cause.match(*this);
        EXPECT_EQ(Judge(), cause.verdict) << NameOf(cause);
        EXPECT_EQ(endedBy, NameOf(cause));
    }
}

TEST_F(RuleOrder, OfTwoThatMatchTheEarlierDecides) {
    const std::vector<Cause> causes = CausesInOrder();
    std::size_t differing = 0;
    for (std::size_t i = 0; i < causes.size(); ++i)
        for (std::size_t j = i + 1; j < causes.size(); ++j) {
            StartAnew();
            causes[i].match(*this);
            causes[j].match(*this);
            EXPECT_EQ(Judge(), causes[i].verdict) << NameOf(causes[i]) << " and " << NameOf(causes[j]);
            EXPECT_EQ(endedBy, NameOf(causes[i])) << "not " << NameOf(causes[j]);
            differing += causes[i].rule != causes[j].rule || causes[i].verdict != causes[j].verdict ? 1U : 0U;
        }
    EXPECT_EQ(differing, causes.size() * (causes.size() - 1) / 2) << "every pair can be told apart";
}

TEST_F(RuleOrder, WhatMatchesEverywhereFallsBackRuleByRule) {
    const std::vector<Cause> causes = CausesInOrder();
    for (std::size_t first = 0; first < causes.size(); ++first) {
        StartAnew();
        for (std::size_t i = first; i < causes.size(); ++i) causes[i].match(*this);
        EXPECT_EQ(Judge(), causes[first].verdict) << NameOf(causes[first]);
        EXPECT_EQ(endedBy, NameOf(causes[first]));
    }
}

TEST_F(RuleOrder, WhatThePreparationEndsIsNamedToo) {
    StartAnew();
    const auto endOf = [&](const std::string& data) {
        TakeProfiles({profile});
        Scan(data);
        return endedBy;
    };
    const auto isStep = [](std::string_view name, Step (*step)(ScanState&)) {
        for (const Rule& rule : UrlPreparation())
            if (rule.judge == step) return rule.name == name;
        return false;
    };
    EXPECT_TRUE(isStep(endOf(TlsHello("")), HostFromAddress)) << endedBy;
    kind = 9;
    EXPECT_TRUE(isStep(endOf(TlsHello(kHost)), EndOnUnknownKind)) << endedBy;
    port = 53;
    EXPECT_TRUE(isStep(endOf("no message"), DnsMessage)) << "whatever the kind: " << endedBy;
}

}  // namespace
}  // namespace tarn::url
