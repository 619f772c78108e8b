#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/fake_modules.h"
#include "modules/module_calls.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ModuleLoading : public testing::Test {
 protected:
    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

TEST_F(ModuleLoading, LoadsInOrderAndUnloadsInTheOther) {
    ASSERT_TRUE(calls.LoadAll());
    EXPECT_THAT(fake.Take(),
                ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "load sitecls.dll",
                            "ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings", "SCInit 0",
                            "load tlsinsp.dll", "IntializeSSL", "load urlsig.dll", "WSInitUrlsig"));
    EXPECT_EQ(fake.loads[0], u"C:\\Suite\\setrd.dll");
    EXPECT_TRUE(companions.urlPatterns);
    calls.UnloadAll();
    EXPECT_THAT(fake.Take(),
                ElementsAre("WSDeInitUrlsig", "free urlsig.dll", "DeIntializeSSL", "free tlsinsp.dll", "SCDeinit",
                            "free sitecls.dll", "PKSDeinit", "free pktsig.dll", "free statrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(ModuleLoading, AsksForEveryFunctionInTheOrderOfTheTable) {
    ASSERT_TRUE(calls.LoadAll());
    EXPECT_THAT(
        fake.finds,
        ElementsAre("ReadWSInternalWhiteList", "ReadBPSettings", "ReadIDSSettings", "ReleaseIDSSettings",
                    "ReleaseWSInternalWhiteList", "ReleaseBPSettings", "ReadAPSettings", "ReleaseAPSettings",
                    "ReadBPInternalWhiteList", "ReleaseBPInternalWhiteList",  //
                    "ReadBPStatus", "ReadIDSIPSStatus", "ReadPCSettings", "ReleasePCSettings", "ReadAPStatus",
                    "ReadBPUserWhiteList", "ResetBPUserWhitelist", "ReleaseBPUserWhiteList", "ReadWebSecCloudStatus",
                    "ReadDNSCacheSettings", "WriteDNSCacheSettings", "ReleaseDNSCacheSettings", "ReadIDSIPSSettings",
                    "ReleaseIDSIPSSettings", "ReadBPReportPromptStatus", "ReadAPReportPromptStatus",
                    "ReadPCSystemControlSettings", "ReleasePCSystemControlSettings", "WritePCSystemControlSettings",
                    "ReadEPSServerIP",                                                                       //
                    "PKSInit", "PKSDeinit", "PKSScanPacket",                                                 //
                    "SCInit", "SCDeinit", "SCGetURLCategories", "SCGetCategoryName", "SCReleaseCategories",  //
                    "SCSaveCacheFile",                                                                       //
                    "IntializeSSL", "DeIntializeSSL", "TiScanHttpsPacket", "TiShowPopup",                    //
                    "WSCheckURLMaliciousPattern", "WSInitUrlsig", "WSDeInitUrlsig"));
    calls.UnloadAll();
}

TEST_F(ModuleLoading, WithoutTheInstallFolderNothingIsTried) {
    fake.hasInstallFolder = false;
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.loads, IsEmpty());
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(ModuleLoading, EachFailureUndoesExactlyTheEarlierSteps) {
    fake.missingFiles = {"setrd.dll"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(), IsEmpty());

    fake.missingFiles = {"statrd.dll"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "free setrd.dll"));

    fake.missingFiles = {"pktsig.dll"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "free statrd.dll", "free setrd.dll"));

    fake.missingFiles = {};
    fake.failing = {"PKSInit"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit",
                                         "free pktsig.dll", "free statrd.dll", "free setrd.dll"))
        << "a module whose start failed is not ended";

    fake.failing = {};
    fake.missingFiles = {"sitecls.dll"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "PKSDeinit",
                                         "free pktsig.dll", "free statrd.dll", "free setrd.dll"));

    fake.missingFiles = {};
    fake.failing = {"SCInit"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.Take(),
                ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "load sitecls.dll",
                            "ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings", "SCInit 0",
                            "free sitecls.dll", "PKSDeinit", "free pktsig.dll", "free statrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());

    fake.failing = {};
    EXPECT_TRUE(calls.LoadAll()) << "nothing of the failures is left";
    calls.UnloadAll();
}

