// Single rules of WSWebExtScanUrl through the built library: the mode and the address that its lists are asked with,
// the switches that it asks and those that it does not, the pattern matcher's answers.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/site_records_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using url::ProfileShape;
using url::ProfileSite;

class ExtensionRules : public SiteRecords {
 protected:
    UrlDecision VerdictOfUrl(const std::string& url) {
        std::string text = url;
        ScanRequest request;
        std::memset(static_cast<void*>(&request), kCallersByte, sizeof request);
        request.data = reinterpret_cast<std::uint8_t*>(text.data());
        request.kind = TARN_KIND_TLS;
        std::memset(static_cast<void*>(&verdict), kCallersByte, sizeof verdict);
        prompt = {kCallersByte, kCallersByte};
        EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, &prompt), 1) << url;
        return Verdict();
    }
    static ProfileShape Blocking(std::vector<ProfileSite> sites) {
        ProfileShape shape;
        shape.sites = std::move(sites);
        return shape;
    }
    static ProfileShape BlockingCategory(std::uint16_t category) {
        ProfileShape shape;
        shape.categorySwitch = 1;
        shape.blockedCategories = {category};
        return shape;
    }
};

TEST_F(ExtensionRules, WithoutTheCategorySwitchNoCategoryIsBlocked) {
    ProfileShape shape = BlockingCategory(41);
    TakeProfiles({shape});
    Categorise({9, 41});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Blocks(TARN_REASON_PARENTAL_CATEGORY));
    shape.categorySwitch = 0;
    TakeProfiles({shape});
    answers.bpStatus = 1;  // the look-up is made
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories https://a.example/x 0",
                                        "WSCheckURLMaliciousPattern 3 a.example x 0", "SCReleaseCategories"));
}

TEST_F(ExtensionRules, TheBlockListIsAskedAsForASecureConnection) {
    TakeProfiles(
        {Blocking({{"secure.example", "", 0, 2}, {"parts.example", "/part", 0, 1}, {"parts.example/", "part"}})});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://secure.example/x"), Blocks(TARN_REASON_PARENTAL_SITE))
        << "kind 2 is the whole site of secure connections";
    EXPECT_THAT(VerdictOfUrl("https://parts.example/part"), Allows(TARN_REASON_DEFAULT))
        << "no path of a site is tested for them";
}

TEST_F(ExtensionRules, TheAllowedListIsAskedAsForASecureConnectionWithAPathWithoutItsSlash) {
    TakeProfiles({Blocking({{"games.example", ""}})});
    const auto allow = [&](const UserUrl& url) {
        answers.pcSettings.entries[0].allowedSites = UserList({url});
        ASSERT_TRUE(Init());
    };
    allow({"games.example", "", 1, 2});
    EXPECT_THAT(VerdictOfUrl("https://games.example/x"), Allows(TARN_REASON_DEFAULT))
        << "kind 2 is for secure connections";
    allow({"games.example", "ok", 0});
    EXPECT_THAT(VerdictOfUrl("https://games.example/ok/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOfUrl("https://games.example/okay"), Blocks(TARN_REASON_PARENTAL_SITE));
    allow({"games.example", "/ok", 0});
    EXPECT_THAT(VerdictOfUrl("https://games.example/ok/x"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOfUrl("https://games.example//ok/x"), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ExtensionRules, TheProfileSwitchIsNotAsked) {
    ProfileShape shape = BlockingCategory(41);
    shape.sites = {{"games.example", ""}};
    shape.profileSwitch = false;
    TakeProfiles({shape});
    Categorise({41});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://games.example/x"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Blocks(TARN_REASON_PARENTAL_CATEGORY));
    EXPECT_THAT(VerdictOf("games.example", "/x"), Allows(TARN_REASON_DEFAULT)) << "as the other scan does";
}

TEST_F(ExtensionRules, TheBlockListIsAskedInTheLetterCaseOfTheUrl) {
    TakeProfiles({Blocking({{"games.example", ""}})});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://games.example/"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOfUrl("https://Games.example/"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOfUrl("https://WWW.games.example/"), Allows(TARN_REASON_DEFAULT));
    answers.pcSettings.entries[0].allowedSites = UserList({{"games.EXAMPLE"}});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://Games.example/"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOfUrl("https://games.example/"), Allows(TARN_REASON_DEFAULT))
        << "the allowed list knows no letter case";
}

TEST_F(ExtensionRules, APatternMatcherThatIsMissingOrFailsFindsNothing) {
    TakeProfiles({BlockingCategory(7)});
    Categorise({9});
    answers.bpStatus = 1;
    answers.malicious = 1;
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Blocks(TARN_REASON_MALICIOUS));
    ScriptSetResult("WSCheckURLMaliciousPattern", 0);
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Allows(TARN_REASON_DEFAULT))
        << "a false answer, though the flag was set";
    ScriptSetResult("WSCheckURLMaliciousPattern", 1);
    ScriptSetResult("WSInitUrlsig", 0);
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_THAT(VerdictOfUrl("https://a.example/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories https://a.example/x 0", "SCReleaseCategories"));
}

TEST_F(ExtensionRules, AnIpLiteralIsAskedWithTheAddressOfZeros) {
    // The rules hold IPv4 addresses as numbers in host order.
    TakeProfiles({Blocking({{"zero.example", "", 1, 1, 0, {{TARN_FAMILY_IPV4, {}}}}})});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://203.0.113.5/"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOfUrl("https://2001:db8::1/"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_THAT(VerdictOfUrl("https://a.example/"), Allows(TARN_REASON_DEFAULT)) << "a name is not an address";
    TakeProfiles({Blocking({{"zero.example", "", 1, 1, 0, {{TARN_FAMILY_IPV6, {}}}}})});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://203.0.113.5/"), Allows(TARN_REASON_DEFAULT)) << "zeros of the other family";
    TakeProfiles({Blocking({{"some.example", "", 1, 1, 0, {{TARN_FAMILY_IPV4, {6, 113, 0, 203}}}}})});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOfUrl("https://203.0.113.5/"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOfUrl("https://203.0.113.6/"), Blocks(TARN_REASON_PARENTAL_SITE)) << "by its text";
}

}  // namespace
}  // namespace tarn::system_test
