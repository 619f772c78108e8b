// Single rules of WSScanUrl through the built library: what overflows, what each list is asked with, what each module
// is handed.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/site_records_win32.h"
#include "url/dns_message.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using url::DnsResponse;
using url::ProfileShape;
using url::TlsHello;

const IpAddressRecord kIpv6{TARN_FAMILY_IPV6, {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};
const std::string kIpv6Text = "2001:0db8:0000:0000:0000:0000:0000:0001";
const std::string kPort80 = std::to_string(80 << 8);  // as it stands in the request

class ScanRules : public SiteRecords {
 protected:
    ProfileShape Blocking(const std::string& host) {
        ProfileShape shape;
        shape.sites = {{host, ""}};
        return shape;
    }
    // Every site is looked up and has no category, so that the pattern matcher is asked.
    void AskPatterns() {
        TakeProfiles({ProfileShape{}});
        answers.bpStatus = 1;
    }
    UrlDecision VerdictOfHello(const std::string& host) {
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(TlsHello(host)));
        return Verdict();
    }
};

TEST_F(ScanRules, AnFtpUrlThatOverflowsFailsTheScan) {
    ASSERT_TRUE(Init());
    kind = TARN_KIND_FTP;
    const auto command = [](std::size_t length) { return "RETR " + std::string(length, 'a') + "\r\n"; };
    EXPECT_TRUE(Ask(command(1011))) << "203.0.113.5, a slash and 1011 characters fit 1023";
    for (const std::size_t length : {1012U, 1015U, 1022U}) {
        EXPECT_FALSE(Ask(command(length))) << length;
        EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
    }
    EXPECT_TRUE(Ask(command(1023))) << "a command that overflows is not parsed, and that is no failure";
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
}

TEST_F(ScanRules, AnFtpUrlThatOverflowsInFrontOfTheLookUpFailsTheScan) {
    AskPatterns();
    ASSERT_TRUE(Init());
    kind = TARN_KIND_FTP;
    NewLines();
    const auto command = [](std::size_t length) { return "RETR /" + std::string(length, 'a') + "\r\n"; };
    EXPECT_TRUE(Ask(command(1005)));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories ftp://203.0.113.5/" + std::string(1005, 'a') + " 0",
                                        testing::StartsWith("WSCheckURLMaliciousPattern 2 203.0.113.5 /")));
    EXPECT_FALSE(Ask(command(1006)));
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
    EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(ScanRules, AnIpv6AddressIsEightGroupsAsAHost) {
    ListMalicious({{kIpv6Text, true, {{"", "Worm"}}}});
    remote = kIpv6;
    kind = TARN_KIND_FTP;
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Ask("RETR Pub/x\r\n"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS))
                  .ThreatName("Worm")
                  .ThreatUrl(kIpv6Text + "/pub/x")
                  .Difference(verdict),
              "");
}

TEST_F(ScanRules, AHelloIsAllowedByTheTextOfItsAddressToo) {
    ListMalicious({{"a.example"}});
    for (const bool isIpv6 : {false, true}) {
        remote = isIpv6 ? kIpv6 : IpAddressRecord{TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        const std::string text = isIpv6 ? kIpv6Text : "203.0.113.5";
        LetWebSecurityAllow("203.0.113.9");
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOfHello("a.example"), Blocks(TARN_REASON_MALICIOUS));
        LetWebSecurityAllow(text);
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOfHello("a.example"), Allows(TARN_REASON_DEFAULT));
        kind = TARN_KIND_HTTP;
        EXPECT_THAT(VerdictOf("a.example", "/"), Blocks(TARN_REASON_MALICIOUS)) << "a request has no address text";
    }
}

