#include "url/url_scan.h"

#include <gtest/gtest.h>

#include "scan_fixture.h"

namespace tarn::url {
namespace {

class UrlScan : public ScanFixture {};

TEST_F(UrlScan, ARequestThatNoRuleDecidesIsAllowed) {
    EXPECT_TRUE(Get("www.example.org", "/index.html"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(PromptUntouched());
    EXPECT_EQ(static_cast<unsigned char>(verdict.text.url[0]), 0xCD) << "only allow and reason are preset";
}

TEST_F(UrlScan, EmptyRequestsAreRefusedUntouched) {
    ScanRequest request{};
    const ScanContext context = Context();
    std::memset(&verdict, 0xCD, sizeof verdict);
    EXPECT_FALSE(ScanUrl(context, request, verdict, prompt));
    std::uint8_t byte = 'G';
    request.data = &byte;
    EXPECT_FALSE(ScanUrl(context, request, verdict, prompt));
    EXPECT_EQ(verdict.allow, 0xCDCDCDCDU);
    EXPECT_EQ(byte, 'G');
}

TEST_F(UrlScan, TheNulAndTheBlanksAreWrittenIntoTheCallersBuffer) {
    EXPECT_TRUE(Scan(std::string("GET / HTTP/1.1\r\n\0Host: a.example\r\n\r\n", 36)));
    EXPECT_EQ(scanned.back(), '\0');
    EXPECT_EQ(scanned.find('\0'), scanned.size() - 1);
    EXPECT_EQ(scanned[16], ' ');
}

TEST_F(UrlScan, EveryNulBecomesABlank) {
    EXPECT_TRUE(Scan("GET / HTTP/1.1\r\nX: " + std::string(150, '\0') + "b" + std::string(1, '\0') +
                     "\r\nHost: a.example\r\n\r\n"));
    EXPECT_EQ(scanned.find('\0'), scanned.size() - 1);
}

TEST_F(UrlScan, ANulInsideTheDataDoesNotHideTheHost) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    EXPECT_TRUE(Scan(std::string("GET / HTTP/1.1\r\n\0Host: bad.example\r\n\r\n", 38)));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(UrlScan, ThePortOfDnsNeverReachesTheUrlRules) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    port = 53;
    Get("bad.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, AnUnknownKindEndsWithTheDefaultVerdict) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    for (const int unknown : {0, 5, 255}) {
        kind = static_cast<std::uint8_t>(unknown);
        EXPECT_TRUE(Get("bad.example", "/"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << unknown;
    }
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "kind 4 is parsed like kind 1";
}

TEST_F(UrlScan, AFailedParseGoesOnWithEmptyStrings) {
    LookUpCategories();
    settings.bpStatus = 1;
    for (const char* data :
         {"not http", "GET / HTTP/1.1\r\nhost: a.example\r\n\r\n", "GET / HTTP/1.1\r\nHost: a.example"}) {
        EXPECT_TRUE(Scan(data));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << data;
    }
    EXPECT_TRUE(script.journal.empty()) << "an empty display URL ends the scan before the categories";
}

TEST_F(UrlScan, EveryTruncationOfARequestIsAValidScan) {
    settings.bpStatus = settings.apStatus = 1;
    LookUpCategories();
    const std::string request =
        "GET http://bad.example//a///b?q#f HTTP/1.1\r\nHost: bad.example:8080\r\nAccept: */*\r\n\r\n";
    for (std::size_t length = 1; length <= request.size(); ++length) EXPECT_TRUE(Scan(request.substr(0, length)));
}

TEST_F(UrlScan, AUrlThatDoesNotFitIsAFailedParse) {
    settings.bpStatus = 1;
    const std::string host(240, 'h');
    PublishMalicious(host, true, {});
    EXPECT_TRUE(Get(host, "/" + std::string(1023 - 240 - 1, 'p')));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_TRUE(Get(host, "/" + std::string(1024 - 240 - 1, 'p')));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, AnEmptyHostOfAnHttpRequestStaysEmpty) {
    settings.apStatus = 1;
    PublishPhishing("203.0.113.5", true);
    for (const std::uint8_t http : {std::uint8_t{TARN_KIND_HTTP}, std::uint8_t{TARN_KIND_HTTP_SECURE}}) {
        kind = http;
        EXPECT_TRUE(Get(".", "/x"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "the address does not stand in";
    }
    PublishPhishing("", true);
    EXPECT_TRUE(Get(".", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "/x");
}

TEST_F(UrlScan, TheVideoSharingSiteIsFoundInThePathToo) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    EXPECT_TRUE(Get("bad.example", "/watch/YouTube.com/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    settings.agentStatus = 1;
    EXPECT_TRUE(Get("bad.example", "/watch/YouTube.com/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(endedBy, "video-sharing exception");
    EXPECT_TRUE(Get("bad.example", "/watch/youtube.org/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(UrlScan, ThePatternMatcherIsGivenTheKind) {
    LookUpCategories();
    settings.bpStatus = 1;
    for (const auto& [data, asked] :
         {std::pair{TARN_KIND_FTP, "pattern 2 203.0.113.5 /dir/file port "}, {TARN_KIND_HTTP_SECURE, "pattern 4 "}}) {
        kind = static_cast<std::uint8_t>(data);
        script.journal.clear();
        EXPECT_TRUE(kind == TARN_KIND_FTP ? Scan("RETR Dir/File\r\n") : Get("a.example", "/"));
        ASSERT_EQ(script.journal.size(), 2U);
        EXPECT_TRUE(script.journal[1].starts_with(asked)) << script.journal[1];
    }
}

TEST_F(UrlScan, InternalWhiteListEndsBeforeTheThreats) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    PublishUrls(lists.webSecurityInternal, {"bad.example/ok/"});
    EXPECT_TRUE(Get("bad.example", "/ok/file"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(PromptUntouched());
    EXPECT_TRUE(Get("bad.example", "/other"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(UrlScan, ManagementServerEndsBeforeTheThreats) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    base::CopyText(managedClient.serverAddress, u"BAD.example");
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "not a managed client";
    managedClient.installed = true;
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    base::CopyText(managedClient.serverAddress, u"BAD.example.org");
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "the whole text is compared";
}

TEST_F(UrlScan, AnEmptyManagementServerEqualsNothing) {
    managedClient.installed = true;
    settings.bpStatus = 1;
    LookUpCategories();
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_EQ(script.journal.size(), 2U) << "the scan went on to categories and patterns";
}

TEST_F(UrlScan, PrivateAddressesEndBeforeTheThreats) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    remote = {TARN_FAMILY_IPV4, {10, 1, 2, 3}};
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    remote = {TARN_FAMILY_IPV4, {10, 255, 255, 255}};
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "the upper end counts as public";
    remote = {TARN_FAMILY_IPV6, {0xFD}};
    EXPECT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, MaliciousSiteBlocksWithNameAndUrl) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("PathThreat", "/dl"), Threat("SiteThreat", "/")});
    EXPECT_TRUE(Get("WWW.bad.example:8080", "/Some/File?x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "SiteThreat");
    EXPECT_STREQ(verdict.text.threat.url, "www.bad.example/some/file");
    EXPECT_TRUE(PromptIs(11, 12));
    EXPECT_TRUE(Get("bad.example", "/DL/x"));
    EXPECT_STREQ(verdict.text.threat.name, "PathThreat");
}

TEST_F(UrlScan, MaliciousSiteOfTheUsersWhiteListIsAllowedWithItsTexts) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    PublishUserUrls({"bad.example/"});
    EXPECT_TRUE(Get("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
    EXPECT_STREQ(verdict.text.threat.name, "Worm");
    EXPECT_STREQ(verdict.text.threat.url, "bad.example/x");
    EXPECT_TRUE(PromptIs(11, 12));
}

TEST_F(UrlScan, MaliciousListIsAskedOnlyWhenBrowsingProtectionIsOn) {
    PublishMalicious("bad.example", true, {});
    EXPECT_TRUE(Get("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, HostOf256Characters_BrowsingProtectionOn_Fails) {
    EXPECT_TRUE(Get(std::string(256, 'h'), "/x"));
    settings.bpStatus = 1;
    EXPECT_TRUE(Get(std::string(255, 'h'), "/x"));
    EXPECT_FALSE(Get(std::string(256, 'h'), "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(Get("www." + std::string(251, 'h'), "/x"));
    EXPECT_FALSE(Get("www." + std::string(252, 'h'), "/x")) << "the bound counts the \"www.\"";
}

TEST_F(UrlScan, PhishingSiteBlocksAndTheUsersWhiteListAllows) {
    settings.apStatus = 1;
    PublishPhishing("www.phish.example", true);
    EXPECT_TRUE(Get("www.phish.example", "/login"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "www.phish.example/login");
    EXPECT_TRUE(PromptIs(21, 22));
    EXPECT_TRUE(Get("phish.example", "/login"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "the host is asked as it is";
    PublishUserUrls({"www.phish.example"});
    EXPECT_TRUE(Get("www.phish.example", "/login"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_PHISHING_WHITE_LISTED));
    EXPECT_TRUE(PromptIs(21, 22));
}

TEST_F(UrlScan, TheMaliciousListIsAskedBeforeThePhishingList) {
    settings.bpStatus = settings.apStatus = 1;
    PublishMalicious("both.example", true, {Threat("Worm", "")});
    PublishPhishing("both.example", true);
    EXPECT_TRUE(Get("both.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(UrlScan, TheThreatListsAreAskedBeforeTheCategories) {
    settings.apStatus = 1;
    LookUpCategories();
    script.categories = {2, 3};
    PublishPhishing("phish.example", true);
    EXPECT_TRUE(Get("phish.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_TRUE(script.journal.empty());
}

TEST_F(UrlScan, TheStopByteEndsBeforeTheCategories) {
    settings.bpStatus = 1;
    script.categories = {2};
    stop = 1;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), StopsBeforeCategories()) << "whether or not a look-up would follow";
    LookUpCategories();
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), StopsBeforeCategories());
    EXPECT_TRUE(script.journal.empty());
    stop = 2;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY)) << "only the value 1 stops";
    stop = 1;
    EXPECT_TRUE(Scan("not http"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "an empty display URL ends first";
}

TEST_F(UrlScan, CategoriesNeedModeOneAFirstEntryAndAFeature) {
    script.categories = {2, 3};
    settings.bpStatus = 1;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "no parental settings";
    LookUpCategories();
    parental.mode = 2;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "one entry per user";
    parental.mode = TARN_PC_ONE_FOR_ALL;
    settings.bpStatus = 0;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_TRUE(script.journal.empty()) << "no feature is on";
    settings.apStatus = 1;
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
}

TEST_F(UrlScan, AMaliciousCategoryBlocksWithTheDisplayUrl) {
    settings.bpStatus = 1;
    LookUpCategories();
    script.categories = {7, 2};
    EXPECT_TRUE(Get("A.example:8080", "/Path"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
    EXPECT_STREQ(verdict.text.threat.url, "A.example:8080/Path") << "the display URL keeps letter case and port";
    EXPECT_EQ(static_cast<unsigned char>(verdict.text.threat.name[0]), 0xCD) << "the name is left alone";
    EXPECT_TRUE(PromptIs(11, 12));
    const std::vector<std::string> expected = {"categories A.example:8080/Path mode 0", "release"};
    EXPECT_EQ(script.journal, expected);
}

TEST_F(UrlScan, APhishingCategoryBlocks) {
    settings.apStatus = 1;
    LookUpCategories();
    script.categories = {3};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "a.example/x");
    EXPECT_TRUE(PromptIs(21, 22));
}

TEST_F(UrlScan, ADangerousCategoryNeedsItsOwnFeature) {
    LookUpCategories();
    settings.bpStatus = 1;
    script.categories = {3};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    settings.bpStatus = 0;
    settings.apStatus = 1;
    script.categories = {2};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, StrictnessLimitsTheCategoriesConsidered) {
    settings.bpStatus = 1;
    const struct {
        std::uint8_t strictness;
        std::size_t considered;
    } cases[] = {{1, 2}, {2, 3}, {3, 1}, {0, 5}, {4, 5}};
    for (const auto& c : cases) {
        strictness = c.strictness;
        LookUpCategories();
        for (std::size_t at = 0; at < 5; ++at) {
            script.categories.assign(5, 9);
            script.categories[at] = 2;
            EXPECT_TRUE(Get("a.example", "/x"));
            EXPECT_THAT(Verdict(),
                        at < c.considered ? Blocks(TARN_REASON_MALICIOUS_CATEGORY) : Allows(TARN_REASON_DEFAULT))
                << int{c.strictness} << " at " << at;
        }
    }
}

TEST_F(UrlScan, TheInternalListAllowsACategoryHitAtOnceWithTheDefaultReason) {
    settings.bpStatus = settings.apStatus = 1;
    LookUpCategories();
    PublishUrls(lists.browsingProtectionInternal, {"a.example"});
    PublishUserUrls({"a.example"});
    for (const std::uint16_t category : {std::uint16_t{2}, std::uint16_t{3}}) {
        script.categories = {category};
        EXPECT_TRUE(Get("a.example", "/x"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
        EXPECT_TRUE(PromptUntouched());
    }
}

TEST_F(UrlScan, TheUsersListTurnsACategoryHitIntoItsReason) {
    settings.bpStatus = settings.apStatus = 1;
    LookUpCategories();
    PublishUserUrls({"a.example"});
    script.categories = {2};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
    EXPECT_STREQ(verdict.text.threat.url, "a.example/x");
    EXPECT_TRUE(PromptIs(11, 12));
    script.categories = {3};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_PHISHING_WHITE_LISTED));
    EXPECT_TRUE(PromptIs(21, 22));
}

TEST_F(UrlScan, OnlyASiteWithoutCategoriesIsShownToThePatternMatcher) {
    settings.bpStatus = 1;
    LookUpCategories();
    script.patternFlag = 1;
    script.categories = {9};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    script.categories = {};
    script.journal.clear();
    EXPECT_TRUE(Get("a.example", "/X?y"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "Malicious Url");
    EXPECT_STREQ(verdict.text.threat.url, "a.example/x");
    EXPECT_TRUE(PromptIs(11, 12));
    const std::vector<std::string> expected = {"categories a.example/X mode 0",
                                               "pattern 1 a.example /x port " + std::to_string(80 << 8)};
    EXPECT_EQ(script.journal, expected) << "the port is handed on in network byte order";
}

TEST_F(UrlScan, EitherWhiteListTurnsAPatternHitIntoReasonNine) {
    settings.bpStatus = 1;
    LookUpCategories();
    script.patternFlag = 1;
    PublishUrls(lists.browsingProtectionInternal, {"internal.example"});
    PublishUserUrls({"user.example"});
    for (const char* host : {"internal.example", "user.example"}) {
        EXPECT_TRUE(Get(host, "/x"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED)) << host;
        EXPECT_STREQ(verdict.text.threat.name, "Malicious Url");
        EXPECT_TRUE(PromptIs(11, 12));
    }
}

TEST_F(UrlScan, APatternMissOrFailureAllows) {
    settings.bpStatus = 1;
    LookUpCategories();
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    script.patternFlag = 1;
    script.patternAnswer = false;
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    script.patternAnswer = true;
    companions.urlPatterns = {};
    EXPECT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(UrlScan, AFailedOrImpossibleLookUpFailsTheScanWithTheDefaultVerdict) {
    settings.bpStatus = 1;
    LookUpCategories();
    script.categoriesAnswer = false;
    script.categories = {2};
    EXPECT_FALSE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    script.categoriesAnswer = true;
    EXPECT_FALSE(Get("[2001:db8::1]", "/x")) << "an IPv6 literal is never looked up";
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    companions.categorisation = {};
    EXPECT_FALSE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

}  // namespace
}  // namespace tarn::url
