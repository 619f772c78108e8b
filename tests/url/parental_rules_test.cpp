#include <gtest/gtest.h>

#include "scan_fixture.h"
#include "tls_hello.h"

namespace tarn::url {
namespace {

// Mode with one entry per user.
constexpr std::uint8_t kPerUser = 2;

IpAddressRecord HostOrderIpv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
    return {TARN_FAMILY_IPV4, {d, c, b, a}};
}

class ParentalRules : public ScanFixture {
 protected:
    ProfileShape Blocking(const std::string& host, std::uint8_t sid = 1) {
        ProfileShape shape;
        shape.sid = sid;
        shape.sites = {{host, ""}};
        return shape;
    }
    void UserIs(std::uint8_t sid) { processes.user.sid = {sid}; }
};

TEST_F(ParentalRules, ABlockedSiteNamesTheUserAndTheSite) {
    TakeProfiles({Blocking("Games.Example")});
    EXPECT_TRUE(Get("www.games.example", "/chess"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_STREQ(verdict.text.url, "www.games.example/chess");
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptIs(31, 32));
    EXPECT_EQ(processes.asked, std::vector<std::uint32_t>{4711});
}

TEST_F(ParentalRules, SwitchesAndHostsDecideWhetherAProfileIsAsked) {
    ProfileShape off = Blocking("games.example");
    off.profileSwitch = false;
    TakeProfiles({off});
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));

    off = Blocking("games.example");
    off.blockListSwitch = 0;
    TakeProfiles({off});
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));

    off = Blocking("games.example");
    off.blockListSwitch = 2;  // on is whatever is not 0
    TakeProfiles({off});
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));

    off.sites.clear();
    TakeProfiles({off});
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, AFailedUserLookUpEndsTheProfilesAndTheScanGoesOn) {
    processes.userKnown = false;
    settings.apStatus = 1;
    PublishPhishing("games.example", true);
    for (const std::uint8_t mode : {std::uint8_t{TARN_PC_ONE_FOR_ALL}, kPerUser}) {
        TakeProfiles({Blocking("games.example"), Blocking("games.example")}, mode);
        processes.asked.clear();
        EXPECT_TRUE(Get("games.example", "/"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING)) << "the phishing list comes behind the profiles";
        EXPECT_EQ(processes.asked.size(), 1U);
    }
}

TEST_F(ParentalRules, WithOneEntryPerUserTheMatchMustBeTheUsersOwn) {
    TakeProfiles({Blocking("games.example", 1), Blocking("news.example", 2)}, kPerUser);
    UserIs(1);
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    UserIs(2);
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT))
        << "the user's profile lies further on and does not list the site";
    Get("news.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    UserIs(3);
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "nobody's profile";
}

TEST_F(ParentalRules, TheLoopJumpsToTheUsersProfile) {
    TakeProfiles({Blocking("games.example", 1), Blocking("games.example", 3), Blocking("games.example", 2)}, kPerUser);
    UserIs(2);
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_EQ(processes.asked.size(), 2U) << "the profile between is not tested";
}

TEST_F(ParentalRules, IdentifiersAreComparedOverAll68Bytes) {
    TakeProfiles({Blocking("games.example", 1)}, kPerUser);
    UserIs(1);
    processes.user.sid[67] = 9;
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, AProfileAddressBlocksATlsConnectionByItsText) {
    ProfileShape shape;
    shape.sites = {{"other.example", "", 1, 1, 0, {HostOrderIpv4(203, 0, 113, 5)}}};
    TakeProfiles({shape});
    kind = TARN_KIND_TLS;
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_STREQ(verdict.text.url, "shop.example");
}

