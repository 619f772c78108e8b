// Changes of settings and updated files, seen through the journal of the companion modules.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using Lines = std::vector<std::string>;

const Lines kReloadCategorisation = {"SCDeinit",     "unload sitecls.dll", "load sitecls.dll", "ReadWebSecCloudStatus",
                                     "ReadBPStatus", "ReadAPStatus",       "ReadPCSettings",   "SCInit 0"};

class SettingsChange : public SystemFixture {
 protected:
    void SetUp() override {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        NewLines();
    }
    std::uint32_t Change(std::uint32_t kind) { return tarn.WSSettingsChanged(kind, 11, 22, 33); }
    std::uint8_t Update(std::uint32_t mask) { return tarn.WSUpdateSettingsChanged(&mask); }
    // From now on the function tells the three values behind its arguments.
    void TellPassed(const char* function) { strcpy_s(answers.passedTo, function); }
    static Lines Before(const Lines& first, const Lines& rest) {
        Lines all = first;
        all.insert(all.end(), rest.begin(), rest.end());
        return all;
    }
    bool IsBlockedAsMalicious() {
        EXPECT_TRUE(Get("bad.example", "/"));
        return Verdict() == Blocks(TARN_REASON_MALICIOUS);
    }
    std::uint8_t FeatureStatus() {
        std::uint8_t status = 0xFF;
        EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
        return status;
    }
};

TEST_F(SettingsChange, AntiPhishingStatus) {
    TellPassed("ReadAPStatus");
    answers.apStatus = 1;
    EXPECT_EQ(Change(TARN_SETTINGS_ANTI_PHISHING), 1U);
    Lines expected =
        Before({"ReadAPStatus passed 11 22 33", "ReadAPStatus", "ReadAPReportPromptStatus"}, kReloadCategorisation);
    const Lines lines = NewLines();
    ASSERT_GT(lines.size(), 3U);
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 3), Lines(expected.begin(), expected.begin() + 3));
    EXPECT_THAT(lines, Contains("SCInit 1")) << "a feature is on now";
    EXPECT_EQ(FeatureStatus(), 1);

    ScriptSetResult("ReadAPStatus", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_ANTI_PHISHING), 0U);
    EXPECT_EQ(FeatureStatus(), 0) << "a failed read turns the status off";
    EXPECT_THAT(NewLines(), Not(Contains("SCDeinit")));
}

TEST_F(SettingsChange, AntiPhishingPromptThatCannotBeReadEndsIt) {
    ScriptSetResult("ReadAPReportPromptStatus", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_ANTI_PHISHING), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("ReadAPStatus", "ReadAPReportPromptStatus"));
}

TEST_F(SettingsChange, BrowsingProtectionStatus) {
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 1U);
    EXPECT_THAT(NewLines(),
                ElementsAreArray(Before({"ReadBPStatus", "ReadBPReportPromptStatus"}, kReloadCategorisation)));
    TellPassed("ReadBPStatus");
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 1U);
    EXPECT_EQ(NewLines().front(), "ReadBPStatus passed 11 22 33");
    TellPassed("");
    NewLines();
    ScriptSetResult("SCInit", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 0U) << "the reload's result";
    EXPECT_THAT(LoadedCompanions(), Not(Contains("sitecls.dll")));
    ScriptSetResult("SCInit", 1);
    NewLines();
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 1U);
    EXPECT_THAT(NewLines(), Not(Contains("SCDeinit"))) << "a module that is not loaded is not ended";
}

TEST_F(SettingsChange, IdsIpsStatus) {
    TellPassed("ReadIDSIPSStatus");
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_STATUS), 1U);
    EXPECT_THAT(NewLines(), ElementsAre("ReadIDSIPSStatus passed 11 22 33", "ReadIDSIPSStatus"));
    ScriptSetResult("ReadIDSIPSStatus", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_STATUS), 0U);
}

