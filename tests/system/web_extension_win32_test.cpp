// WSWebExtScanUrl and WSGetUrlScanFeatureStatus of the built library: bad input, bounds, every verdict byte for byte.
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/guarded_block_win32.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAreArray;
using url::ProfileShape;
using Lines = std::vector<std::string>;

const std::string kUntouched = "205 205";

class ExtensionRecords : public ScanRecords {
 public:
    ExtensionRecords() { kind = TARN_KIND_TLS; }
    std::uint8_t Hand(std::uint8_t* data) {
        ScanRequest request;
        std::memset(static_cast<void*>(&request), kCallersByte, sizeof request);
        request.data = data;
        request.kind = kind;
        std::memset(static_cast<void*>(&verdict), kCallersByte, sizeof verdict);
        prompt = {kCallersByte, kCallersByte};
        return tarn.WSWebExtScanUrl(&request, &verdict, &prompt);
    }
    bool Report(const std::string& url) { return Hand(memory_.Place({url.c_str(), url.size() + 1}, 0)) == 1; }
    bool ReportWithoutEnd(const std::string& url) { return Hand(memory_.Place(url, 0)) == 1; }

 private:
    GuardedBlock memory_;
};

struct ExtensionCase {
    const char* name;
    std::function<void(ExtensionRecords&)> arrange;
    std::string url;
    bool result;
    ExpectedVerdict expected;
    std::string prompt;
    Lines asked{};
};

// A first profile whose category switch is on, and what every site is.
void LookUp(ExtensionRecords& scan, const std::vector<std::uint16_t>& categories, bool browsing, bool phishing) {
    ProfileShape shape;
    shape.categorySwitch = 1;
    shape.blockedCategories = {2, 3, 41};
    scan.TakeProfiles({shape});
    scan.Categorise(categories);
    scan.answers.bpStatus = browsing ? 1 : 0;
    scan.answers.apStatus = phishing ? 1 : 0;
}

const std::string kUrl = "https://Bad.example:444/A/b?c#d";
const std::string kAsked = "SCGetURLCategories " + kUrl + " 0";

