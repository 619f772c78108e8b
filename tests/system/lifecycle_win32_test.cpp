// Start-up and shut-down of the built library, step by step, seen through the journal of its companion modules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/handles_win32.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

class Lifecycle : public SystemFixture {};

const Lines kLoadLines = {
    "load setrd.dll",        "load statrd.dll", "load pktsig.dll", "PKSInit",        "load sitecls.dll",
    "ReadWebSecCloudStatus", "ReadBPStatus",    "ReadAPStatus",    "ReadPCSettings", "SCInit 0",
    "load tlsinsp.dll",      "IntializeSSL",    "load urlsig.dll", "WSInitUrlsig"};

const Lines kReadLines = {"ReadBPUserWhiteList",
                          "ReadBPStatus",
                          "ReadIDSIPSStatus",
                          "ReadIDSIPSSettings",
                          "ReleaseIDSIPSSettings empty",
                          "ReadAPStatus",
                          "ReadBPSettings",
                          "ReadPCSettings",
                          "ReleasePCSettings empty",
                          "ReadPCSystemControlSettings",
                          "ReleasePCSystemControlSettings empty",
                          "ReadBPInternalWhiteList",
                          "ReadWSInternalWhiteList",
                          "ReadAPSettings",
                          "ReleaseAPSettings empty",
                          "ReadBPReportPromptStatus",
                          "ReadAPReportPromptStatus",
                          "load agentst.dll",
                          "GetYALStatus",
                          "unload agentst.dll",
                          "ReadIDSSettings"};

const Lines kReleaseLines = {"ReleaseWSInternalWhiteList empty", "WriteDNSCacheSettings error 0",
                             "WritePCSystemControlSettings 0",   "ReleaseBPSettings empty",
                             "ReleaseBPUserWhiteList empty",     "ReleaseIDSSettings empty"};

const Lines kUnloadLines = {"WSDeInitUrlsig",    "unload urlsig.dll",  "DeIntializeSSL", "unload tlsinsp.dll",
                            "SCDeinit",          "unload sitecls.dll", "PKSDeinit 77",   "unload pktsig.dll",
                            "unload statrd.dll", "unload setrd.dll"};

Lines Join(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(Lifecycle, ARestartReadsTheSavedAnswersFirst) {
    ASSERT_TRUE(Init(1));
    EXPECT_THAT(
        NewLines(),
        ElementsAreArray(Join({kLoadLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines})));
}

TEST_F(Lifecycle, AFreshStartEmptiesTheUsersListFirst) {
    ASSERT_TRUE(Init(0));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kLoadLines, {"ResetBPUserWhitelist"}, kReadLines})));
}

TEST_F(Lifecycle, AnyOtherModeDoesNeither) {
    ASSERT_TRUE(Init(2));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kLoadLines, kReadLines})));
}

TEST_F(Lifecycle, DeinitReleasesAndUnloadsInReverse) {
    ASSERT_TRUE(Init(1));
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
    ASSERT_TRUE(Init(1));
    NewLines();
    EXPECT_EQ(tarn.WSDeinit(nullptr), 1);
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines})));
}

TEST_F(Lifecycle, EverythingIsSafeBeforeInit) {
    Deinit();
    tarn.WSShutDown(1, 2, 3, 4);
    EXPECT_TRUE(Get("a.example", "/"));
    EXPECT_EQ(Verdict(), "1/26");
    std::uint8_t status = 7;
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, InitWithoutACellDoesNothing) {
    EXPECT_EQ(tarn.WSInit(1, nullptr), 0);
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, InitOnAReadyLibraryEndsItFirst) {
    ASSERT_TRUE(Init(1));
    NewLines();
    ASSERT_TRUE(Init(2));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines, kLoadLines, kReadLines})));
}

TEST_F(Lifecycle, ShutDownSavesTheCategoryCacheAndLeavesEverythingLoaded) {
    ASSERT_TRUE(Init(1));
    NewLines();
    tarn.WSShutDown(11, 22, 33, 0xFFFFFFFFFFFFFFFF);
    EXPECT_THAT(NewLines(), Contains("SCSaveCacheFile 11 22 33 18446744073709551615"));
    EXPECT_THAT(LoadedCompanions(), Contains("sitecls.dll"));
}

TEST_F(Lifecycle, ANeededModuleThatIsMissingUndoesTheOnesBefore) {
    const Lines order = {"setrd.dll", "statrd.dll", "pktsig.dll", "sitecls.dll"};
    for (std::size_t missing = order.size(); missing-- > 0;) {
        RemoveModule(order[missing]);
        NewLines();
        EXPECT_FALSE(Init(1)) << order[missing];
        const Lines lines = NewLines();
        EXPECT_THAT(LoadedCompanions(), IsEmpty()) << order[missing];
        for (std::size_t before = 0; before < missing; ++before) {
            EXPECT_THAT(lines, Contains("load " + order[before]));
            EXPECT_THAT(lines, Contains("unload " + order[before]));
        }
        EXPECT_THAT(lines, testing::Not(Contains("ReadBPSettings"))) << "no setting is read";
    }
}