TEST_F(ModuleLoading, ReaderWithoutItsLastReleaseFailsTheWhole) {
    fake.missingFunctions = {"ReleaseBPInternalWhiteList"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_THAT(fake.journal, ElementsAre("load setrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(ModuleLoading, StatusReaderWithoutApPromptStatus_Loads) {
    fake.missingFunctions = {"ReadAPReportPromptStatus"};
    ASSERT_TRUE(calls.LoadAll());
    ASSERT_TRUE(companions.statusReader);
    EXPECT_EQ(companions.statusReader->ReadAPReportPromptStatus, nullptr);
    EXPECT_NE(companions.statusReader->ReadEPSServerIP, nullptr) << "what stands behind it is bound";
    calls.UnloadAll();
}

TEST_F(ModuleLoading, StatusReaderWithoutBpPromptStatusDoesNotLoad) {
    fake.missingFunctions = {"ReadBPReportPromptStatus"};
    EXPECT_FALSE(calls.LoadAll());
    EXPECT_EQ(fake.finds.back(), "ReadBPReportPromptStatus") << "the first missing one ends the binding";
}

TEST_F(ModuleLoading, HttpsInspectionAndUrlPatternsMayBeMissing) {
    for (const char* file : {"tlsinsp.dll", "urlsig.dll"}) {
        fake.missingFiles = {file};
        ASSERT_TRUE(calls.LoadAll()) << file;
        EXPECT_EQ(static_cast<bool>(companions.httpsInspection), fake.Loaded().contains("tlsinsp.dll"));
        EXPECT_EQ(static_cast<bool>(companions.urlPatterns), fake.Loaded().contains("urlsig.dll"));
        calls.UnloadAll();
        EXPECT_THAT(fake.Loaded(), IsEmpty()) << file;
    }
    fake.missingFiles = {};
    fake.failing = {"IntializeSSL", "WSInitUrlsig"};
    fake.Take();
    ASSERT_TRUE(calls.LoadAll());
    EXPECT_THAT(fake.Loaded(), UnorderedElementsAre("setrd.dll", "statrd.dll", "pktsig.dll", "sitecls.dll"));
    EXPECT_FALSE(companions.httpsInspection || companions.urlPatterns);
    calls.UnloadAll();
    EXPECT_EQ(fake.Count("DeIntializeSSL"), 0U);
    EXPECT_EQ(fake.Count("WSDeInitUrlsig"), 0U);
}

TEST_F(ModuleLoading, HttpsInspectionIsNotTriedWhereItMayNotRun) {
    fake.httpsFacts.productType = 3;
    ASSERT_TRUE(calls.LoadAll());
    EXPECT_EQ(fake.Count("load tlsinsp.dll"), 0U);
    EXPECT_EQ(fake.Count("load urlsig.dll"), 1U);
    // One that a settings change has loaded all the same is unloaded with the others.
    base::PathBuffer folder;
    ASSERT_TRUE(fake.InstallFolder(folder));
    ASSERT_TRUE(calls.Load<HttpsInspection>(folder));
    calls.UnloadAll();
    EXPECT_EQ(fake.Count("DeIntializeSSL"), 1U);
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(ModuleLoading, UnloadingTwiceOrNothingCallsNothing) {
    calls.UnloadAll();
    EXPECT_THAT(fake.journal, IsEmpty());
    ASSERT_TRUE(calls.LoadAll());
    calls.UnloadAll();
    fake.Take();
    calls.UnloadAll();
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(ModuleLoading, UnloadsWhatALoadLeftOut) {
    fake.missingFiles = {"urlsig.dll"};
    fake.failing = {"IntializeSSL"};
    ASSERT_TRUE(calls.LoadAll());
    fake.Take();
    calls.UnloadAll();
    EXPECT_THAT(fake.journal, ElementsAre("SCDeinit", "free sitecls.dll", "PKSDeinit", "free pktsig.dll",
                                          "free statrd.dll", "free setrd.dll"));
}

TEST_F(ModuleLoading, CategorisationLearnsWhetherItMayAskOnline) {
    fake.Give("ReadBPStatus", std::uint8_t{1});
    ASSERT_TRUE(calls.LoadAll());
    EXPECT_EQ(fake.Count("SCInit 1"), 1U);
    calls.UnloadAll();
}

TEST_F(ModuleLoading, AFolderThatLeavesNoRoomForAFileFails) {
    fake.installFolder = u"C:\\" + std::u16string(246, u'd') + u"\\";  // 250 units, 9 of a name's fit behind it
    EXPECT_FALSE(calls.LoadAll());
    ASSERT_EQ(fake.loads.size(), 2U) << "the path of setrd.dll fits, that of statrd.dll is cut and tried all the same";
    EXPECT_EQ(fake.loads[0].size(), 259U);
    EXPECT_EQ(fake.loads[1], fake.installFolder + u"statrd.dl");
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(ModuleLoading, UrlPatternsOfACutPathAreNotTried) {
    fake.installFolder = u"C:\\" + std::u16string(247, u'd') + u"\\";
    base::PathBuffer folder;
    ASSERT_TRUE(fake.InstallFolder(folder));
    EXPECT_FALSE(calls.Load<UrlPatterns>(folder));
    EXPECT_FALSE(companions.urlPatterns);
    EXPECT_THAT(fake.loads, IsEmpty());
}

TEST(HttpsInspectionMayRun, NeedsEveryAnswer) {
    const machine::HttpsInspectionFacts good{true, false, 50042, true, 1};
    EXPECT_TRUE(HttpsInspectionMayRun(good));
    const struct {
        const char* what;
        machine::HttpsInspectionFacts facts;
        bool mayRun;
    } cases[] = {{"the baseline is unknown", {false, false, 50042, true, 1}, false},
                 {"older than the baseline", {true, true, 50042, true, 1}, false},
                 {"64-bit workstation of 5.2", {true, false, 50013, true, 1}, false},
                 {"its neighbours", {true, false, 50012, true, 1}, true},
                 {"its neighbours", {true, false, 50014, true, 1}, true},
                 {"an unknown system", {true, false, 0, true, 1}, true},
                 {"an unknown product type", {true, false, 50042, false, 1}, false},
                 {"a domain controller", {true, false, 50042, true, 2}, false},
                 {"a server", {true, false, 50042, true, 3}, false},
                 {"another product type", {true, false, 50042, true, 0}, true},
                 {"another product type", {true, false, 50042, true, 4}, true}};
    for (const auto& c : cases) EXPECT_EQ(HttpsInspectionMayRun(c.facts), c.mayRun) << c.what;
}

}  // namespace
}  // namespace tarn::modules
