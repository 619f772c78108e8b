// Every reason of WSScanUrl through the built library: the whole verdict record, the prompt bytes and what the modules
// were asked.
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/scan_fixture_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAreArray;
using url::ProfileShape;
using url::TlsHello;
using Lines = std::vector<std::string>;

struct ReasonCase {
    const char* name;
    std::function<void(ScanRecords&)> arrange;
    std::uint8_t kind;
    std::string data;
    bool result;
    ExpectedVerdict expected;
    std::string prompt;
    Lines asked{};  // the modules' journal of the one scan
};

std::string Request(const std::string& host, const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
}

ProfileShape Blocking(const std::string& host) {
    ProfileShape shape;
    shape.sites = {{host, ""}};
    return shape;
}

ProfileShape BlockingCategory(std::uint16_t category) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {category};
    return shape;
}

// The conditions of a look-up: a first profile and a feature that is on.
void LookUp(ScanRecords& scan, const std::vector<std::uint16_t>& categories, bool browsing, bool phishing) {
    scan.TakeProfiles({ProfileShape{}});
    scan.Categorise(categories);
    scan.answers.bpStatus = browsing ? 1 : 0;
    scan.answers.apStatus = phishing ? 1 : 0;
}

const std::string kUntouched = "205 205";
const std::string kAddressNumber = std::to_string(203U | (113U << 16) | (5U << 24));
const std::string kPortNumber = std::to_string(80 << 8);

