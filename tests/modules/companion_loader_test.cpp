#include "modules/companion_loader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modules/fake_modules.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class CompanionLoader : public testing::Test {
 protected:
    bool LoadAllNow() { return LoadAll(companions, fake, error); }
    void UnloadAllNow() { UnloadAll(companions, fake, error); }

    FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
};

TEST_F(CompanionLoader, LoadsInOrderAndUnloadsInTheOther) {
    ASSERT_TRUE(LoadAllNow());
    EXPECT_THAT(fake.Take(),
                ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "load sitecls.dll",
                            "ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings", "SCInit 0",
                            "load tlsinsp.dll", "IntializeSSL", "load urlsig.dll", "WSInitUrlsig"));
    EXPECT_EQ(fake.loads[0], u"C:\\Suite\\setrd.dll");
    EXPECT_TRUE(companions.urlPatterns.loaded);
    UnloadAllNow();
    EXPECT_THAT(fake.Take(),
                ElementsAre("WSDeInitUrlsig", "free urlsig.dll", "DeIntializeSSL", "free tlsinsp.dll", "SCDeinit",
                            "free sitecls.dll", "PKSDeinit", "free pktsig.dll", "free statrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(CompanionLoader, AsksForEveryFunctionInTheOrderOfTheTable) {
    ASSERT_TRUE(LoadAllNow());
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
    UnloadAllNow();
}

TEST_F(CompanionLoader, WithoutTheInstallFolderNothingIsTried) {
    fake.hasInstallFolder = false;
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.loads, IsEmpty());
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(CompanionLoader, EachFailureUndoesExactlyTheEarlierSteps) {
    fake.missingFiles = {"setrd.dll"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(), IsEmpty());

    fake.missingFiles = {"statrd.dll"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "free setrd.dll"));

    fake.missingFiles = {"pktsig.dll"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "free statrd.dll", "free setrd.dll"));

    fake.missingFiles = {};
    fake.failing = {"PKSInit"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit",
                                         "free pktsig.dll", "free statrd.dll", "free setrd.dll"))
        << "a module whose start failed is not ended";

    fake.failing = {};
    fake.missingFiles = {"sitecls.dll"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(), ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "PKSDeinit",
                                         "free pktsig.dll", "free statrd.dll", "free setrd.dll"));

    fake.missingFiles = {};
    fake.failing = {"SCInit"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.Take(),
                ElementsAre("load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit", "load sitecls.dll",
                            "ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings", "SCInit 0",
                            "free sitecls.dll", "PKSDeinit", "free pktsig.dll", "free statrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());

    fake.failing = {};
    EXPECT_TRUE(LoadAllNow()) << "nothing of the failures is left";
    UnloadAllNow();
}

TEST_F(CompanionLoader, ReaderWithoutItsLastReleaseFailsTheWhole) {
    fake.missingFunctions = {"ReleaseBPInternalWhiteList"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_THAT(fake.journal, ElementsAre("load setrd.dll", "free setrd.dll"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(CompanionLoader, StatusReaderWithoutApPromptStatus_Loads) {
    fake.missingFunctions = {"ReadAPReportPromptStatus"};
    ASSERT_TRUE(LoadAllNow());
    EXPECT_TRUE(companions.statusReader.loaded);
    EXPECT_EQ(companions.statusReader.functions.ReadAPReportPromptStatus, nullptr);
    EXPECT_NE(companions.statusReader.functions.ReadEPSServerIP, nullptr) << "what stands behind it is bound";
    UnloadAllNow();
}

TEST_F(CompanionLoader, StatusReaderWithoutBpPromptStatusDoesNotLoad) {
    fake.missingFunctions = {"ReadBPReportPromptStatus"};
    EXPECT_FALSE(LoadAllNow());
    EXPECT_EQ(fake.finds.back(), "ReadBPReportPromptStatus") << "the first missing one ends the binding";
}

TEST_F(CompanionLoader, HttpsInspectionAndUrlPatternsMayBeMissing) {
    for (const char* file : {"tlsinsp.dll", "urlsig.dll"}) {
        fake.missingFiles = {file};
        ASSERT_TRUE(LoadAllNow()) << file;
        EXPECT_EQ(companions.httpsInspection.loaded, fake.Loaded().contains("tlsinsp.dll"));
        EXPECT_EQ(companions.urlPatterns.loaded, fake.Loaded().contains("urlsig.dll"));
        UnloadAllNow();
        EXPECT_THAT(fake.Loaded(), IsEmpty()) << file;
    }
    fake.missingFiles = {};
    fake.failing = {"IntializeSSL", "WSInitUrlsig"};
    fake.Take();
    ASSERT_TRUE(LoadAllNow());
    EXPECT_THAT(fake.Loaded(), UnorderedElementsAre("setrd.dll", "statrd.dll", "pktsig.dll", "sitecls.dll"));
    EXPECT_FALSE(companions.httpsInspection.loaded || companions.urlPatterns.loaded);
    UnloadAllNow();
    EXPECT_EQ(fake.Count("DeIntializeSSL"), 0U);
    EXPECT_EQ(fake.Count("WSDeInitUrlsig"), 0U);
}

TEST_F(CompanionLoader, HttpsInspectionIsNotTriedWhereItMayNotRun) {
    fake.httpsFacts.productType = 3;
    ASSERT_TRUE(LoadAllNow());
    EXPECT_EQ(fake.Count("load tlsinsp.dll"), 0U);
    EXPECT_EQ(fake.Count("load urlsig.dll"), 1U);
    // One that a settings change has loaded all the same is unloaded with the others.
    base::PathBuffer folder;
    ASSERT_TRUE(fake.InstallFolder(folder));
    ASSERT_TRUE(LoadHttpsInspection(companions, fake, folder));
    UnloadAllNow();
    EXPECT_EQ(fake.Count("DeIntializeSSL"), 1U);
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(CompanionLoader, UnloadingTwiceOrNothingCallsNothing) {
    UnloadAllNow();
    EXPECT_THAT(fake.journal, IsEmpty());
    ASSERT_TRUE(LoadAllNow());
    UnloadAllNow();
    fake.Take();
    UnloadAllNow();
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(CompanionLoader, UnloadsWhatALoadLeftOut) {
    fake.missingFiles = {"urlsig.dll"};
    fake.failing = {"IntializeSSL"};
    ASSERT_TRUE(LoadAllNow());
    fake.Take();
    UnloadAllNow();
    EXPECT_THAT(fake.journal, ElementsAre("SCDeinit", "free sitecls.dll", "PKSDeinit", "free pktsig.dll",
                                          "free statrd.dll", "free setrd.dll"));
}

TEST_F(CompanionLoader, CategorisationLearnsWhetherItMayAskOnline) {
    fake.Give("ReadBPStatus", std::uint8_t{1});
    ASSERT_TRUE(LoadAllNow());
    EXPECT_EQ(fake.Count("SCInit 1"), 1U);
    UnloadAllNow();
}

TEST_F(CompanionLoader, AFolderThatLeavesNoRoomForAFileFails) {
    fake.installFolder = u"C:\\" + std::u16string(246, u'd') + u"\\";  // 250 units, 9 of a name's fit behind it
    EXPECT_FALSE(LoadAllNow());
    ASSERT_EQ(fake.loads.size(), 2U) << "the path of setrd.dll fits, that of statrd.dll is cut and tried all the same";
    EXPECT_EQ(fake.loads[0].size(), 259U);
    EXPECT_EQ(fake.loads[1], fake.installFolder + u"statrd.dl");
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(CompanionLoader, UrlPatternsOfACutPathAreNotTried) {
    fake.installFolder = u"C:\\" + std::u16string(247, u'd') + u"\\";
    base::PathBuffer folder;
    ASSERT_TRUE(fake.InstallFolder(folder));
    companions.urlPatterns.loaded = true;  // stale
    EXPECT_FALSE(LoadUrlPatterns(companions, fake, folder));
    EXPECT_FALSE(companions.urlPatterns.loaded);
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
