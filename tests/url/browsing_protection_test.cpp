#include "url/browsing_protection.h"

#include <gtest/gtest.h>

#include "scan_fixture.h"

namespace tarn::url {
namespace {

class BrowsingProtectionTest : public ScanFixture {
 protected:
    bool Act() { return browsingProtection.ActOnMaliciousUrl(7, "bad.example/x", processes, system); }
};

TEST_F(BrowsingProtectionTest, TheProgramIsQuarantinedWithTheReasonAndTheUrl) {
    EXPECT_TRUE(Act());
    ASSERT_EQ(quarantine.paths.size(), 1U);
    EXPECT_EQ(quarantine.paths[0], u"C:\\Programs\\Reader.exe");
    EXPECT_EQ(quarantine.urls[0], u"bad.example/x");
    EXPECT_EQ(quarantine.last.type, 2U);
    EXPECT_EQ(quarantine.last.flagA, 1);
    EXPECT_EQ(quarantine.last.flagB, 1);
    char16_t reason[100];
    std::memcpy(reason, quarantine.last.reason, sizeof reason);
    EXPECT_EQ(base::FieldText(reason, 100), u"Browsing Protection Malicious URL");
    EXPECT_EQ(reason[99], u'\0');
    EXPECT_EQ(system.loaded, std::vector<std::u16string>{u"C:\\suite\\isolate.dll"});
    EXPECT_EQ(quarantine.frees, 1);
}

TEST_F(BrowsingProtectionTest, EachExecutableIsActedOnOnce) {
    EXPECT_TRUE(Act());
    EXPECT_FALSE(Act());
    EXPECT_EQ(quarantine.paths.size(), 1U);
    EXPECT_EQ(quarantine.loads, 1) << "the module is not loaded for what was acted on";
}

TEST_F(BrowsingProtectionTest, AFailedQuarantineIsRememberedAndItsAnswerReturned) {
    quarantine.answer = false;
    EXPECT_FALSE(Act());
    EXPECT_EQ(browsingProtection.ActedOnCount(), 1U);
    EXPECT_EQ(quarantine.frees, 1);
}

TEST_F(BrowsingProtectionTest, WhatCannotBeFoundIsNotActedOn) {
    processes.userKnown = false;
    EXPECT_FALSE(Act());
    processes.userKnown = true;
    processes.pathKnown = false;
    EXPECT_FALSE(Act());
    EXPECT_EQ(quarantine.loads, 0);
    processes.pathKnown = true;
    quarantine.moduleThere = false;
    EXPECT_FALSE(Act());
    EXPECT_EQ(browsingProtection.ActedOnCount(), 0U) << "without the module nothing is remembered";
    quarantine.moduleThere = true;
    EXPECT_TRUE(Act());
}

TEST_F(BrowsingProtectionTest, ExcludedBrowsersAreNeverQuarantined) {
    browsingProtection.Reset(ParseBrowserExclusions(u"other.exe|READER.exe", 2));
    EXPECT_FALSE(Act());
    processes.executable = u"C:\\PROGRAMS\\READER.EXE.old";
    EXPECT_FALSE(Act()) << "a name anywhere in the path, in any letter case";
    processes.executable = u"C:\\Programs\\Tool.exe";
    EXPECT_TRUE(Act());
}

TEST_F(BrowsingProtectionTest, TheHundredAndFirstExecutableFindsTheTableEmptied) {
    for (int i = 0; i < 100; ++i) {
        const std::string number = std::to_string(i);
        processes.executable = u"C:\\p" + std::u16string(number.begin(), number.end());
        EXPECT_TRUE(Act()) << i;
    }
    EXPECT_EQ(browsingProtection.ActedOnCount(), 100U);
    processes.executable = u"C:\\p0";
    EXPECT_FALSE(Act());
    processes.executable = u"C:\\new";
    EXPECT_TRUE(Act());
    EXPECT_EQ(browsingProtection.ActedOnCount(), 1U);
    processes.executable = u"C:\\p0";
    EXPECT_TRUE(Act());
}

TEST_F(BrowsingProtectionTest, ResetForgetsExecutablesAndExclusions) {
    browsingProtection.Reset({u"reader"});
    EXPECT_FALSE(Act());
    browsingProtection.Clear();
    EXPECT_TRUE(Act());
    browsingProtection.Clear();
    EXPECT_TRUE(Act());
}

TEST(BrowserExclusions, TheFirstCountNamesInLowerCase) {
    EXPECT_EQ(ParseBrowserExclusions(u"One.exe|TWO.EXE|three", 2), (BrowserExclusions{u"one.exe", u"two.exe"}));
    EXPECT_EQ(ParseBrowserExclusions(u"one", 5), BrowserExclusions{u"one"})
        << "entries past the last name are no names";
    EXPECT_EQ(ParseBrowserExclusions(u"||one||two|", 9), (BrowserExclusions{u"one", u"two"}));
    EXPECT_TRUE(ParseBrowserExclusions(u"", 3).empty());
    EXPECT_TRUE(ParseBrowserExclusions(u"one", 0).empty());
    EXPECT_EQ(ParseBrowserExclusions(u"one", 0xFFFFFFFF).size(), 1U);
}

TEST(BrowserExclusions, ANameOfFiftyCharactersLeavesNoListAtAll) {
    const std::u16string fits(49, u'n');
    EXPECT_EQ(ParseBrowserExclusions(u"one|" + fits, 2).size(), 2U);
    EXPECT_TRUE(ParseBrowserExclusions(u"one|" + fits + u"n|two", 3).empty());
    EXPECT_EQ(ParseBrowserExclusions(u"one|" + fits + u"n|two", 1).size(), 1U) << "names past the count are not read";
}

class MaliciousVerdicts : public ScanFixture {};

TEST_F(MaliciousVerdicts, AListHitActsAgainstTheProgramUnlessWhiteListed) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    PublishUserUrls({"bad.example"});
    Get("bad.example", "/x");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
    EXPECT_TRUE(quarantine.paths.empty());
    PublishUserUrls({});
    Get("bad.example", "/x");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    ASSERT_EQ(quarantine.urls.size(), 1U);
    EXPECT_EQ(quarantine.urls[0], u"bad.example/x");
    EXPECT_EQ(processes.asked, std::vector<std::uint32_t>{4711});
}

TEST_F(MaliciousVerdicts, APatternHitAndAMaliciousCategoryActToo) {
    settings.bpStatus = 1;
    LookUpCategories();
    script.patternFlag = 1;
    Get("bad.example", "/Pattern");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    processes.executable = u"C:\\other";
    script.categories = {2};
    Get("Bad.example", "/Category");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
    EXPECT_EQ(quarantine.urls, (std::vector<std::u16string>{u"bad.example/pattern", u"bad.example/category"}));
}

TEST_F(MaliciousVerdicts, TheVerdictStandsBeforeTheActionBegins) {
    settings.bpStatus = 1;
    LookUpCategories();
    PublishMalicious("listed.example", true, {Threat("Threat", "/")});
    std::vector<UrlDecisionWithUrl> seen;
    quarantine.whileLoaded = [&] { seen.emplace_back(Verdict(), verdict.text.threat.url); };
    Get("listed.example", "/a");
    processes.executable = u"C:\\second";
    script.patternFlag = 1;
    Get("pattern.example", "/b");
    processes.executable = u"C:\\third";
    script.categories = {2};
    Get("category.example", "/c");
    EXPECT_EQ(seen, (std::vector<UrlDecisionWithUrl>{{Blocks(TARN_REASON_MALICIOUS), "listed.example/a"},
                                                     {Blocks(TARN_REASON_MALICIOUS), "pattern.example/b"},
                                                     {Blocks(TARN_REASON_MALICIOUS_CATEGORY), "category.example/c"}}));
}

TEST_F(MaliciousVerdicts, AnActionThatThrowsLeavesTheVerdict) {
    settings.bpStatus = 1;
    LookUpCategories();
    PublishMalicious("listed.example", true, {});
    quarantine.whileLoaded = [] { throw std::bad_alloc(); };
    EXPECT_TRUE(Get("listed.example", "/a"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_TRUE(PromptIs(11, 12));
    processes.executable = u"C:\\second";
    script.patternFlag = 1;
    EXPECT_TRUE(Get("pattern.example", "/b"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    processes.executable = u"C:\\third";
    script.categories = {2};
    EXPECT_TRUE(Get("category.example", "/c"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
    EXPECT_EQ(quarantine.loads, 3);
}

TEST_F(MaliciousVerdicts, TheActionIsAskedWithAnEmptyUrlToo) {
    settings.bpStatus = 1;
    PublishMalicious("", true, {});
    EXPECT_TRUE(Scan("no request"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(quarantine.urls, std::vector<std::u16string>{u""});
}

TEST_F(MaliciousVerdicts, APhishingVerdictNeverActs) {
    settings.apStatus = 1;
    PublishPhishing("bad.example", true);
    Get("bad.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_TRUE(quarantine.paths.empty());
}

TEST_F(MaliciousVerdicts, BlockedAddressesEndWithHostAndPathInTheirOwnAreas) {
    IdsBlockRequest request{};
    std::memcpy(request.hostName, "www.bad.example", 15);
    std::memcpy(request.requestText, "/Path HTTP/1.1", 14);
    idsBlockedList.Add(request);
    Get("Bad.Example", "/path");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "the feature is off";
    settings.idsIpsStatus = 1;
    EXPECT_TRUE(Get("Bad.Example", "/path?x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_IDS_BLOCKED));
    EXPECT_STREQ(verdict.blockedHost, "bad.example");
    EXPECT_STREQ(verdict.blockedPath, "/path");
    EXPECT_TRUE(PromptUntouched());
    EXPECT_TRUE(UserNameUntouched());
    Get("bad.example", "/other");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

}  // namespace
}  // namespace tarn::url
