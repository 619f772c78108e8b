// Start-up and shut-down of the built library, step by step, seen through the journal of its companion modules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/footprint_win32.h"
#include "system/journal_lines.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;

class Lifecycle : public SystemFixture {};

TEST_F(Lifecycle, ARestartReadsTheSavedAnswersFirst) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(
        NewLines(),
        ElementsAreArray(Join({kLoadLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines})));
}

TEST_F(Lifecycle, AFreshStartEmptiesTheUsersListFirst) {
    ASSERT_TRUE(Init(TARN_START_FRESH));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kLoadLines, {"ResetBPUserWhitelist"}, kReadLines})));
}

TEST_F(Lifecycle, AnyOtherModeDoesNeither) {
    ASSERT_TRUE(Init(2));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kLoadLines, kReadLines})));
}

TEST_F(Lifecycle, DeinitReleasesAndUnloadsInReverse) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    error = 99;
    Deinit();
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines})));
    EXPECT_EQ(error, 0U);
    EXPECT_THAT(LoadedCompanions(), IsEmpty());
    Deinit();
    EXPECT_THAT(NewLines(), IsEmpty()) << "twice is harmless";
}

TEST_F(Lifecycle, DeinitWithoutACellReleasesEverything) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    EXPECT_EQ(tarn.WSDeinit(nullptr), 1);
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines})));
}

TEST_F(Lifecycle, EverythingIsSafeBeforeInit) {
    Deinit();
    tarn.WSShutDown(1, 2, 3, 4);
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    std::uint8_t status = 7;
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, InitWithoutACellDoesNothing) {
    EXPECT_EQ(tarn.WSInit(TARN_START_RESTART, nullptr), 0);
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, InitOnAReadyLibraryEndsItFirst) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    ASSERT_TRUE(Init(2));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines, kLoadLines, kReadLines})));
}

TEST_F(Lifecycle, ShutDownSavesTheCategoryCacheAndLeavesEverythingLoaded) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    tarn.WSShutDown(11, 22, 33, 0xFFFFFFFFFFFFFFFF);
    EXPECT_THAT(NewLines(), Contains("SCSaveCacheFile 11 22 33 18446744073709551615"));
    EXPECT_THAT(LoadedCompanions(), Contains("sitecls.dll"));
}

TEST_F(Lifecycle, AStatusReaderWithoutTheAntiPhishingPromptStillLoads) {
    HideExport("statrd.dll", "ReadAPReportPromptStatus");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(Journal(), testing::Not(Contains("ReadAPReportPromptStatus")));
}

TEST_F(Lifecycle, WithoutARegisteredInstallFolderNothingStarts) {
    RemoveInstallPath();
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, SavedAnswersAreRestoredAndSavedAgain) {
    std::vector<DnsAnswerEntry> entries(3000);
    answers.dnsCache = {3000, 42, entries.data()};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_EQ(answers.savedDnsCount, 3000) << "the capacity is handed over as count";
    EXPECT_EQ(answers.savedDnsIndex, 42);
    EXPECT_EQ(answers.savedDnsHasEntries, 1);
    answers.dnsCache = {3001, 42, entries.data()};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_EQ(answers.savedDnsIndex, 0) << "a count above the capacity is ignored";
}

TEST_F(Lifecycle, SettingsRelease_BrowsingProtectionInternalList_IsNotReleased) {
    static char entries[1][TARN_URL_CAPACITY] = {"a.example"};
    answers.bpInternalWhiteList = {1, entries};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_THAT(Journal(), testing::Not(Contains(testing::StartsWith("ReleaseBPInternalWhiteList"))));
}

TEST_F(Lifecycle, KeptRecordsAreHandedBack) {
    static char entries[1][TARN_URL_CAPACITY] = {"a.example/"};
    answers.wsInternalWhiteList = answers.bpUserWhiteList = {1, entries};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_STREQ(entries[0], "a.example/") << "the module's record is not written";
    NewLines();
    Deinit();
    const Lines lines = NewLines();
    EXPECT_THAT(lines, Contains("ReleaseWSInternalWhiteList record"));
    EXPECT_THAT(lines, Contains("ReleaseBPUserWhiteList record"));
    EXPECT_THAT(lines, Contains("ReleaseBPSettings empty"));
}

TEST_F(Lifecycle, TheOnlineLookUpIsDecidedByFileCloudAndFeatures) {
    const auto initSaw = [&] {
        NewLines();
        EXPECT_TRUE(Init(TARN_START_RESTART));
        const Lines lines = NewLines();
        Deinit();
        return std::find(lines.begin(), lines.end(), "SCInit 1") != lines.end();
    };
    EXPECT_FALSE(initSaw()) << "no feature is on";
    answers.bpStatus = 1;
    EXPECT_TRUE(initSaw());
    answers.bpStatus = 0;
    answers.apStatus = 1;
    EXPECT_TRUE(initSaw());
    answers.apStatus = 0;
    answers.pcSettings.mode = TARN_PC_ONE_PER_USER;
    EXPECT_TRUE(initSaw());
    answers.cloudStatus = 0;
    EXPECT_FALSE(initSaw());
    ScriptSetResult("ReadWebSecCloudStatus", 0);
    EXPECT_TRUE(initSaw()) << "a failed read leaves the preset";
    ScriptSetResult("ReadPCSettings", 0);
    EXPECT_FALSE(initSaw());
    ScriptSetResult("ReadPCSettings", 1);
    const auto scrambled = [](char c) { return static_cast<std::uint8_t>((static_cast<std::uint8_t>(c) - 15) ^ 7); };
    for (const char c : {'1', '2'}) {
        WriteFile("proxyep.dat", std::vector<std::uint8_t>{scrambled(c), scrambled('\0')});
        EXPECT_FALSE(initSaw()) << c;
    }
    WriteFile("proxyep.dat", std::vector<std::uint8_t>{scrambled('0'), scrambled('\0')});
    EXPECT_TRUE(initSaw());
    WriteFile("proxyep.dat", std::vector<std::uint8_t>{scrambled('0')});
    EXPECT_FALSE(initSaw()) << "fewer than two bytes count as unreadable";
}

TEST_F(Lifecycle, FeatureStatusOrsTheFeatures) {
    std::uint8_t status = 0;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(nullptr), 0);
    answers.bpStatus = 1;
    answers.apStatus = 4;
    profile.leading.blockListSwitch = 16;
    profile.leading.categorySwitch = 64;
    DeliverOneProfile();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 1 | 4 | 16 | 64);
    answers.pcSettings.mode = TARN_PC_ONE_PER_USER;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 1 | 4);
}

TEST_F(Lifecycle, ManyCyclesLeaveNoHandleBehind) {
    constexpr std::size_t kOfTheSystem = 20;  // far fewer than one in each cycle
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        Deinit();
    }
    const std::size_t handles = OwnHandleCount();
    for (int i = 0; i < 60; ++i) {
        ASSERT_TRUE(Init(static_cast<std::uint8_t>(i % 3)));
        Deinit();
    }
    EXPECT_LT(OwnHandleCount(), handles + kOfTheSystem);
    RemoveModule("sitecls.dll");
    for (int i = 0; i < 40; ++i) ASSERT_FALSE(Init(TARN_START_RESTART));
    EXPECT_LT(OwnHandleCount(), handles + kOfTheSystem);
}

}  // namespace
}  // namespace tarn::system_test