std::vector<ExtensionCase> ExtensionCases() {
    const auto blockGames = [](ExtensionRecords& s) {
        ProfileShape shape;
        shape.sites = {{"games.example", ""}, {"x", ""}};
        s.TakeProfiles({shape});
    };
    return {
        {"ParentalControlAbsent", [](ExtensionRecords&) {}, kUrl, false, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched},
        {"NoScheme", [](ExtensionRecords& s) { LookUp(s, {2}, true, true); }, "Bad.example/A", false,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"ParentalSite", blockGames, "https://www.games.example/x", true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("w.games.example").User(OwnName()), "31 32"},
        {"ParentalSiteOfOneCharacter", blockGames, "https://x", true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("").User(OwnName()), "31 32"},
        {"AllowedList",
         [](ExtensionRecords& s) {
             ProfileShape shape;
             shape.sites = {{"games.example", ""}};
             shape.allowed = {"games.example"};
             s.TakeProfiles({shape});
         },
         "https://games.example/x", true, ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"NoFeature", [](ExtensionRecords& s) { s.TakeProfiles({ProfileShape{}}); }, kUrl, true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
        {"NoCategory",
         [](ExtensionRecords& s) {
             LookUp(s, {}, true, true);
             s.answers.malicious = 1;
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {kAsked}},
        {"MaliciousCategory",
         [](ExtensionRecords& s) {
             LookUp(s, {3, 2, 41}, true, true);
         },
         kUrl,
         true,
         ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS_CATEGORY)).ThreatUrl(kUrl),
         "3 4",
         {kAsked, "SCReleaseCategories"}},
        {"MaliciousCategoryWhiteListed",
         [](ExtensionRecords& s) {
             LookUp(s, {2}, true, true);
             s.LetUserAllow("bad.example:444/a");
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_MALICIOUS_WHITE_LISTED)).ThreatUrl(kUrl),
         "3 4",
         {kAsked, "SCReleaseCategories"}},
        {"PhishingCategory",
         [](ExtensionRecords& s) {
             LookUp(s, {3, 41}, true, true);
         },
         kUrl,
         true,
         ExpectedVerdict(Blocks(TARN_REASON_PHISHING)).Url(kUrl),
         "5 6",
         {kAsked, "SCReleaseCategories"}},
        {"PhishingCategoryWhiteListed",
         [](ExtensionRecords& s) {
             LookUp(s, {3}, true, true);
             s.LetUserAllow("bad.example:444");
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_PHISHING_WHITE_LISTED)).Url(kUrl),
         "5 6",
         {kAsked, "SCReleaseCategories"}},
        {"Pattern",
         [](ExtensionRecords& s) {
             LookUp(s, {41}, true, true);
             s.answers.malicious = 1;
         },
         kUrl,
         true,
         ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS))
             .ThreatName("Malicious Url")
             .ThreatUrl("Bad.example:444/A/b?c#d"),
         "3 4",
         {kAsked, "WSCheckURLMaliciousPattern 3 Bad.example:444 A/b?c#d 0", "SCReleaseCategories"}},
        {"PatternWhiteListed",
         [](ExtensionRecords& s) {
             LookUp(s, {41}, true, false);
             s.answers.malicious = 1;
             s.LetUserAllow("bad.example:444/a");
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_MALICIOUS_WHITE_LISTED))
             .ThreatName("Malicious Url")
             .ThreatUrl("Bad.example:444/A/b?c#d"),
         "3 4",
         {kAsked, "WSCheckURLMaliciousPattern 3 Bad.example:444 A/b?c#d 0", "SCReleaseCategories"}},
        {"PatternOfAHostWithoutPath",
         [](ExtensionRecords& s) {
             LookUp(s, {9}, true, false);
             s.answers.malicious = 1;
         },
         "https://example.org",
         true,
         ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS)).ThreatName("Malicious Url").ThreatUrl("example.org"),
         "3 4",
         {"SCGetURLCategories https://example.org 0", "WSCheckURLMaliciousPattern 3 example.org  0",
          "SCReleaseCategories"}},
        {"InternalList",
         [](ExtensionRecords& s) {
             LookUp(s, {2}, true, true);
             s.LetBrowsingProtectionAllow("*.example:444/a");
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {kAsked, "SCReleaseCategories"}},
        {"ParentalCategory",
         [](ExtensionRecords& s) {
             LookUp(s, {2, 3, 41}, false, false);
         },
         kUrl,
         true,
         ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_CATEGORY)).Url(kUrl).Category(41, u"Scripted").User(u""),
         "31 32",
         {kAsked, "SCGetCategoryName 41 100", "SCReleaseCategories"}},
        {"ParentalCategoryPastTheStrictness",
         [](ExtensionRecords& s) {
             LookUp(s, {9, 41}, false, false);
             s.answers.pcSettings.strictness = 3;
         },
         kUrl,
         true,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {kAsked, "SCReleaseCategories"}},
        {"FailedLookUp",
         [](ExtensionRecords& s) {
             LookUp(s, {2}, true, true);
             ScriptSetResult("SCGetURLCategories", 0);
         },
         kUrl,
         false,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)),
         kUntouched,
         {kAsked, "SCReleaseCategories"}},
        {"ALiteralAsUrl", [](ExtensionRecords& s) { LookUp(s, {2}, true, true); }, "[::1]://x/", false,
         ExpectedVerdict(Allows(TARN_REASON_DEFAULT)), kUntouched},
    };
}

class Extension : public ExtensionRecords {};

TEST_F(Extension, EveryVerdictIsAsExpected) {
    for (const ExtensionCase& expected : ExtensionCases()) {
        SCOPED_TRACE(expected.name);
        StartAnew();
        kind = TARN_KIND_TLS;
        expected.arrange(*this);
        ASSERT_TRUE(Init());
        const std::size_t before = Journal().size();
        EXPECT_EQ(Report(expected.url), expected.result);
        EXPECT_EQ(expected.expected.Difference(verdict), "");
        EXPECT_EQ(Prompt(), expected.prompt);
        Lines asked = Journal();
        asked.erase(asked.begin(), asked.begin() + static_cast<std::ptrdiff_t>(before));
        EXPECT_THAT(asked, ElementsAreArray(expected.asked));
        EXPECT_EQ(answers.unreleasedCategories, 0);
    }
}