TEST_F(Lifecycle, OptionalModulesMayBeMissing) {
    for (const char* module : {"tlsinsp.dll", "urlsig.dll", "agentst.dll", "isolate.dll", "OPTSTORE.DLL"}) {
        RemoveModule(module);
        EXPECT_TRUE(Init(1)) << module;
        Deinit();
    }
}

struct Function {
    const char* module;
    const char* name;
};

TEST_F(Lifecycle, AMissingFunctionOfANeededModuleFailsAndLeavesNothing) {
    const Function functions[] = {{"setrd.dll", "ReadWSInternalWhiteList"},
                                  {"setrd.dll", "ReadBPSettings"},
                                  {"setrd.dll", "ReadIDSSettings"},
                                  {"setrd.dll", "ReleaseIDSSettings"},
                                  {"setrd.dll", "ReleaseWSInternalWhiteList"},
                                  {"setrd.dll", "ReleaseBPSettings"},
                                  {"setrd.dll", "ReadAPSettings"},
                                  {"setrd.dll", "ReleaseAPSettings"},
                                  {"setrd.dll", "ReadBPInternalWhiteList"},
                                  {"setrd.dll", "ReleaseBPInternalWhiteList"},
                                  {"statrd.dll", "ReadBPStatus"},
                                  {"statrd.dll", "ReadIDSIPSStatus"},
                                  {"statrd.dll", "ReadPCSettings"},
                                  {"statrd.dll", "ReleasePCSettings"},
                                  {"statrd.dll", "ReadAPStatus"},
                                  {"statrd.dll", "ReadBPUserWhiteList"},
                                  {"statrd.dll", "ResetBPUserWhitelist"},
                                  {"statrd.dll", "ReleaseBPUserWhiteList"},
                                  {"statrd.dll", "ReadWebSecCloudStatus"},
                                  {"statrd.dll", "ReadDNSCacheSettings"},
                                  {"statrd.dll", "WriteDNSCacheSettings"},
                                  {"statrd.dll", "ReleaseDNSCacheSettings"},
                                  {"statrd.dll", "ReadIDSIPSSettings"},
                                  {"statrd.dll", "ReleaseIDSIPSSettings"},
                                  {"statrd.dll", "ReadBPReportPromptStatus"},
                                  {"statrd.dll", "ReadPCSystemControlSettings"},
                                  {"statrd.dll", "ReleasePCSystemControlSettings"},
                                  {"statrd.dll", "WritePCSystemControlSettings"},
                                  {"statrd.dll", "ReadEPSServerIP"},
                                  {"sitecls.dll", "SCInit"},
                                  {"sitecls.dll", "SCDeinit"},
                                  {"sitecls.dll", "SCGetURLCategories"},
                                  {"sitecls.dll", "SCGetCategoryName"},
                                  {"sitecls.dll", "SCReleaseCategories"},
                                  {"sitecls.dll", "SCSaveCacheFile"},
                                  {"pktsig.dll", "PKSInit"},
                                  {"pktsig.dll", "PKSDeinit"},
                                  {"pktsig.dll", "PKSScanPacket"}};
    for (const Function& function : functions) {
        const std::filesystem::path module = folder / function.module;
        std::filesystem::copy_file(module, folder / "whole");
        HideExport(function.module, function.name);
        EXPECT_FALSE(Init(1)) << function.name;
        EXPECT_THAT(LoadedCompanions(), IsEmpty()) << function.name;
        std::filesystem::rename(folder / "whole", module);
    }
    EXPECT_TRUE(Init(1)) << "the whole modules load again";
}

TEST_F(Lifecycle, AStatusReaderWithoutTheAntiPhishingPromptStillLoads) {
    HideExport("statrd.dll", "ReadAPReportPromptStatus");
    ASSERT_TRUE(Init(1));
    EXPECT_THAT(Journal(), testing::Not(Contains("ReadAPReportPromptStatus")));
}

TEST_F(Lifecycle, AMissingFunctionOfAnOptionalModuleLeavesItUnloaded) {
    const Function functions[] = {{"tlsinsp.dll", "IntializeSSL"},
                                  {"tlsinsp.dll", "DeIntializeSSL"},
                                  {"tlsinsp.dll", "TiScanHttpsPacket"},
                                  {"tlsinsp.dll", "TiShowPopup"},
                                  {"urlsig.dll", "WSCheckURLMaliciousPattern"},
                                  {"urlsig.dll", "WSInitUrlsig"},
                                  {"urlsig.dll", "WSDeInitUrlsig"}};
    for (const Function& function : functions) {
        std::filesystem::copy_file(folder / function.module, folder / "whole");
        HideExport(function.module, function.name);
        EXPECT_TRUE(Init(1)) << function.name;
        EXPECT_THAT(LoadedCompanions(), testing::Not(Contains(function.module))) << function.name;
        Deinit();
        std::filesystem::rename(folder / "whole", folder / function.module);
    }
}