TEST_F(SettingsChange, UserWhiteList) {
    static char entries[1][TARN_URL_CAPACITY] = {"bad.example"};
    answers.bpUserWhiteList = {1, entries};
    TellPassed("ReleaseBPUserWhiteList");
    EXPECT_EQ(Change(TARN_SETTINGS_USER_WHITE_LIST), 1U);
    EXPECT_THAT(NewLines(), ElementsAre("ReleaseBPUserWhiteList passed 11 22 33", "ReleaseBPUserWhiteList empty",
                                        "ReadBPUserWhiteList"));
    ScriptSetResult("ReadBPUserWhiteList", 0);
    TellPassed("");
    EXPECT_EQ(Change(TARN_SETTINGS_USER_WHITE_LIST), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("ReleaseBPUserWhiteList record", "ReadBPUserWhiteList"));
    EXPECT_EQ(Change(TARN_SETTINGS_USER_WHITE_LIST), 0U);
    EXPECT_THAT(NewLines(), Contains("ReleaseBPUserWhiteList empty"));
}

TEST_F(SettingsChange, ParentalControl) {
    TellPassed("WritePCSystemControlSettings");
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    EXPECT_THAT(NewLines(), ElementsAreArray(Before(
                                Before({"WritePCSystemControlSettings passed 11 22 33",
                                        "WritePCSystemControlSettings 0", "ReadPCSettings", "ReleasePCSettings empty"},
                                       kReloadCategorisation),
                                {"ReadPCSystemControlSettings", "ReleasePCSystemControlSettings empty"})));
}

TEST_F(SettingsChange, ParentalControlThatCannotBeReadIsCleared) {
    answers.bpStatus = 0;
    DeliverOneProfile();
    profile.leading.blockListSwitch = 4;
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    EXPECT_EQ(FeatureStatus(), 4);
    ScriptSetResult("ReadPCSettings", 0);
    NewLines();
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("WritePCSystemControlSettings 0", "ReadPCSettings"));
    EXPECT_EQ(FeatureStatus(), 0);

    // Nothing has come in since the table was saved: it is not written again, and the read gets the host's values.
    TellPassed("ReadPCSettings");
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("ReadPCSettings passed 11 22 33", "ReadPCSettings"));
    Deinit();
    EXPECT_THAT(NewLines(), Not(Contains("WritePCSystemControlSettings 0")));
}

TEST_F(SettingsChange, IdsSettings_ReadFails_TurnsStatusOff) {
    answers.idsIpsStatus.enabled = 1;
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_STATUS), 1U);
    NewLines();
    TellPassed("ReadIDSIPSSettings");
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_SETTINGS), 1U);
    EXPECT_THAT(NewLines(),
                ElementsAre("ReadIDSIPSSettings passed 11 22 33", "ReadIDSIPSSettings", "ReleaseIDSIPSSettings empty"));
    const std::uint8_t frame[60] = {};
    PacketVerdict packet{};
    EXPECT_EQ(tarn.WSScanPacket(frame, 60, 1, 1, 0, &packet), 1);
    EXPECT_THAT(NewLines(), Contains("PKSScanPacket 60 1 1"));
    ScriptSetResult("ReadIDSIPSSettings", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_SETTINGS), 0U);
    NewLines();
    EXPECT_EQ(tarn.WSScanPacket(frame, 60, 1, 1, 0, &packet), 1);
    EXPECT_THAT(NewLines(), IsEmpty()) << "the IDS is off";
}

TEST_F(SettingsChange, HttpsInspection) {
    for (const std::uint32_t kind : {6U, 7U}) {
        TellPassed("DeIntializeSSL");
        EXPECT_EQ(Change(kind), 1U);
        EXPECT_THAT(NewLines(), ElementsAreArray(Before(
                                    Before({"DeIntializeSSL passed 11 22 33", "DeIntializeSSL", "unload tlsinsp.dll"},
                                           kReloadCategorisation),
                                    {"load tlsinsp.dll", "IntializeSSL"})));
    }
    ScriptSetResult("IntializeSSL", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_HTTPS_INSPECTION), 1U) << "its failure is none of the change";
    NewLines();
    TellPassed("SCDeinit");
    EXPECT_EQ(Change(TARN_SETTINGS_HTTPS_INSPECTION), 1U);
    EXPECT_EQ(NewLines().front(), "SCDeinit passed 11 22 33") << "without HTTPS inspection the next module gets them";
    ScriptSetResult("SCInit", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_HTTPS_INSPECTION_TOO), 0U);
}