std::vector<ReasonCase> ReasonCases() {
    const std::u16string user = OwnName();
    const auto nothing = [](ScanRecords&) {};
    const std::string hello = TlsHello("shop.example");
    const std::string inspected = "TiScanHttpsPacket " + std::to_string(GetCurrentProcessId()) + " shop.example " +
                                  kAddressNumber + " " + kPortNumber + " " + std::to_string(hello.size());
    const std::string mail = "a.example:8080/Path/x";
    return {
        {"Default", nothing, TARN_KIND_HTTP, Request("a.example", "/x"), true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"DefaultOfAnUnknownKind", [](ScanRecords& s) { s.MakeMalicious("a.example", "Worm"); }, 5,
         Request("a.example", "/x"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"ParentalSite", [](ScanRecords& s) { s.TakeProfiles({Blocking("Games.example")}); }, TARN_KIND_HTTP,
         Request("WWW.games.example:81", "//Chess/x?y"), true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("www.games.example/chess/x").User(user), "31 32"},
        {"ParentalSiteOfTheUsersOwnProfile",
         [](ScanRecords& s) {
             ProfileShape own = Blocking("games.example");
             own.sid = 0;
             s.TakeProfiles({Blocking("games.example"), own}, 2);
         },
         TARN_KIND_HTTP, Request("games.example", "/"), true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("games.example").User(user), "31 32"},
        {"ParentalSiteOfAnotherUser", [](ScanRecords& s) { s.TakeProfiles({Blocking("games.example")}, 2); },
         TARN_KIND_HTTP, Request("games.example", "/"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"ParentalSiteOfNobody",
         [](ScanRecords& s) {
             s.processId = kNobody;
             s.TakeProfiles({Blocking("games.example")});
         },
         TARN_KIND_HTTP, Request("games.example", "/"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"Schedule",
         [](ScanRecords& s) {
             s.TakeProfiles({ProfileShape{}});
             s.Schedule({});
         },
         TARN_KIND_HTTP, Request("a.example", "/"), true,
         ExpectedVerdict(Blocks(TARN_REASON_SCHEDULE)).User(user).AnyTime(), "31 32"},
        {"ScheduleOfNobody",
         [](ScanRecords& s) {
             s.processId = kNobody;
             s.TakeProfiles({ProfileShape{}});
             s.Schedule({});
         },
         TARN_KIND_HTTP, Request("a.example", "/"), true,
         ExpectedVerdict(Blocks(TARN_REASON_SCHEDULE)).User(u"").AnyTime(), "31 32"},
        {"ScheduleTimeList",
         [](ScanRecords& s) {
             ProfileShape shape;
             shape.scheduleAllowed = {"a.example"};
             s.TakeProfiles({shape});
             s.Schedule({});
         },
         TARN_KIND_HTTP, Request("a.example", "/"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).AnyTime(),
         kUntouched},
        {"MaliciousWhiteListed",
         [](ScanRecords& s) {
             s.MakeMalicious("a.example", "Worm");
             s.LetUserAllow("A.example/ok/");
         },
         TARN_KIND_HTTP, Request("a.example", "/OK/x"), true,
         ExpectedVerdict(Allows(TARN_REASON_MALICIOUS_WHITE_LISTED)).ThreatName("Worm").ThreatUrl("a.example/ok/x"),
         "3 4"},
        {"Phishing", [](ScanRecords& s) { s.MakePhishing("a.example"); }, TARN_KIND_HTTP_SECURE,
         Request("A.example", "/Login"), true, ExpectedVerdict(Blocks(TARN_REASON_PHISHING)).Url("a.example/login"),
         "5 6"},
        {"PhishingWhiteListed",
         [](ScanRecords& s) {
             s.MakePhishing("a.example");
             s.LetUserAllow("a.example");
         },
         TARN_KIND_HTTP, Request("a.example", "/login"), true,
         ExpectedVerdict(Allows(TARN_REASON_PHISHING_WHITE_LISTED)).Url("a.example/login"), "5 6"},
        {"HttpsInspection",
         [](ScanRecords& s) { s.answers.httpsBlock = 1; },
         TARN_KIND_TLS,
         hello,
         true,
         ExpectedVerdict(Blocks(TARN_REASON_HTTPS_INSPECTION)).Url("shop.example").User(user),
         kUntouched,
         {inspected}},
        {"HttpsInspectionPasses",
         nothing,
         TARN_KIND_TLS,
         hello,
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {inspected}},
        {"HttpsInspectionFails",
         [](ScanRecords& s) {
             s.answers.httpsBlock = 1;
             ScriptSetResult("TiScanHttpsPacket", 0);
         },
         TARN_KIND_TLS,
         hello,
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {inspected}},
        {"HttpsInspectionOfNobody",
         [](ScanRecords& s) {
             s.answers.httpsBlock = 1;
             s.processId = kNobody;
         },
         TARN_KIND_TLS,
         hello,
         false,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {"TiScanHttpsPacket " + std::to_string(kNobody) + " shop.example " + kAddressNumber + " " + kPortNumber + " " +
          std::to_string(hello.size())}},
        {"HttpsInspectionIsNotLoaded",
         [](ScanRecords& s) {
             s.answers.httpsBlock = 1;
             ScriptSetResult("IntializeSSL", 0);
         },
         TARN_KIND_TLS, hello, true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"MaliciousCategoryWhiteListed",
         [](ScanRecords& s) {
             LookUp(s, {9, 2}, true, false);
             s.LetUserAllow("a.example/path");
         },
         TARN_KIND_HTTP,
         Request("a.example:8080", "/Path/x"),
         true,
         ExpectedVerdict(Allows(TARN_REASON_MALICIOUS_WHITE_LISTED)).ThreatUrl(mail),
         "3 4",
         {"SCGetURLCategories " + mail + " 0", "SCReleaseCategories"}},
        {"MaliciousCategoryOfTheInternalList",
         [](ScanRecords& s) {
             LookUp(s, {2}, true, false);
             s.LetBrowsingProtectionAllow("*.example/path");
         },
         TARN_KIND_HTTP,
         Request("a.example:8080", "/Path/x"),
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {"SCGetURLCategories " + mail + " 0", "SCReleaseCategories"}},
        {"PhishingCategory",
         [](ScanRecords& s) {
             LookUp(s, {9, 3}, false, true);
         },
         TARN_KIND_TLS,
         TlsHello("Shop.example"),
         true,
         ExpectedVerdict(Blocks(TARN_REASON_PHISHING)).Url("https://shop.example"),
         "5 6",
         {inspected, "SCGetURLCategories https://shop.example 0", "SCReleaseCategories"}},
        {"PhishingCategoryWhiteListed",
         [](ScanRecords& s) {
             LookUp(s, {3}, true, true);
             s.LetUserAllow("a.example");
         },
         TARN_KIND_HTTP,
         Request("a.example:8080", "/Path/x"),
         true,
         ExpectedVerdict(Allows(TARN_REASON_PHISHING_WHITE_LISTED)).Url(mail),
         "5 6",
         {"SCGetURLCategories " + mail + " 0", "SCReleaseCategories"}},
        {"ParentalCategory",
         [](ScanRecords& s) {
             s.TakeProfiles({BlockingCategory(41)});
             s.Categorise({9, 41});
         },
         TARN_KIND_HTTP,
         Request("a.example:8080", "/Path/x"),
         true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_CATEGORY)).Url(mail).Category(41, u"Scripted").User(user),
         "31 32",
         {"SCGetURLCategories " + mail + " 0", "SCGetCategoryName 41 100", "SCReleaseCategories"}},
        {"ParentalCategoryWithoutNames",
         [](ScanRecords& s) {
             s.TakeProfiles({BlockingCategory(41)});
             s.Categorise({41});
             s.processId = kNobody;
             ScriptSetResult("SCGetCategoryName", 0);
         },
         TARN_KIND_FTP,
         "RETR Pub/x\r\n",
         true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_CATEGORY)).Url("203.0.113.5/Pub/x").Category(41, u"").User(u""),
         "31 32",
         {"SCGetURLCategories ftp://203.0.113.5/Pub/x 0", "SCGetCategoryName 41 100", "SCReleaseCategories"}},
        {"CategoriesThatNobodyBlocks",
         [](ScanRecords& s) {
             LookUp(s, {9, 41}, true, true);
         },
         TARN_KIND_HTTP,
         Request("a.example", "/x"),
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {"SCGetURLCategories a.example/x 0", "SCReleaseCategories"}},
        {"FailedLookUpWithAnArray",
         [](ScanRecords& s) {
             LookUp(s, {2}, true, true);
             ScriptSetResult("SCGetURLCategories", 0);
         },
         TARN_KIND_HTTP,
         Request("a.example", "/x"),
         false,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {"SCGetURLCategories a.example/x 0", "SCReleaseCategories"}},
        {"LiteralsAreNotLookedUp", [](ScanRecords& s) { LookUp(s, {2}, true, true); }, TARN_KIND_HTTP,
         Request("[2001:db8::1]:80", "/x"), false, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"PatternWhiteListed",
         [](ScanRecords& s) {
             LookUp(s, {}, true, false);
             s.answers.malicious = 1;
             s.LetBrowsingProtectionAllow("a.example");
         },
         TARN_KIND_HTTP,
         Request("a.example", "/X"),
         true,
         ExpectedVerdict(Allows(TARN_REASON_MALICIOUS_WHITE_LISTED))
             .ThreatName("Malicious Url")
             .ThreatUrl("a.example/x"),
         "3 4",
         {"SCGetURLCategories a.example/X 0", "WSCheckURLMaliciousPattern 1 a.example /x " + kPortNumber}},
        {"StopByte",
         [](ScanRecords& s) {
             LookUp(s, {2}, true, true);
             s.stop = 1;
         },
         TARN_KIND_HTTP, Request("a.example", "/x"), true, ExpectedVerdict(StopsBeforeCategories()), kUntouched},
        {"PrivateAddress",
         [](ScanRecords& s) {
             s.MakeMalicious("10.1.2.3", "Worm");
             s.remote = {TARN_FAMILY_IPV4, {10, 1, 2, 3}};
         },
         TARN_KIND_FTP, "RETR x\r\n", true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"VideoSharing",
         [](ScanRecords& s) {
             s.TakeProfiles({Blocking("youtube.com")});
             s.answers.agentStatus = 1;
         },
         TARN_KIND_HTTP, Request("www.YouTube.com", "/"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched},
        {"AllowedList",
         [](ScanRecords& s) {
             ProfileShape shape = Blocking("games.example");
             shape.allowed = {"games.example"};
             s.TakeProfiles({shape});
         },
         TARN_KIND_HTTP, Request("www.games.example", "/"), true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched},
    };
}