TEST_F(Lifecycle, AnInitialiserThatFailsUnloadsItsModule) {
    for (const char* needed : {"PKSInit", "SCInit"}) {
        ScriptReset();
        ScriptSetResult(needed, 0);
        EXPECT_FALSE(Init(1)) << needed;
        EXPECT_THAT(LoadedCompanions(), IsEmpty()) << needed;
    }
    for (const char* optional : {"IntializeSSL", "WSInitUrlsig"}) {
        ScriptReset();
        ScriptSetResult(optional, 0);
        EXPECT_TRUE(Init(1)) << optional;
        EXPECT_THAT(LoadedCompanions(), testing::SizeIs(5)) << optional;
        Deinit();
    }
}

TEST_F(Lifecycle, AFailedSettingsReadIsNoFailureOfTheStart) {
    for (const char* read : {"ReadBPUserWhiteList", "ReadBPStatus", "ReadIDSIPSStatus", "ReadIDSIPSSettings",
                             "ReadAPStatus", "ReadBPSettings", "ReadPCSettings", "ReadBPInternalWhiteList",
                             "ReadWSInternalWhiteList", "ReadAPSettings", "ReadBPReportPromptStatus",
                             "ReadAPReportPromptStatus", "GetYALStatus", "ReadIDSSettings", "ReadDNSCacheSettings"}) {
        ScriptReset();
        ScriptSetResult(read, 0);
        EXPECT_TRUE(Init(1)) << read;
        Deinit();
    }
}

TEST_F(Lifecycle, WithoutARegisteredInstallFolderNothingStarts) {
    RemoveInstallPath();
    EXPECT_FALSE(Init(1));
    EXPECT_THAT(Journal(), IsEmpty());
}

TEST_F(Lifecycle, SavedAnswersAreRestoredAndSavedAgain) {
    std::vector<DnsAnswerEntry> entries(3000);
    answers.dnsCache = {3000, 42, entries.data()};
    ASSERT_TRUE(Init(1));
    Deinit();
    EXPECT_EQ(answers.savedDnsCount, 3000) << "the capacity is handed over as count";
    EXPECT_EQ(answers.savedDnsIndex, 42);
    EXPECT_EQ(answers.savedDnsHasEntries, 1);
    answers.dnsCache = {3001, 42, entries.data()};
    ASSERT_TRUE(Init(1));
    Deinit();
    EXPECT_EQ(answers.savedDnsIndex, 0) << "a count above the capacity is ignored";
}

TEST_F(Lifecycle, SettingsRelease_BrowsingProtectionInternalList_IsNotReleased) {
    static char entries[1][TARN_URL_CAPACITY] = {"a.example"};
    answers.bpInternalWhiteList = {1, entries};
    ASSERT_TRUE(Init(1));
    Deinit();
    EXPECT_THAT(Journal(), testing::Not(Contains(testing::StartsWith("ReleaseBPInternalWhiteList"))));
}

TEST_F(Lifecycle, KeptRecordsAreHandedBack) {
    static char entries[1][TARN_URL_CAPACITY] = {"a.example/"};
    answers.wsInternalWhiteList = answers.bpUserWhiteList = {1, entries};
    ASSERT_TRUE(Init(1));
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
        EXPECT_TRUE(Init(1));
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
    answers.pcSettings.mode = 2;
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
    ASSERT_TRUE(Init(1));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(nullptr), 0);
    answers.bpStatus = 1;
    answers.apStatus = 4;
    profile.leading.blockListSwitch = 16;
    profile.leading.categorySwitch = 64;
    DeliverOneProfile();
    ASSERT_TRUE(Init(1));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 1 | 4 | 16 | 64);
    answers.pcSettings.mode = 2;
    ASSERT_TRUE(Init(1));
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 1 | 4);
}

TEST_F(Lifecycle, ManyCyclesLeaveNoHandleBehind) {
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(Init(1));
        Deinit();
    }
    const std::size_t handles = OwnHandleCount();
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(Init(static_cast<std::uint8_t>(i % 3)));
        Deinit();
    }
    EXPECT_EQ(OwnHandleCount(), handles);
    RemoveModule("sitecls.dll");
    for (int i = 0; i < 50; ++i) ASSERT_FALSE(Init(1));
    EXPECT_EQ(OwnHandleCount(), handles);
}

}  // namespace
}  // namespace tarn::system_test