TEST_F(SettingsChange, Everything) {
    TellPassed("ReleaseWSInternalWhiteList");
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 1U);
    const Lines lines = NewLines();
    EXPECT_EQ(lines.front(), "ReleaseWSInternalWhiteList passed 11 22 33");
    EXPECT_THAT(lines, Contains("ReadDNSCacheSettings")) << "the load is that of a restart";
    EXPECT_THAT(lines, Not(Contains("ResetBPUserWhitelist")));
    ASSERT_GE(lines.size(), 8U);
    EXPECT_THAT(Lines(lines.end() - 8, lines.end()), ElementsAreArray(kReloadCategorisation));
    NewLines();
    ScriptSetResult("SCInit", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 0U);
    EXPECT_EQ(NewLines().back(), "ReleaseIDSSettings empty") << "the settings are released again";
}

TEST_F(SettingsChange, MaskZeroDoesNothingAndNeedsTheInstallFolder) {
    EXPECT_EQ(Update(0), 1);
    EXPECT_EQ(Update(0xFFFFEF00), 1) << "bits without a meaning";
    EXPECT_THAT(NewLines(), IsEmpty());
    RemoveInstallPath();
    EXPECT_EQ(Update(0), 0);
    EXPECT_EQ(Update(TARN_UPDATED_BROWSING_PROTECTION), 0);
    EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SettingsChange, EachBitReloadsItsOwn) {
    EXPECT_EQ(Update(TARN_UPDATED_BROWSING_PROTECTION), 1);
    EXPECT_THAT(NewLines(), ElementsAre("ReleaseBPSettings empty", "ReadBPSettings"));
    for (const std::uint32_t bit : {0x04U, 0x80U, 0x84U}) {
        EXPECT_EQ(Update(bit), 1);
        EXPECT_THAT(NewLines(), ElementsAreArray(kReloadCategorisation)) << bit;
    }
    EXPECT_EQ(Update(TARN_UPDATED_URL_PATTERNS), 1);
    EXPECT_THAT(NewLines(), ElementsAre("WSDeInitUrlsig", "unload urlsig.dll", "load urlsig.dll", "WSInitUrlsig"));
    EXPECT_EQ(Update(TARN_UPDATED_PACKET_SIGNATURES), 1);
    EXPECT_THAT(NewLines(), ElementsAre("PKSDeinit 77", "unload pktsig.dll", "load pktsig.dll", "PKSInit"));
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER), 1);
    EXPECT_THAT(NewLines(), ElementsAre("unload setrd.dll", "load setrd.dll"));
    EXPECT_EQ(Update(TARN_UPDATED_HTTPS_INSPECTION), 1);
    EXPECT_THAT(NewLines(), ElementsAre("DeIntializeSSL", "unload tlsinsp.dll", "load tlsinsp.dll", "IntializeSSL"));
    EXPECT_EQ(Update(TARN_UPDATED_STATUS_READER), 1);
    EXPECT_THAT(NewLines(), ElementsAre("unload statrd.dll", "load statrd.dll"));
    EXPECT_EQ(Update(TARN_UPDATED_IDS_RULES), 1);
    EXPECT_THAT(NewLines(), ElementsAre("ReleaseIDSSettings empty", "ReadIDSSettings"));
}

TEST_F(SettingsChange, BitsWithoutAMeaningChangeNothingBesideOthers) {
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t mask = 1U << bit;
        if ((mask & 0x10FF) != 0) continue;
        EXPECT_EQ(Update(mask), 1) << bit;
        EXPECT_THAT(NewLines(), IsEmpty()) << bit;
        EXPECT_EQ(Update(mask | 0x1000), 1) << bit;
        EXPECT_THAT(NewLines(), ElementsAre("ReleaseIDSSettings empty", "ReadIDSSettings")) << bit;
    }
}

TEST_F(SettingsChange, KindsWithoutAMeaningChangeNothing) {
    for (std::uint32_t bit = 4; bit < 32; ++bit)
        for (std::uint32_t kind = 0; kind <= 8; ++kind) EXPECT_EQ(Change((1U << bit) | kind), 0U) << bit << " " << kind;
    EXPECT_THAT(NewLines(), IsEmpty());
}

TEST_F(SettingsChange, AllBitsAreHandledInTheirOrder) {
    EXPECT_EQ(Update(0x10FF), 1);
    Lines loads;
    for (const std::string& line : NewLines())
        if (line.starts_with("load ") || line == "ReadBPSettings" || line == "ReadIDSSettings") loads.push_back(line);
    EXPECT_THAT(loads, ElementsAre("ReadBPSettings", "load sitecls.dll", "load urlsig.dll", "load pktsig.dll",
                                   "load setrd.dll", "load tlsinsp.dll", "load statrd.dll", "ReadIDSSettings"));
}