class ExtensionInput : public ExtensionRecords {};

TEST_F(ExtensionInput, OtherKindsAreAllowedUnread) {
    LookUp(*this, {2}, true, true);
    ASSERT_TRUE(Init());
    NewLines();
    for (const int any : {0, 1, 2, 4, 255}) {
        kind = static_cast<std::uint8_t>(any);
        EXPECT_EQ(Hand(nullptr), 1) << any;
        EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
        EXPECT_TRUE(Report(kUrl));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    }
    EXPECT_THAT(NewLines(), testing::IsEmpty());
}

TEST_F(ExtensionInput, NullsAreRefused) {
    LookUp(*this, {2}, true, true);
    ASSERT_TRUE(Init());
    EXPECT_EQ(Hand(nullptr), 0);
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
    ScanRequest request{};
    request.kind = TARN_KIND_TLS;
    EXPECT_EQ(tarn.WSWebExtScanUrl(nullptr, &verdict, &prompt), 0);
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, nullptr, &prompt), 0);
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, nullptr), 0);
}

TEST_F(ExtensionInput, AUrlOf1023CharactersFitsAndNothingBehindIsRead) {
    LookUp(*this, {2}, true, true);
    ASSERT_TRUE(Init());
    const std::string fits = "https://bad.example/" + std::string(1003, 'p');
    ASSERT_EQ(fits.size(), 1023U);
    EXPECT_TRUE(Report(fits));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS_CATEGORY)).ThreatUrl(fits).Difference(verdict), "");
    EXPECT_FALSE(Report(fits + "p"));
    EXPECT_FALSE(ReportWithoutEnd(fits + "p")) << "no more than 1024 characters are looked at";
    EXPECT_EQ(ExpectedVerdict(Allows(TARN_REASON_DEFAULT)).Difference(verdict), "");
}

TEST_F(ExtensionInput, AHostOf260CharactersFailsOnlyWhereItIsLookedUp) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Report("https://" + std::string(259, 'h')));
    EXPECT_FALSE(Report("https://" + std::string(260, 'h')));
    answers.pcSettings.entries[0].leading.blockListSwitch = 2;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Report("https://" + std::string(260, 'h'))) << "on means 1 here";
}

TEST_F(ExtensionInput, EveryTruncationIsAnswered) {
    LookUp(*this, {2}, true, true);
    ASSERT_TRUE(Init());
    for (std::size_t length = 0; length <= kUrl.size(); ++length)
        EXPECT_EQ(Report(kUrl.substr(0, length)), length >= std::string("https://").size()) << length;
}

class FeatureStatus : public ScanRecords {
 protected:
    int Status() {
        std::uint8_t status = kCallersByte;
        EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
        return status;
    }
    int StatusWith(std::uint8_t blockList, std::uint8_t category, std::uint8_t mode) {
        ProfileShape shape;
        TakeProfiles({shape}, mode);
        answers.pcSettings.entries[0].leading.blockListSwitch = blockList;
        answers.pcSettings.entries[0].leading.categorySwitch = category;
        EXPECT_TRUE(Init());
        return Status();
    }
};

TEST_F(FeatureStatus, JoinsTheBytesOfAllFeatures) {
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(nullptr), 0);
    EXPECT_EQ(Status(), 0) << "before the start";
    answers.bpStatus = 2;
    answers.apStatus = 4;
    ASSERT_TRUE(Init());
    EXPECT_EQ(Status(), 6) << "no parental settings";
    EXPECT_EQ(StatusWith(8, 16, TARN_PC_ONE_FOR_ALL), 30);
    EXPECT_EQ(StatusWith(8, 0, TARN_PC_ONE_FOR_ALL), 14);
    EXPECT_EQ(StatusWith(8, 16, 2), 6) << "one entry per user";
    EXPECT_EQ(StatusWith(8, 16, TARN_PC_ABSENT), 6);
    answers.bpStatus = answers.apStatus = 0;
    EXPECT_EQ(StatusWith(0, 1, TARN_PC_ONE_FOR_ALL), 1);
    Deinit();
    EXPECT_EQ(Status(), 0);
}

}  // namespace
}  // namespace tarn::system_test