TEST_F(ScanRules, ARequestWithoutAHostKeepsItsPathAndGetsNoAddress) {
    AskPatterns();
    ListMalicious({{"203.0.113.5"}});
    ASSERT_TRUE(Init());
    for (const std::uint8_t http : {TARN_KIND_HTTP, TARN_KIND_HTTP_SECURE}) {
        kind = http;
        NewLines();
        EXPECT_THAT(VerdictOf(":80", "/x"), Allows(TARN_REASON_DEFAULT));
        EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories :80/x 0",
                                            "WSCheckURLMaliciousPattern " + std::to_string(http) + "  /x " + kPort80));
    }
    LetWebSecurityAllow("/x");
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_THAT(VerdictOf(":80", "/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(NewLines(), IsEmpty()) << "host and path is the path alone";
}

TEST_F(ScanRules, TheAllowedListIsAskedWithPathAndKind) {
    TakeProfiles({Blocking("games.example")});
    const auto allow = [&](const UserUrl& url) {
        answers.pcSettings.entries[0].allowedSites = UserList({url});
        kind = TARN_KIND_HTTP;
        ASSERT_TRUE(Init());
    };
    allow({"games.example", "/Ok/", 0});
    EXPECT_THAT(VerdictOf("games.example", "/OK/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOf("games.example", "/okay"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOf("www.games.example", "/ok"), Blocks(TARN_REASON_PARENTAL_SITE))
        << "with a path no subdomain matches";

    allow({"games.example", "", 1, 2});
    EXPECT_THAT(VerdictOf("games.example", "/"), Blocks(TARN_REASON_PARENTAL_SITE))
        << "kind 2 is for secure connections";
    EXPECT_THAT(VerdictOfHello("games.example"), Allows(TARN_REASON_DEFAULT));
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_THAT(VerdictOf("games.example", "/"), Allows(TARN_REASON_DEFAULT));

    allow({"203.0.113.5"});
    EXPECT_THAT(VerdictOfHello("games.example"), Allows(TARN_REASON_DEFAULT)) << "by the text of its address";
    kind = TARN_KIND_HTTP;
    EXPECT_THAT(VerdictOf("games.example", "/"), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(ScanRules, TheScheduleTimeListIsAskedWithPathAndKind) {
    TakeProfiles({ProfileShape{}});
    Schedule({});
    const auto allow = [&](const UserUrl& url) {
        answers.pcSettings.entries[0].scheduleAllowedSites = UserList({url});
        kind = TARN_KIND_HTTP;
        ASSERT_TRUE(Init());
    };
    allow({"school.example", "/Ok/", 0});
    EXPECT_THAT(VerdictOf("school.example", "/OK/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOf("school.example", "/okay"), Blocks(TARN_REASON_SCHEDULE));

    allow({"school.example", "", 1, 2});
    EXPECT_THAT(VerdictOf("school.example", "/"), Blocks(TARN_REASON_SCHEDULE));
    EXPECT_THAT(VerdictOfHello("school.example"), Allows(TARN_REASON_DEFAULT));
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_THAT(VerdictOf("school.example", "/"), Allows(TARN_REASON_DEFAULT));

    allow({"203.0.113.5"});
    EXPECT_THAT(VerdictOfHello("school.example"), Allows(TARN_REASON_DEFAULT)) << "by the text of its address";
    kind = TARN_KIND_HTTP;
    EXPECT_THAT(VerdictOf("school.example", "/"), Blocks(TARN_REASON_SCHEDULE));
}

TEST_F(ScanRules, TheVideoSharingSiteCountsInThePathToo) {
    TakeProfiles({Blocking("a.example")});
    answers.agentStatus = 1;
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOf("a.example", "/embed/YouTube.com/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOf("a.example", "/embed/you.tube.com"), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(ScanRules, AFailedLookUpAheadOfTheConnectionDecidesNothing) {
    TakeProfiles({Blocking("games.example")});
    WriteFile("dnsblock.ini", std::string("[WEB_SECURITY]\r\nBLOCK_URL_IN_DNS=1\r\n"));
    Categorise({2});
    ScriptSetResult("SCGetURLCategories", 0);
    ASSERT_TRUE(Init());
    NewLines();
    remotePort = 53;
    const std::string address("\xCB\x00\x71\x05", 4);
    ASSERT_TRUE(Ask(DnsResponse("games.example", {address})));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("games.example").User(OwnName()).Difference(verdict),
        "");
    ASSERT_TRUE(Ask(DnsResponse("other.example", {address})));
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
    kind = TARN_KIND_FTP;
    ASSERT_TRUE(Ask(DnsResponse("other.example", {address})));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories games.example 1", "SCReleaseCategories",
                                        "SCGetURLCategories other.example 1", "SCReleaseCategories",
                                        "SCGetURLCategories ftp://other.example 1", "SCReleaseCategories"));
}

TEST_F(ScanRules, ThePatternMatcherIsHandedTheKindOfTheRequest) {
    AskPatterns();
    answers.malicious = 1;
    ASSERT_TRUE(Init());
    const auto asked = [&] {
        for (const std::string& line : NewLines())
            if (line.starts_with("WSCheckURLMaliciousPattern ")) return line;
        return std::string();
    };
    EXPECT_THAT(VerdictOf("shop.example", "/X"), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(asked(), "WSCheckURLMaliciousPattern 1 shop.example /x " + kPort80);
    kind = TARN_KIND_FTP;
    ASSERT_TRUE(Ask("RETR Pub/x\r\n"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS))
                  .ThreatName("Malicious Url")
                  .ThreatUrl("203.0.113.5/pub/x")
                  .Difference(verdict),
              "");
    EXPECT_EQ(asked(), "WSCheckURLMaliciousPattern 2 203.0.113.5 /pub/x " + kPort80);
    EXPECT_THAT(VerdictOfHello("shop.example"), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(asked(), "WSCheckURLMaliciousPattern 3 shop.example  " + kPort80);
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_THAT(VerdictOf("shop.example", "/X"), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(asked(), "WSCheckURLMaliciousPattern 4 shop.example /x " + kPort80);
}

TEST_F(ScanRules, HttpsInspectionGetsTheFirstFourBytesOfAnyAddress) {
    ASSERT_TRUE(Init());
    remote = kIpv6;
    NewLines();
    EXPECT_THAT(VerdictOfHello("shop.example"), Allows(TARN_REASON_DEFAULT));
    const std::string number = std::to_string(0xB80D0120U);  // 20 01 0D B8 as they stand
    EXPECT_THAT(NewLines(),
                ElementsAre("TiScanHttpsPacket " + std::to_string(GetCurrentProcessId()) + " shop.example " + number +
                            " " + kPort80 + " " + std::to_string(TlsHello("shop.example").size())));
}

// The copy of the host that the malicious list is asked with has room for 255 characters, a "www." in front included.
TEST_F(ScanRules, AHostOfMoreThan255CharactersFailsTheScanWhileBrowsingProtectionIsOn) {
    ListMalicious({{"bad.example"}});
    ASSERT_TRUE(Init());
    for (const std::string start : {"", "www."}) {
        SCOPED_TRACE(start);
        EXPECT_TRUE(Visit(start + std::string(255 - start.size(), 'h'), "/"));
        for (const std::size_t length : {256U, 259U}) {
            EXPECT_FALSE(Visit(start + std::string(length - start.size(), 'h'), "/")) << length;
            EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
            kind = TARN_KIND_TLS;
            EXPECT_FALSE(Ask(TlsHello(start + std::string(length - start.size(), 'h')))) << length;
            kind = TARN_KIND_HTTP;
        }
    }
    answers.bpStatus = 0;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Visit("www." + std::string(255, 'h'), "/"));
}

}  // namespace
}  // namespace tarn::system_test