TEST_F(SettingsChange, AModuleThatDoesNotLoadLeavesTheLaterOnesUntouched) {
    ScriptSetResult("PKSInit", 0);
    EXPECT_EQ(Update(0x10FF), 0);
    const Lines lines = NewLines();
    EXPECT_THAT(lines, Contains("load urlsig.dll"));
    EXPECT_THAT(lines, Not(Contains("unload setrd.dll")));
    EXPECT_THAT(lines, Not(Contains("ReadIDSSettings")));
    ScriptSetResult("PKSInit", 1);
    ScriptSetResult("WSInitUrlsig", 0);
    EXPECT_EQ(Update(TARN_UPDATED_PACKET_SIGNATURES | TARN_UPDATED_URL_PATTERNS), 1)
        << "the pattern module is not needed";
    EXPECT_THAT(LoadedCompanions(), Not(Contains("urlsig.dll")));
    ScriptSetResult("WSInitUrlsig", 1);
    EXPECT_EQ(Update(TARN_UPDATED_URL_PATTERNS), 1);
    EXPECT_THAT(LoadedCompanions(), Contains("urlsig.dll")) << "loaded whatever the flag was before";
}

TEST_F(SettingsChange, NewListsJudgeAtOnce) {
    static char host[] = "bad.example";
    static ThreatSiteEntry entry{1, 0, host, nullptr};
    entry.hash = 0x1B7D69D5;
    answers.bpStatus = 1;
    ASSERT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 1U);
    EXPECT_FALSE(IsBlockedAsMalicious());
    entry.hash = HashOf(host);
    answers.bpSettings = {1, &entry};
    EXPECT_EQ(Update(TARN_UPDATED_BROWSING_PROTECTION), 1);
    EXPECT_TRUE(IsBlockedAsMalicious());
    static char listed[1][TARN_URL_CAPACITY] = {"bad.example"};
    answers.bpUserWhiteList = {1, listed};
    EXPECT_EQ(Change(TARN_SETTINGS_USER_WHITE_LIST), 1U);
    EXPECT_FALSE(IsBlockedAsMalicious());
    ScriptSetResult("ReadBPSettings", 0);
    EXPECT_EQ(Update(TARN_UPDATED_BROWSING_PROTECTION), 1);
    answers.bpUserWhiteList = {};
    EXPECT_EQ(Change(TARN_SETTINGS_USER_WHITE_LIST), 1U);
    EXPECT_FALSE(IsBlockedAsMalicious()) << "a failed read leaves the list empty";
}

TEST_F(SettingsChange, RecordsSurviveTheReloadOfTheirReader) {
    static char host[] = "bad.example";
    static ThreatSiteEntry entry{1, 0, host, nullptr};
    entry.hash = HashOf(host);
    answers.bpStatus = 1;
    answers.bpSettings = {1, &entry};
    ASSERT_EQ(Change(TARN_SETTINGS_EVERYTHING), 1U);
    EXPECT_TRUE(IsBlockedAsMalicious());
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    EXPECT_TRUE(IsBlockedAsMalicious());
    NewLines();
    Deinit();
    EXPECT_THAT(NewLines(), Contains("ReleaseBPSettings record")) << "through the reloaded module";
}

TEST_F(SettingsChange, UpdatedHttpsInspection_ThatDoesNotLoadIsAFailure) {
    ScriptSetResult("IntializeSSL", 0);
    EXPECT_EQ(Update(TARN_UPDATED_HTTPS_INSPECTION), 0);
    EXPECT_THAT(LoadedCompanions(), Not(Contains("tlsinsp.dll")));
    ScriptSetResult("IntializeSSL", 1);
    EXPECT_EQ(Update(TARN_UPDATED_HTTPS_INSPECTION), 1);
    EXPECT_THAT(LoadedCompanions(), Contains("tlsinsp.dll"));
}

TEST_F(SettingsChange, AChangeBeforeInitLeavesNothingBehind) {
    Deinit();
    for (std::uint32_t kind = 0; kind <= 9; ++kind) Change(kind);
    Update(0x10FF);
    EXPECT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_THAT(LoadedCompanions(), IsEmpty());
}

}  // namespace
}  // namespace tarn::system_test
