#include <gtest/gtest.h>

#include "scan_fixture.h"
#include "tls_hello.h"

namespace tarn::url {
namespace {

// What HTTPS inspection was asked and answers.
struct InspectionScript {
    bool answer = true;
    std::uint8_t block = 0;
    std::string asked;
};
InspectionScript* inspection = nullptr;

std::uint8_t TARN_CALL InspectHttps(std::uint32_t processId, const char* hostAndPath, std::uint32_t remoteIpv4,
                                    std::uint16_t remotePort, const std::uint8_t* data, std::uint32_t length,
                                    std::uint8_t* block) {
    inspection->asked = std::to_string(processId) + " " + hostAndPath + " " + std::to_string(remoteIpv4) + " " +
                        std::to_string(remotePort) + " " + std::to_string(data[0]) + " " + std::to_string(length);
    *block = inspection->block;
    return inspection->answer ? 1 : 0;
}

class TlsScan : public ScanFixture {
 protected:
    TlsScan() {
        kind = TARN_KIND_TLS;
        port = 443;
        inspection = &script_;
    }
    ~TlsScan() override { inspection = nullptr; }

    void LoadInspection() { companions.httpsInspection = modules::HttpsInspection{.TiScanHttpsPacket = InspectHttps}; }

    void Remember(const std::string& name, const IpAddressRecord& address) {
        DnsAnswerEntry entry{};
        entry.addressCount = 1;
        std::memcpy(entry.hostName, name.data(), name.size());
        entry.addresses[0] = address;
        dnsRing.Store(entry);
    }
    InspectionScript script_;
};

TEST_F(TlsScan, TheServerNameIsJudgedInLowerCase) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {Threat("Worm", "")});
    EXPECT_TRUE(Scan(TlsHello("WWW.Bad.Example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "Worm");
    EXPECT_STREQ(verdict.text.threat.url, "www.bad.example");
}

TEST_F(TlsScan, WithoutAServerNameTheAnswerRingTellsIt) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    Remember("other.example", remote);
    Remember("Bad.Example", remote);
    EXPECT_TRUE(Scan(TlsHello("")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.url, "bad.example");
}

TEST_F(TlsScan, ARefusedHelloAsksTheRingToo) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    Remember("bad.example", remote);
    EXPECT_TRUE(Scan("\x17 no hello at all"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(TlsScan, WithoutAnyNameTheScanEndsWithTheDefaultVerdict) {
    ProfileShape shape;
    shape.sites = {{"203.0.113.5", ""}};
    TakeProfiles({shape});
    EXPECT_TRUE(Scan(TlsHello("")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(processes.asked.empty());
}

TEST_F(TlsScan, TheInternalListIsAskedByAddressTextToo) {
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    PublishUrls(lists.webSecurityInternal, {"203.0.113.5"});
    EXPECT_TRUE(Scan(TlsHello("bad.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(TlsScan, CategoriesAreAskedWithTheSchemeAndShownWithIt) {
    LookUpCategories();
    settings.apStatus = 1;
    script.categories = {3};
    EXPECT_TRUE(Scan(TlsHello("Shop.example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_EQ(script.journal.front(), "categories https://shop.example mode 0");
    EXPECT_STREQ(verdict.text.url, "https://shop.example");
}

TEST_F(TlsScan, InspectionIsAskedOnlyWhenLoadedAndForTls) {
    script_.block = 1;
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    LoadInspection();
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_TRUE(Get("shop.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(script_.asked, "");
}

TEST_F(TlsScan, InspectionBlocksWithReason15) {
    LoadInspection();
    script_.block = 1;
    const std::string hello = TlsHello("shop.example");
    EXPECT_TRUE(Scan(hello));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_HTTPS_INSPECTION));
    EXPECT_STREQ(verdict.text.url, "shop.example");
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptUntouched());
    EXPECT_EQ(script_.asked, "4711 shop.example " + std::to_string(203U + (113U << 16) + (5U << 24)) + " " +
                                 std::to_string((443 >> 8) | ((443 & 0xFF) << 8)) + " 22 " +
                                 std::to_string(hello.size()));
}

TEST_F(TlsScan, InspectionGetsTheFirstFourBytesOfAnIpv6Address) {
    LoadInspection();
    remote = {TARN_FAMILY_IPV6, {0x20, 0x01, 0x0D, 0xB8, 9, 9, 9, 9}};
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_TRUE(script_.asked.starts_with("4711 shop.example " +
                                          std::to_string(0x20U + (0x01U << 8) + (0x0DU << 16) + (0xB8U << 24)) + " "))
        << script_.asked;
}

TEST_F(TlsScan, AnIpv6AddressIsAskedAsEightGroups) {
    remote = {TARN_FAMILY_IPV6, {0x20, 0x01, 0x0D, 0xB8, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFE}};
    settings.bpStatus = 1;
    PublishMalicious("bad.example", true, {});
    EXPECT_TRUE(Scan(TlsHello("bad.example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    PublishUrls(lists.webSecurityInternal, {"2001:0db8:0100:0000:0000:0000:0000:00fe"});
    EXPECT_TRUE(Scan(TlsHello("bad.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(endedBy, "internal white list");
}

TEST_F(TlsScan, InspectionWithoutAUserFailsTheScanBeforeTheVerdict) {
    LoadInspection();
    script_.block = 1;
    processes.userKnown = false;
    EXPECT_FALSE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(TlsScan, InspectionMustAnswerTrueAndSetTheFlag) {
    LoadInspection();
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    script_.block = 1;
    script_.answer = false;
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(TlsScan, BlockedAddressesComeBeforeInspection) {
    LoadInspection();
    script_.block = 1;
    settings.idsIpsStatus = 1;
    IdsBlockRequest request{};
    std::memcpy(request.hostName, "shop.example", 12);
    idsBlockedList.Add(request);
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_IDS_BLOCKED));
    EXPECT_EQ(script_.asked, "");
}

TEST_F(TlsScan, EveryTruncationOfAHelloIsAValidScan) {
    const std::string hello = TlsHello("shop.example");
    for (std::size_t length = 1; length <= hello.size(); ++length) {
        EXPECT_TRUE(Scan(hello.substr(0, length)));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << length;
    }
}

}  // namespace
}  // namespace tarn::url
