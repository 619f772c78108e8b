// DNS messages through the built library: blocked names, remembered answers, and hellos without a name that they name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/scan_fixture_win32.h"
#include "url/dns_message.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using url::DnsResponse;
using url::ProfileShape;
using url::TlsHello;

const std::string kPublic("\xCB\x00\x71\x05", 4);
const std::string kPrivate("\x0A\x01\x02\x03", 4);

class DnsMessages : public ScanRecords {
 protected:
    bool Answer(const std::string& name, const std::vector<std::string>& addresses) {
        remotePort = 53;
        return Ask(DnsResponse(name, addresses));
    }
    // A hello without a server name to an address of 4 or 16 bytes.
    bool Connect(const std::string& address) {
        remotePort = 443;
        kind = TARN_KIND_TLS;
        remote = {};
        remote.family = address.size() == 4 ? TARN_FAMILY_IPV4 : TARN_FAMILY_IPV6;
        std::memcpy(remote.bytes, address.data(), address.size());
        return Ask(TlsHello(""));
    }
    void BlockGamesInDns() {
        ProfileShape shape;
        shape.sites = {{"games.example", ""}};
        TakeProfiles({shape});
        WriteFile("dnsblock.ini", std::string("[WEB_SECURITY]\r\nBLOCK_URL_IN_DNS=1\r\n"));
    }
};

TEST_F(DnsMessages, ABlockedNameIsShownAsItCame) {
    BlockGamesInDns();
    Categorise({9});
    ASSERT_TRUE(Init());
    NewLines();
    ASSERT_TRUE(Answer("WWW.Games.example", {kPublic}));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("WWW.Games.example").User(OwnName()).Difference(verdict),
        "");
    EXPECT_EQ(Prompt(), "31 32");
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories WWW.Games.example 1", "SCReleaseCategories"));
    processId = kNobody;
    EXPECT_FALSE(Answer("games.example", {kPublic}));
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
}

TEST_F(DnsMessages, WithoutTheFileNothingIsBlocked) {
    BlockGamesInDns();
    std::filesystem::remove(folder / "dnsblock.ini");
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Answer("games.example", {kPublic}));
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
}

TEST_F(DnsMessages, PrivateAndMissingAddressesAreAllowedAndNotLookedUp) {
    BlockGamesInDns();
    ASSERT_TRUE(Init());
    NewLines();
    ASSERT_TRUE(Answer("games.example", {kPublic, kPrivate}));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    ASSERT_TRUE(Answer("games.example", {}));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(DnsMessages, WhatIsNoResponseFailsWhateverItsKind) {
    MakeMalicious("bad.example", "Worm");
    ASSERT_TRUE(Init());
    remotePort = 53;
    for (const int any : {0, 1, 2, 3, 4, 255}) {
        kind = static_cast<std::uint8_t>(any);
        EXPECT_FALSE(Visit("bad.example", "/")) << any;
        EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
    }
    std::string message = DnsResponse("bad.example", {kPublic});
    message.resize(2047);
    EXPECT_TRUE(Ask(message));
    message.resize(2048);
    EXPECT_FALSE(Ask(message));
    message = DnsResponse("bad.example", {kPublic});
    message[2] = '\x80';
    message[3] = '\x00';
    EXPECT_FALSE(Ask(message)) << "no bit besides the response bit";
}

TEST_F(DnsMessages, AnAnswerNamesTheHelloToItsAddress) {
    MakeMalicious("bad.example", "Worm");
    const std::string ipv6("\x20\x01\x0D\xB8\0\0\0\0\0\0\0\0\0\0\0\x07", 16);
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Connect(kPublic));
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "") << "no name yet";
    ASSERT_TRUE(Answer("Bad.Example", {kPublic, ipv6, std::string("\xCB\x00\x71\x06", 4)}));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "a DNS message is never judged by the threat lists";
    ASSERT_TRUE(Connect(kPublic));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS)).ThreatName("Worm").ThreatUrl("bad.example").Difference(verdict),
        "");
    ASSERT_TRUE(Connect(std::string("\xCB\x00\x71\x06", 4)));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "IPv4 addresses are kept first";
    ASSERT_TRUE(Connect(ipv6));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "of three addresses two are kept";

    ASSERT_TRUE(Answer("v6.bad.example", {ipv6}));
    ASSERT_TRUE(Answer("bad.example", {ipv6}));
    ASSERT_TRUE(Connect(ipv6));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "the newest answer counts";
    ASSERT_TRUE(Answer("good.example", {kPublic}));
    ASSERT_TRUE(Connect(kPublic));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(DnsMessages, RestoredAnswersNameHellosToo) {
    MakeMalicious("bad.example", "Worm");
    DnsAnswerEntry entry{};
    entry.addressCount = 1;
    std::memcpy(entry.hostName, "bad.example", 11);
    entry.addresses[0] = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
    answers.dnsCache = {1, 1, &entry};
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Connect(kPublic));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    ASSERT_TRUE(Answer("other.example", {kPrivate}));
    Deinit();
    EXPECT_EQ(answers.savedDnsCount, 3000);
    EXPECT_EQ(answers.savedDnsIndex, 2);
    EXPECT_EQ(answers.savedDnsHasEntries, 1);
}

}  // namespace
}  // namespace tarn::system_test
