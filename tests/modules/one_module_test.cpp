// Every module loaded and unloaded by itself, as a settings change does, and the two that are asked once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tuple>

#include "modules/companion_loader.h"
#include "modules/fake_modules.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OneModule : public testing::Test {
 protected:
    OneModule() { fake.InstallFolder(folder); }

    FakeModules fake;
    Companions companions;
    base::PathBuffer folder{};
    std::uint32_t error = 0;
};

template <class Functions>
std::vector<std::string> NamesOf() {
    return std::apply([](const auto&... imports) { return std::vector<std::string>{imports.name...}; },
                      Functions::Imports());
}

// The names of the slots that hold a pointer.
template <class Functions>
std::vector<std::string> BoundIn(const Functions& functions) {
    std::vector<std::string> bound;
    std::apply(
        [&](const auto&... imports) {
            ((functions.*(imports.slot) != nullptr ? bound.emplace_back(imports.name) : bound.emplace_back()), ...);
        },
        Functions::Imports());
    std::erase(bound, "");
    return bound;
}

// Each function missing in turn: the load asks no further, frees what it loaded, and keeps or zeroes what it says.
template <class Functions, class Load>
void ExpectAllOrNothing(FakeModules& fake, Companion<Functions>& companion, bool zeroesHandle, bool zeroesPointers,
                        Load&& load) {
    const std::vector<std::string> names = NamesOf<Functions>();
    const std::string file(Functions::kFile.begin(), Functions::kFile.end());
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == "ReadAPReportPromptStatus") continue;
        SCOPED_TRACE(names[i]);
        companion = {};
        fake.finds.clear();
        fake.missingFunctions = {names[i]};
        EXPECT_FALSE(load());
        EXPECT_THAT(fake.Take(), ElementsAre("load " + file, "free " + file));
        const auto upTo = [&](std::size_t count) {
            return std::vector<std::string>(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(count));
        };
        EXPECT_EQ(fake.finds, upTo(i + 1));
        EXPECT_EQ(BoundIn(companion.functions), zeroesPointers ? upTo(0) : upTo(i));
        EXPECT_EQ(companion.handle == nullptr, zeroesHandle);
        EXPECT_FALSE(companion.loaded);
    }
    fake.missingFunctions.clear();
    companion = {};
}

TEST_F(OneModule, AnyMissingFunctionUnloadsIt) {
    ExpectAllOrNothing(fake, companions.settingsReader, false, false,
                       [&] { return LoadSettingsReader(companions, fake, folder); });
    ExpectAllOrNothing(fake, companions.statusReader, false, false,
                       [&] { return LoadStatusReader(companions, fake, folder); });
    ExpectAllOrNothing(fake, companions.packetSignatures, false, false,
                       [&] { return LoadPacketSignatures(companions, fake, folder, error); });
    ExpectAllOrNothing(fake, companions.categorisation, true, false,
                       [&] { return LoadCategorisation(companions, fake, folder, error); });
    ExpectAllOrNothing(fake, companions.httpsInspection, true, true,
                       [&] { return LoadHttpsInspection(companions, fake, folder); });
    ExpectAllOrNothing(fake, companions.urlPatterns, false, false,
                       [&] { return LoadUrlPatterns(companions, fake, folder); });
}