TEST_F(ParentalRules, TheAllowedListNeedsModeOneAndComesBeforeTheBlockList) {
    ProfileShape shape = Blocking("games.example");
    shape.allowed = {"games.example"};
    TakeProfiles({shape});
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(processes.asked.empty());

    TakeProfiles({shape}, kPerUser);
    UserIs(1);
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(ParentalRules, TheAllowedListIsAskedByAddressTextForTls) {
    ProfileShape shape = Blocking("shop.example");
    shape.allowed = {"203.0.113.5"};
    TakeProfiles({shape});
    kind = TARN_KIND_TLS;
    Scan(TlsHello("shop.example"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    kind = TARN_KIND_HTTP;
    Get("shop.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(ParentalRules, OutsideTheScheduleASiteIsBlockedWithTheLocalTime) {
    TakeProfiles({ProfileShape{}}, kPerUser);
    allows.Write([](bool& flag) { flag = false; });
    EXPECT_TRUE(Get("news.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptIs(31, 32));
    EXPECT_EQ(std::memcmp(&verdict.localTime, &clock.time, sizeof clock.time), 0);
    EXPECT_EQ(static_cast<unsigned char>(verdict.text.url[0]), 0xCD) << "reason 5 carries no URL";
}

TEST_F(ParentalRules, OutsideTheScheduleARequestThatDoesNotParseIsBlockedToo) {
    TakeProfiles({ProfileShape{}});
    const std::string request = "HEAD / HTTP/1.1\r\nHost: news.example\r\n\r\n";
    EXPECT_TRUE(Scan(request));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    allows.Write([](bool& flag) { flag = false; });
    EXPECT_TRUE(Scan(request));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
}

TEST_F(ParentalRules, OutsideTheScheduleAHelloThatNobodyCanNameIsAllowed) {
    TakeProfiles({ProfileShape{}});
    allows.Write([](bool& flag) { flag = false; });
    kind = TARN_KIND_TLS;
    EXPECT_TRUE(Scan(TlsHello("news.example")));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
    EXPECT_TRUE(Scan(TlsHello("")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, OutsideTheScheduleAFailedUserLookUpLeavesTheNameEmpty) {
    TakeProfiles({ProfileShape{}});
    allows.Write([](bool& flag) { flag = false; });
    processes.userKnown = false;
    EXPECT_TRUE(Get("news.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
    EXPECT_EQ(UserName(), u"");
}

TEST_F(ParentalRules, TheScheduleTimeListAllowsAndTheTimeIsWrittenAllTheSame) {
    ProfileShape shape = Blocking("school.example");
    shape.scheduleAllowed = {"school.example", "203.0.113.5"};
    TakeProfiles({shape});
    allows.Write([](bool& flag) { flag = false; });
    EXPECT_TRUE(Get("school.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(std::memcmp(&verdict.localTime, &clock.time, sizeof clock.time), 0);
    EXPECT_TRUE(PromptUntouched());

    kind = TARN_KIND_TLS;
    EXPECT_TRUE(Scan(TlsHello("shop.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "by the address text";
}

TEST_F(ParentalRules, PathAndKindReachTheAllowedList) {
    ProfileShape shape = Blocking("site.example");
    shape.allowed = {{"site.example", "/open"}, {"secure.example", "", 2}};
    shape.sites.push_back({"secure.example", ""});
    TakeProfiles({shape});
    EXPECT_TRUE(Get("site.example", "/open/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(Get("site.example", "/closed"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_TRUE(Get("secure.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE)) << "an entry of kind 2 and a connection of kind 1";
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_TRUE(Get("secure.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    kind = TARN_KIND_TLS;
    EXPECT_TRUE(Scan(TlsHello("secure.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, PathAndKindReachTheScheduleTimeList) {
    ProfileShape shape;
    shape.scheduleAllowed = {{"site.example", "/open"}, {"secure.example", "", 2}};
    TakeProfiles({shape});
    allows.Write([](bool& flag) { flag = false; });
    EXPECT_TRUE(Get("site.example", "/open"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_TRUE(Get("site.example", "/closed"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
    EXPECT_TRUE(Get("secure.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
    kind = TARN_KIND_TLS;
    EXPECT_TRUE(Scan(TlsHello("secure.example")));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, WithoutAProfileTheScheduleIsNotAsked) {
    allows.Write([](bool& flag) { flag = false; });
    EXPECT_TRUE(Get("news.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, TheAllowedListComesBeforeTheScheduleAndTheScheduleBeforeTheVideoException) {
    ProfileShape shape;
    shape.allowed = {"good.example"};
    TakeProfiles({shape});
    allows.Write([](bool& flag) { flag = false; });
    settings.agentStatus = 1;
    Get("good.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    Get("www.youtube.com", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_SCHEDULE));
}

TEST_F(ParentalRules, TheVideoExceptionComesBeforeTheBlockLists) {
    TakeProfiles({Blocking("YouTube.com")});
    Get("www.youtube.com", "/watch");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
    settings.agentStatus = 1;
    Get("www.YouTube.com", "/watch");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, TheBlockListsComeBeforeThePrivateAddresses) {
    TakeProfiles({Blocking("games.example")});
    remote.bytes[0] = 10;
    Get("games.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(ParentalRules, ABlockedCategoryCarriesIdNameAndUser) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {2, 3, 41, 7};
    TakeProfiles({shape});
    script.categories = {2, 5, 41};
    EXPECT_TRUE(Get("six.example", "/Path"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_CATEGORY));
    EXPECT_EQ(verdict.categoryId, 41U);
    std::array<char16_t, 100> name;
    std::memcpy(name.data(), verdict.categoryName, sizeof verdict.categoryName);
    EXPECT_EQ(base::FieldText(name), u"name");
    EXPECT_STREQ(verdict.text.url, "six.example/Path");
    EXPECT_EQ(UserName(), u"Kim");
    EXPECT_TRUE(PromptIs(31, 32));
}

TEST_F(ParentalRules, ABlockedCategoryStandsWithEmptyTextsWhenLookUpsFail) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {41};
    TakeProfiles({shape});
    script.categories = {41};
    script.nameAnswer = false;
    processes.userKnown = false;
    EXPECT_TRUE(Get("six.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PARENTAL_CATEGORY));
    EXPECT_EQ(verdict.categoryName[0], u'\0');
    EXPECT_EQ(UserName(), u"");
}

TEST_F(ParentalRules, CategoriesTwoAndThreeAreNeverParental) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {2, 3};
    TakeProfiles({shape});
    script.categories = {2, 3};
    EXPECT_TRUE(Get("six.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, ParentalCategoriesNeedBothSwitchesAndTheConsideredPart) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {41};
    shape.profileSwitch = false;
    TakeProfiles({shape});
    script.categories = {41};
    Get("six.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));

    shape.profileSwitch = true;
    strictness = 3;
    TakeProfiles({shape});
    script.categories = {9, 41};
    Get("six.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "strictness 3 considers one category";

    shape.categorySwitch = 0;
    settings.bpStatus = 1;
    strictness = 0;
    TakeProfiles({shape});
    Get("six.example", "/");
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ParentalRules, ADangerousCategoryComesBeforeAParentalOne) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {41};
    TakeProfiles({shape});
    settings.apStatus = 1;
    script.categories = {41, 3};
    Get("six.example", "/");
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
}

}  // namespace
}  // namespace tarn::url
