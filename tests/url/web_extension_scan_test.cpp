#include "url/web_extension_scan.h"

#include <gtest/gtest.h>
#include <utility>

#include "scan_fixture.h"

namespace tarn::url {
namespace {

class WebExtensionScan : public ScanFixture {
 protected:
    WebExtensionScan() { kind = TARN_KIND_TLS; }

    bool Report(const std::string& url) {
        const auto block = std::make_unique<char[]>(url.size() + 1);
        std::memcpy(block.get(), url.c_str(), url.size() + 1);
        ScanRequest request{};
        request.processId = 4711;  // neither this nor address, port and stop byte are read
        request.remoteAddress = remote;
        request.remotePort = 0x5000;
        request.stopBeforeCategories = 1;
        request.data = reinterpret_cast<std::uint8_t*>(block.get());
        request.kind = kind;
        std::memset(&verdict, 0xCD, sizeof verdict);
        prompt = {0xCD, 0xCD};
        return ScanWebExtensionUrl(Context(), request, verdict, prompt, &endedBy);
    }
    // Categories are asked: a first entry whose category switch is on.
    void JudgeCategories(std::vector<std::uint16_t> blocked = {}) {
        ProfileShape shape;
        shape.categorySwitch = 1;
        shape.blockedCategories = std::move(blocked);
        TakeProfiles({shape});
    }
};

TEST_F(WebExtensionScan, OnlySecureUrlsAreJudged) {
    for (const int other : {0, 1, 2, 4, 255}) {
        kind = static_cast<std::uint8_t>(other);
        EXPECT_TRUE(Report("no URL at all"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    }
}

TEST_F(WebExtensionScan, WithoutParentalControlEveryCallFails) {
    settings.bpStatus = 1;
    EXPECT_FALSE(Report("https://example.org/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    TakeProfiles({ProfileShape{}}, TARN_PC_ABSENT);
    EXPECT_FALSE(Report("https://example.org/"));
}

TEST_F(WebExtensionScan, AUrlNeedsItsSchemeAndMustFit) {
    JudgeCategories();
    EXPECT_FALSE(Report("example.org/"));
    EXPECT_FALSE(Report(""));
    const std::string fits = "https://example.org/" + std::string(1023 - 20, 'p');
    EXPECT_TRUE(Report(fits));
    EXPECT_FALSE(Report(fits + "p"));
}

TEST_F(WebExtensionScan, TheAllowedListEndsTheScan) {
    ProfileShape shape;
    shape.allowed = {"games.example"};
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://games.example/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, BlockedHostLosesItsFirstTwoCharacters) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}, {"x", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://games.example/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_STREQ(verdict.text.url, "mes.example");
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptIs(31, 32));
    EXPECT_EQ(processes.asked, std::vector<std::uint32_t>{999}) << "the user of the calling process";

    EXPECT_TRUE(Report("https://x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_STREQ(verdict.text.url, "");

    processes.userKnown = false;
    EXPECT_FALSE(Report("https://games.example/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, TheBlockListSwitchMustBeOne) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    shape.blockListSwitch = 2;
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://games.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, TheListsAreAskedInModeThree) {
    ProfileShape shape;
    shape.allowed = {{"secure.example", "", 2}};
    shape.sites = {{"secure.example", ""}, {"tls.example", "", 0, 2}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://secure.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "an allowed site for secure connections";
    EXPECT_TRUE(Report("https://tls.example/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE)) << "a blocked site for secure connections";
}

TEST_F(WebExtensionScan, ThePathStandsWithoutItsSlash) {
    ProfileShape shape;
    shape.allowed = {{"one.example", "open"}, {"two.example", "/open"}};
    shape.sites = {{"one.example", ""}, {"two.example", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://one.example/open/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(Report("https://two.example/open/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(WebExtensionScan, TheProfileSwitchIsNotAsked) {
    ProfileShape shape;
    shape.profileSwitch = false;
    shape.sites = {{"games.example", ""}};
    shape.categorySwitch = 1;
    shape.blockedCategories = {41};
    script.categories = {41};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://games.example/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_TRUE(Report("https://six.example/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_CATEGORY));
}

TEST_F(WebExtensionScan, TheHostKeepsItsLetterCase) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://Games.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, TheAddressIsAllZero) {
    ProfileShape shape;
    shape.sites = {{"one.example", "", 1, 1, 0, {IpAddressRecord{}}}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://198.51.100.7/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE)) << "a literal is asked by the address of the connection";
    shape.sites[0].addresses = {remote};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://198.51.100.7/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, CategoriesBlockOnlyWithTheSwitchOn) {
    ProfileShape shape;
    shape.blockedCategories = {41};
    TakeProfiles({shape});
    settings.bpStatus = 1;
    script.categories = {41};
    EXPECT_TRUE(Report("https://six.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, AHostOf260CharactersFailsOnlyWhereItIsLookedUp) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://" + std::string(259, 'h')));
    EXPECT_FALSE(Report("https://" + std::string(260, 'h')));
    shape.blockListSwitch = 0;
    TakeProfiles({shape});
    EXPECT_TRUE(Report("https://" + std::string(260, 'h')));
}

TEST_F(WebExtensionScan, WithoutAnyFeatureNoCategoryIsAsked) {
    TakeProfiles({ProfileShape{}});
    EXPECT_TRUE(Report("https://example.org/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(script.journal.empty());
}

TEST_F(WebExtensionScan, MissingCategorisationFailsTheScan) {
    JudgeCategories();
    auto loaded = std::move(companions.categorisation);
    EXPECT_FALSE(Report("https://example.org/"));
    companions.categorisation = std::move(loaded);
    script.categoriesAnswer = false;
    EXPECT_FALSE(Report("https://example.org/"));
    EXPECT_FALSE(Report("[https://example.org/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(WebExtensionScan, TheWholeUrlIsAsked) {
    JudgeCategories();
    EXPECT_TRUE(Report("https://Example.org/A?b#c"));
    EXPECT_EQ(script.journal, std::vector<std::string>{"categories https://Example.org/A?b#c mode 0"});
}

TEST_F(WebExtensionScan, AMaliciousCategoryIsShownWithTheWholeUrlBehindTheName) {
    JudgeCategories();
    settings.bpStatus = 1;
    script.categories = {2};
    EXPECT_TRUE(Report("https://bad.example/a"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
    EXPECT_EQ(static_cast<unsigned char>(verdict.text.threat.name[0]), 0xCD);
    EXPECT_STREQ(verdict.text.threat.url, "https://bad.example/a");
    EXPECT_TRUE(PromptIs(11, 12));
    EXPECT_TRUE(quarantine.paths.empty()) << "no action against a process";
    PublishUserUrls({"bad.example/a"});
    EXPECT_TRUE(Report("https://bad.example/a"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
}

TEST_F(WebExtensionScan, APhishingCategoryIsShownWithTheWholeUrl) {
    JudgeCategories();
    settings.apStatus = 1;
    script.categories = {3};
    EXPECT_TRUE(Report("https://bad.example"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "https://bad.example");
    EXPECT_TRUE(PromptIs(21, 22));
    PublishUserUrls({"bad.example"});
    EXPECT_TRUE(Report("https://bad.example"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_PHISHING_WHITE_LISTED));
}

TEST_F(WebExtensionScan, APatternIsAskedForSitesWithCategoriesOnly) {
    JudgeCategories();
    settings.bpStatus = 1;
    script.patternFlag = 1;
    EXPECT_TRUE(Report("https://bad.example/Path"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "no category, no pattern";
    script.categories = {9};
    script.journal.clear();
    EXPECT_TRUE(Report("https://bad.example/Path"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(script.journal[1], "pattern 3 bad.example Path port 0");
    EXPECT_STREQ(verdict.text.threat.name, "Malicious Url");
    EXPECT_STREQ(verdict.text.threat.url, "bad.example/Path");
    EXPECT_TRUE(PromptIs(11, 12));
    PublishUserUrls({"bad.example"});
    EXPECT_TRUE(Report("https://bad.example/Path"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
}

TEST_F(WebExtensionScan, APatternNeedsTheModuleAndItsAnswer) {
    JudgeCategories();
    settings.bpStatus = 1;
    script.patternFlag = 1;
    script.categories = {9};
    script.patternAnswer = false;
    EXPECT_TRUE(Report("https://bad.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "the flag of a call that failed";
    script.patternAnswer = true;
    companions.urlPatterns = {};
    EXPECT_TRUE(Report("https://bad.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    companions.urlPatterns = modules::UrlPatterns{.WSCheckURLMaliciousPattern = CheckPattern};
    settings.bpStatus = 0;
    EXPECT_TRUE(Report("https://bad.example/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    settings.bpStatus = 1;
    EXPECT_TRUE(Report("https://bad.example/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(WebExtensionScan, TheInternalListAllowsEveryHitWithTheDefaultReason) {
    JudgeCategories();
    settings.bpStatus = settings.apStatus = 1;
    PublishUrls(lists.browsingProtectionInternal, {"bad.example"});
    for (const std::vector<std::uint16_t>& categories : {std::vector<std::uint16_t>{2}, {3}, {9}}) {
        script.categories = categories;
        script.patternFlag = 1;
        EXPECT_TRUE(Report("https://bad.example/"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << categories.front();
    }
}

TEST_F(WebExtensionScan, ABlockedCategoryEmptiesTheUserName) {
    JudgeCategories({41});
    script.categories = {3, 41};
    EXPECT_TRUE(Report("https://six.example/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_CATEGORY));
    EXPECT_EQ(verdict.categoryId, 41U);
    EXPECT_STREQ(verdict.text.url, "https://six.example/");
    EXPECT_EQ(UserName(), u"");
    EXPECT_TRUE(processes.asked.empty());
    EXPECT_TRUE(PromptIs(31, 32));
}

TEST_F(WebExtensionScan, TheRuleThatEndedTheScanIsNamed) {
    ProfileShape shape;
    shape.allowed = {"good.example"};
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    const auto endOf = [&](const char* url) {
        Report(url);
        return endedBy;
    };
    ASSERT_EQ(WebExtensionRules().size(), 5U);
    EXPECT_EQ(endOf("no URL"), WebExtensionRules()[0].name);
    EXPECT_EQ(endOf("https://good.example/"), WebExtensionRules()[2].name);
    EXPECT_EQ(endOf("https://games.example/"), WebExtensionRules()[3].name);
    EXPECT_EQ(endOf("https://other.example/"), "");
    settings.bpStatus = 1;
    script.categories = {2};
    EXPECT_EQ(endOf("https://other.example/"), WebExtensionRules()[4].name);
    TakeProfiles({shape}, TARN_PC_ABSENT);
    EXPECT_EQ(endOf("https://good.example/"), WebExtensionRules()[1].name);
}

TEST_F(WebExtensionScan, WithoutAFirstEntryTheListsAreEmptyAndTheSwitchesOff) {
    TakeProfiles({}, 2);
    EXPECT_TRUE(Report("https://example.org/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    settings.apStatus = 1;
    script.categories = {3};
    EXPECT_TRUE(Report("https://example.org/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
}

}  // namespace
}  // namespace tarn::url