TEST_F(OneModule, HttpsInspectionForgetsItsPointersBeforeItLoads) {
    ASSERT_TRUE(LoadHttpsInspection(companions, fake, folder));
    UnloadHttpsInspection(companions, fake);
    EXPECT_NE(companions.httpsInspection.functions.TiScanHttpsPacket, nullptr) << "stale, and never used";
    EXPECT_EQ(companions.httpsInspection.handle, nullptr);
    fake.missingFiles = {"tlsinsp.dll"};
    EXPECT_FALSE(LoadHttpsInspection(companions, fake, folder));
    EXPECT_THAT(BoundIn(companions.httpsInspection.functions), IsEmpty());
    fake.missingFiles = {};
    fake.failing = {"IntializeSSL"};
    EXPECT_FALSE(LoadHttpsInspection(companions, fake, folder));
    EXPECT_THAT(BoundIn(companions.httpsInspection.functions), IsEmpty());
    EXPECT_EQ(companions.httpsInspection.handle, nullptr);
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(OneModule, AFailedStartUnloadsIt) {
    fake.failing = {"PKSInit", "SCInit", "WSInitUrlsig"};
    EXPECT_FALSE(LoadPacketSignatures(companions, fake, folder, error));
    EXPECT_FALSE(companions.packetSignatures.loaded);
    EXPECT_NE(companions.packetSignatures.handle, nullptr) << "stale, and never used";
    EXPECT_FALSE(LoadCategorisation(companions, fake, folder, error));
    EXPECT_FALSE(companions.categorisation.loaded);
    EXPECT_EQ(companions.categorisation.handle, nullptr);
    EXPECT_FALSE(LoadUrlPatterns(companions, fake, folder));
    EXPECT_FALSE(companions.urlPatterns.loaded);
    EXPECT_THAT(fake.Loaded(), IsEmpty());
    EXPECT_THAT(fake.Take(),
                ElementsAre("load pktsig.dll", "PKSInit", "free pktsig.dll", "load sitecls.dll", "SCInit 0",
                            "free sitecls.dll", "load urlsig.dll", "WSInitUrlsig", "free urlsig.dll"));
}

TEST_F(OneModule, ReloadsAndUnloads) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(LoadSettingsReader(companions, fake, folder));
        ASSERT_TRUE(LoadStatusReader(companions, fake, folder));
        ASSERT_TRUE(LoadPacketSignatures(companions, fake, folder, error));
        ASSERT_TRUE(LoadCategorisation(companions, fake, folder, error));
        EXPECT_EQ(fake.Loaded().size(), 4U);
        UnloadCategorisation(companions, fake, error);
        EXPECT_EQ(companions.categorisation.handle, nullptr);
        UnloadPacketSignatures(companions, fake, error);
        UnloadStatusReader(companions, fake);
        UnloadSettingsReader(companions, fake);
        EXPECT_NE(companions.settingsReader.handle, nullptr) << "stale, and never used";
        EXPECT_THAT(fake.Loaded(), IsEmpty());
        EXPECT_FALSE(companions.settingsReader.loaded || companions.statusReader.loaded ||
                     companions.packetSignatures.loaded || companions.categorisation.loaded);
    }
}

TEST_F(OneModule, AgentStatusIsAskedOnce) {
    std::uint8_t status = 55;
    EXPECT_TRUE(ReadAgentStatus(fake, status));
    EXPECT_EQ(status, 9);
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "GetYALStatus", "free agentst.dll"));

    status = 55;
    fake.failing = {"GetYALStatus"};
    EXPECT_FALSE(ReadAgentStatus(fake, status));
    EXPECT_EQ(status, 0) << "what a failed call left counts for nothing";
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "GetYALStatus", "free agentst.dll"));

    status = 55;
    fake.missingFunctions = {"GetYALStatus"};
    EXPECT_FALSE(ReadAgentStatus(fake, status));
    EXPECT_EQ(status, 0);
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "free agentst.dll"));

    fake.missingFiles = {"agentst.dll"};
    EXPECT_FALSE(ReadAgentStatus(fake, status));
    fake.hasInstallFolder = false;
    EXPECT_FALSE(ReadAgentStatus(fake, status));
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST_F(OneModule, DisabledFeaturesAreAskedOnce) {
    DisabledFeatures given{};
    given.bytes[5] = 1;
    given.bytes[63] = 7;
    fake.Give("ReadDisableFeaturesSettings", given);
    DisabledFeatures features;
    EXPECT_TRUE(ReadDisabledFeatures(fake, features, error));
    EXPECT_EQ(features.bytes[5], 1);
    EXPECT_EQ(features.bytes[63], 7);
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "ReadDisableFeaturesSettings", "free OPTSTORE.DLL"));

    fake.failing = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(ReadDisabledFeatures(fake, features, error));
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "ReadDisableFeaturesSettings", "free OPTSTORE.DLL"));
    fake.missingFunctions = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(ReadDisabledFeatures(fake, features, error));
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "free OPTSTORE.DLL"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(OneModule, PathsOfModulesThatAreAskedOnceAreNeverCut) {
    DisabledFeatures features;
    std::uint8_t status = 0;
    // "OPTSTORE.DLL" has 12 units and its path 256 with the NUL; "agentst.dll" has 11 and 260.
    fake.installFolder = std::u16string(242, u'd') + u"\\";
    EXPECT_TRUE(ReadDisabledFeatures(fake, features, error));
    fake.installFolder = std::u16string(243, u'd') + u"\\";
    fake.loads.clear();
    EXPECT_FALSE(ReadDisabledFeatures(fake, features, error));
    EXPECT_THAT(fake.loads, IsEmpty());

    fake.installFolder = std::u16string(247, u'd') + u"\\";
    EXPECT_TRUE(ReadAgentStatus(fake, status));
    fake.installFolder = std::u16string(248, u'd') + u"\\";
    fake.loads.clear();
    EXPECT_FALSE(ReadAgentStatus(fake, status));
    EXPECT_THAT(fake.loads, IsEmpty());
}

}  // namespace
}  // namespace tarn::modules
