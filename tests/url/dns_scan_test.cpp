#include <gtest/gtest.h>

#include "dns_message.h"
#include "scan_fixture.h"

namespace tarn::url {
namespace {

const std::string kPublic("\xCB\x00\x71\x09", 4);
const std::string kPrivate("\x0A\x01\x02\x03", 4);

class DnsScan : public ScanFixture {
 protected:
    DnsScan() { port = 53; }

    void BlockGames() {
        ProfileShape shape;
        shape.sites = {{"games.example", ""}};
        TakeProfiles({shape});
        dnsBlockSwitch = 1;
    }
    std::string HostOf(const std::string& address) {
        IpAddressRecord record{};
        record.family = address.size() == 4 ? TARN_FAMILY_IPV4 : TARN_FAMILY_IPV6;
        std::memcpy(record.bytes, address.data(), address.size());
        char host[260] = "";
        return dnsRing.FindHostByAddress(record, host, sizeof host) ? host : "";
    }
};

TEST_F(DnsScan, AMessageThatDoesNotParseFailsTheScan) {
    EXPECT_FALSE(Scan("twelve bytes"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_FALSE(Scan("thirteen byte"));
    EXPECT_FALSE(Scan(std::string(2048, 'x')));
}

TEST_F(DnsScan, AnswersAreRememberedByTheirFirstTwoAddresses) {
    EXPECT_TRUE(
        Scan(DnsResponse("News.example", {kPublic, std::string(16, '\x20'), std::string("\xCB\0\x71\x0A", 4)})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(HostOf(kPublic), "News.example");
    EXPECT_EQ(HostOf(std::string("\xCB\0\x71\x0A", 4)), "News.example");
    EXPECT_EQ(HostOf(std::string(16, '\x20')), "") << "the third address is counted, not kept";
}

TEST_F(DnsScan, WithoutAddressesNothingIsStoredOrAsked) {
    BlockGames();
    EXPECT_TRUE(Scan(DnsResponse("games.example", {})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(script.journal.empty());
    EXPECT_EQ(dnsRing.Saved().writeIndex, 0);
}

TEST_F(DnsScan, APrivateAnswerIsAllowedEvenWhenBlockingIsOn) {
    BlockGames();
    EXPECT_TRUE(Scan(DnsResponse("games.example", {kPublic, kPrivate})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(HostOf(kPrivate), "games.example") << "stored all the same";
    EXPECT_TRUE(script.journal.empty());
}

TEST_F(DnsScan, CategoriesAreFetchedAheadAndDecideNothing) {
    script.categories = {2, 3};
    settings.bpStatus = settings.apStatus = 1;
    LookUpCategories();
    EXPECT_TRUE(Scan(DnsResponse("News.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(script.journal, (std::vector<std::string>{"categories News.example mode 1", "release"}));

    script.journal.clear();
    kind = TARN_KIND_FTP;
    EXPECT_TRUE(Scan(DnsResponse("news.example", {kPublic})));
    EXPECT_EQ(script.journal.front(), "categories ftp://news.example mode 1");
}

TEST_F(DnsScan, AFailingFetchOfCategoriesDecidesNothing) {
    script.categoriesAnswer = false;
    script.categories = {2};  // handed over all the same, and released
    EXPECT_TRUE(Scan(DnsResponse("news.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(script.journal, (std::vector<std::string>{"categories news.example mode 1", "release"}));
    BlockGames();
    EXPECT_TRUE(Scan(DnsResponse("games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(DnsScan, NoCategoriesForALiteralOrWithoutTheModule) {
    EXPECT_TRUE(Scan(DnsResponse("[x", {kPublic})));
    companions.categorisation = {};
    EXPECT_TRUE(Scan(DnsResponse("news.example", {kPublic})));
    EXPECT_TRUE(script.journal.empty());
}

TEST_F(DnsScan, ABlockedNameIsShownAsDecodedAndJudgedInLowerCase) {
    BlockGames();
    EXPECT_TRUE(Scan(DnsResponse("WWW.Games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_STREQ(verdict.text.url, "WWW.Games.example");
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptIs(31, 32));
    EXPECT_FALSE(script.journal.empty()) << "the categories are fetched before";
}

TEST_F(DnsScan, BlockingNeedsItsSwitchAProfileAndTheUser) {
    BlockGames();
    dnsBlockSwitch = 0;
    EXPECT_TRUE(Scan(DnsResponse("games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));

    dnsBlockSwitch = 7;
    processes.userKnown = false;
    EXPECT_FALSE(Scan(DnsResponse("games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));

    processes.userKnown = true;
    TakeProfiles({});
    EXPECT_TRUE(Scan(DnsResponse("games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(DnsScan, AnyProfileOpensTheBranchTheFirstOnesTablesDecide) {
    ProfileShape first;
    first.profileSwitch = false;
    first.sites = {{"games.example", ""}};
    ProfileShape second;
    second.sites = {{"news.example", ""}};
    TakeProfiles({first, second}, 2);
    dnsBlockSwitch = 1;
    EXPECT_TRUE(Scan(DnsResponse("games.example", {kPublic})));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_TRUE(Scan(DnsResponse("news.example", {kPublic})));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(DnsScan, EveryKindIsADnsMessageOnPort53) {
    for (const int any : {0, 1, 2, 3, 4, 200}) {
        kind = static_cast<std::uint8_t>(any);
        EXPECT_TRUE(Scan(DnsResponse("news.example", {kPublic})));
        EXPECT_FALSE(Scan("GET / HTTP/1.1\r\nHost: news.example\r\n\r\n")) << any;
    }
}

}  // namespace
}  // namespace tarn::url
