// The action against a program through the built library, with the system's answers about that program scripted: who it
// is and where it stands.
#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/scripted_program_win32.h"
#include "system/site_records_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using url::ProfileShape;
using url::TlsHello;

std::string OwnExecutable() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).string();
}

class ProgramRules : public SiteRecords {
 protected:
    ProgramRules() {
        systemScript = {};
        ListMalicious({{"bad.example", true, {{"", "Worm"}}}});
    }
    ~ProgramRules() override { systemScript = {}; }

    // What the isolation module is handed as the executable, or nothing without an action.
    std::string ActedOn(const std::string& target = "/x") {
        EXPECT_TRUE(Init());
        NewLines();
        EXPECT_THAT(VerdictOf("bad.example", target), Blocks(TARN_REASON_MALICIOUS));
        const std::string start = "ZRQuarantineFile 0 2 ";
        for (const std::string& line : NewLines())
            if (line.starts_with(start)) return line.substr(start.size());
        return "";
    }
    // Whether the requesting user is found: a blocked hello needs the name.
    bool KnowsTheUser() {
        answers.httpsBlock = 1;
        kind = TARN_KIND_TLS;
        const bool known = Ask(TlsHello("shop.example"));
        EXPECT_THAT(Verdict(), known ? Blocks(TARN_REASON_HTTPS_INSPECTION) : Allows(TARN_REASON_DEFAULT));
        kind = TARN_KIND_HTTP;
        return known;
    }
};

// ---- What the isolation module is handed ----

TEST_F(ProgramRules, AnEmptyUrlIsHandedOnAsAnEmptyText) {
    // A request of the root whose host is a port alone has neither host nor path; its URL is ":80".
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_THAT(VerdictOf(":80", "/"), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS)).ThreatName("Malicious Url").ThreatUrl("").Difference(verdict),
        "");
    EXPECT_THAT(NewLines(),
                ElementsAre("SCGetURLCategories :80 0", "WSCheckURLMaliciousPattern 1   20480", "load isolate.dll",
                            "ZRQuarantineFile 0 2 " + OwnExecutable(), "for ", "unload isolate.dll"));
}

TEST_F(ProgramRules, ThePathIsHandedOnInItsLongForm) {
    EXPECT_EQ(ActedOn(), OwnExecutable());
    const ImportPatch longForm(Library(), "GetLongPathNameW", LongForm);
    ASSERT_TRUE(longForm.IsInPlace());
    const std::string own = OwnExecutable();
    EXPECT_EQ(ActedOn(), own.substr(0, own.size() - 4) + "-long.exe");
}

TEST_F(ProgramRules, APathWhoseLongFormIsRefusedIsHandedOnAsItStands) {
    const ImportPatch longForm(Library(), "GetLongPathNameW", LongForm);
    ASSERT_TRUE(longForm.IsInPlace());
    systemScript.refusesLongForm = true;
    EXPECT_EQ(ActedOn(), OwnExecutable());
}

class ImagePath : public ProgramRules {
 protected:
    ImagePath() {
        EXPECT_TRUE(procedures_.IsInPlace());
        EXPECT_TRUE(drives_.IsInPlace());
        EXPECT_TRUE(longForm_.IsInPlace());
        systemScript.imageName = L"\\Device\\HarddiskVolume7\\folder\\Reader.exe";
    }
    using ModuleName = SystemScript::ModuleName;

 private:
    const ImportPatch procedures_{Library(), "GetProcAddress", FindProcedure};
    const ImportPatch drives_{Library(), "QueryDosDeviceW", DriveTarget};
    const ImportPatch longForm_{Library(), "GetLongPathNameW", LongForm};
};

TEST_F(ImagePath, TheNameOfTheMainModuleIsPreferred) {
    const std::string own = OwnExecutable();
    EXPECT_EQ(ActedOn(), own.substr(0, own.size() - 4) + "-long.exe");
}

TEST_F(ImagePath, TheKernelsFunctionStandsInForThatOfTheProcessLibrary) {
    systemScript.moduleName = ModuleName::kOnlyKernel;
    EXPECT_EQ(ActedOn(), "C:\\kernel\\Reader-long.exe");
}

TEST_F(ImagePath, WithoutThatFunctionTheImageNameIsTheWholePath) {
    systemScript.moduleName = ModuleName::kNeither;
    EXPECT_EQ(ActedOn(), "\\Device\\HarddiskVolume7\\folder\\Reader-long.exe");
    EXPECT_THAT(systemScript.drivesAsked, IsEmpty());
    systemScript.imageName.clear();
    EXPECT_EQ(ActedOn(), "");
}