class Reasons : public ScanRecords {};

TEST_F(Reasons, EveryVerdictIsAsExpected) {
    for (const ReasonCase& expected : ReasonCases()) {
        SCOPED_TRACE(expected.name);
        StartAnew();
        expected.arrange(*this);
        ASSERT_TRUE(Init());
        const std::size_t before = Journal().size();
        kind = expected.kind;
        EXPECT_EQ(Ask(expected.data), expected.result);
        EXPECT_EQ(expected.expected.Difference(verdict), "");
        EXPECT_EQ(Prompt(), expected.prompt);
        Lines asked = Journal();
        asked.erase(asked.begin(), asked.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_THAT(asked, ElementsAreArray(expected.asked));
        EXPECT_EQ(answers.unreleasedCategories, 0);
    }
}

class BlockedAddresses : public ScanRecords {};

TEST_F(BlockedAddresses, BlockWithHostAndPathInTheirOwnAreas) {
    answers.idsIpsStatus.enabled = 1;
    ASSERT_TRUE(Init());
    BlockAddress("WWW.Bad.Example", "www.bad.example//Path?q=1 HTTP/1.1");
    BlockAddress("root.example", "/");
    ASSERT_TRUE(Visit("bad.example:8080", "/PATH/"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_IDS_BLOCKED)).Blocked("bad.example", "/path/").Difference(verdict),
              "");
    EXPECT_EQ(Prompt(), kPromptUntouched);
    ASSERT_TRUE(Visit("bad.example", "/path/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "host and path are blocked together";
    ASSERT_TRUE(Visit("root.example", "/"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_IDS_BLOCKED)).Blocked("root.example", "").Difference(verdict), "");

    EXPECT_EQ(tarn.WSAddURLToIDSBlockedList(nullptr), 0);
    BlockAddress("", "/everything");
    ASSERT_TRUE(Visit("other.example", "/everything"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "an empty host blocks nothing";
}

TEST_F(BlockedAddresses, AreAskedOnlyWhileTheFeatureIsOnAndForgottenAtTheNextStart) {
    ASSERT_TRUE(Init());
    BlockAddress("bad.example", "/x");
    ASSERT_TRUE(Visit("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    answers.idsIpsStatus.enabled = 1;
    ASSERT_EQ(tarn.WSSettingsChanged(TARN_SETTINGS_IDS_STATUS, 0, 0, 0), 1U);
    ASSERT_TRUE(Visit("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_IDS_BLOCKED)) << "blocked while the feature was off";
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Visit("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

}  // namespace
}  // namespace tarn::system_test