TEST_F(ImagePath, AFailedModuleNameTakesTheDevicePathOntoItsDrive) {
    systemScript.moduleName = ModuleName::kFails;
    systemScript.driveTargets[0] = L"\\Device\\CdRom0";
    systemScript.driveTargets[2] = L"\\Device\\HarddiskVolume7";
    systemScript.driveTargets[3] = L"\\Device\\HarddiskVolume7";
    EXPECT_EQ(ActedOn(), "C:\\folder\\Reader-long.exe");
    EXPECT_THAT(systemScript.drivesAsked, ElementsAre(L"X:A", L"X:B", L"X:C"))
        << "the first letter that answers counts";
}

TEST_F(ImagePath, WithoutADriveOrADevicePathThereIsNoAction) {
    systemScript.moduleName = ModuleName::kFails;
    EXPECT_EQ(ActedOn(), "");
    EXPECT_EQ(systemScript.drivesAsked.size(), 26U);
    systemScript.driveTargets[2] = L"\\Device\\HarddiskVolume8";
    EXPECT_EQ(ActedOn(), "");
    systemScript.driveTargets[2] = L"\\Device";
    systemScript.imageName = L"\\Device";
    EXPECT_EQ(ActedOn(), "") << "a path of one component";
    systemScript.imageName.clear();
    EXPECT_EQ(ActedOn(), "");
}

// ---- Who asked ----

TEST_F(ProgramRules, OnlyTheErrorThatAsksForMoreRoomGoesOn) {
    const ImportPatch token(Library(), "GetTokenInformation", TokenInformation);
    ASSERT_TRUE(token.IsInPlace());
    ASSERT_TRUE(Init());
    EXPECT_TRUE(KnowsTheUser());
    for (const DWORD refusal : {DWORD{ERROR_SUCCESS}, DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_MORE_DATA}, DWORD{24}}) {
        systemScript.sizeError = refusal;
        EXPECT_FALSE(KnowsTheUser()) << refusal;
        EXPECT_EQ(ActedOn(), "") << refusal;
    }
}

TEST_F(ProgramRules, AFailedAccountLookUpIsNoUser) {
    const ImportPatch accounts(Library(), "LookupAccountSidW", AccountOf);
    ASSERT_TRUE(accounts.IsInPlace());
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    ASSERT_TRUE(Init());
    EXPECT_TRUE(KnowsTheUser());
    EXPECT_THAT(VerdictOf("games.example", "/"), Blocks(TARN_REASON_PARENTAL_SITE));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("games.example").User(u"Tester").Difference(verdict),
        "");
    EXPECT_NE(ActedOn(), "");
    systemScript.knowsAccounts = false;
    EXPECT_FALSE(KnowsTheUser());
    EXPECT_THAT(VerdictOf("games.example", "/"), Allows(TARN_REASON_DEFAULT)) << "the block lists are left";
    EXPECT_EQ(ActedOn(), "");
}

TEST_F(ProgramRules, AnInvalidOrLongIdentifierStaysZero) {
    const ImportPatch token(Library(), "GetTokenInformation", TokenInformation);
    const ImportPatch accounts(Library(), "LookupAccountSidW", AccountOf);
    ASSERT_TRUE(token.IsInPlace());
    ASSERT_TRUE(accounts.IsInPlace());
    const auto identifier = [](std::uint8_t revision, std::uint8_t subAuthorities) {
        std::vector<std::uint8_t> bytes(8 + 4 * std::size_t{subAuthorities}, 7);
        bytes[0] = revision;
        bytes[1] = subAuthorities;
        return bytes;
    };
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    // Whether the profile with this identifier is that of the requesting user.
    const auto belongs = [&](const std::vector<std::uint8_t>& sid) {
        TakeProfiles({shape}, 2);
        auto& field = answers.pcSettings.entries[0].leading.sid;
        std::memset(field, 0, sizeof field);
        std::memcpy(field, sid.data(), std::min(sid.size(), sizeof field));
        EXPECT_TRUE(Init());
        return VerdictOf("games.example", "/") == Blocks(TARN_REASON_PARENTAL_SITE);
    };
    for (const std::uint8_t count : {std::uint8_t{1}, std::uint8_t{5}, std::uint8_t{15}}) {
        systemScript.identifier = identifier(1, count);
        EXPECT_TRUE(belongs(systemScript.identifier)) << int{count};
        EXPECT_FALSE(belongs({})) << int{count};
    }
    for (const auto& [revision, count] : {std::pair<std::uint8_t, std::uint8_t>{2, 5}, {0, 5}, {1, 16}, {1, 255}}) {
        systemScript.identifier = identifier(revision, count);
        EXPECT_FALSE(belongs(systemScript.identifier)) << int{revision} << " " << int{count};
        EXPECT_TRUE(belongs({})) << int{revision} << " " << int{count};
    }
}

}  // namespace
}  // namespace tarn::system_test
