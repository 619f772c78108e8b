// Every module loaded and unloaded by itself, as a settings change does, and the two that are asked once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <type_traits>
#include <utility>

#include "fakes/fake_modules.h"
#include "fakes/no_modules.h"
#include "modules/module_calls.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OneModule : public testing::Test {
 protected:
    OneModule() { fake.InstallFolder(folder); }

    fakes::FakeModules fake;
    Companions companions;
    base::PathBuffer folder{};
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

template <class Module>
std::vector<std::string> NamesOf() {
    std::vector<std::string> names;
    Module module;
    Module::VisitSlots(module, [&](const char* name, const auto&) {
        names.emplace_back(name);
        return true;
    });
    return names;
}

// A system that answers each name with an address of its own.
class NamedAddresses final : public fakes::NoModules {
 public:
    void* Load(const char16_t*) override { return this; }
    void* Find(void*, const char* function) override { return &addresses[function]; }
    std::map<std::string, char> addresses;
};

template <class Module>
void ExpectBoundByName() {
    NamedAddresses system;
    const LoadedModule<Module> module(system, u"");
    ASSERT_TRUE(module);
    Module::VisitSlots(*module.operator->(), [&](const char* name, const auto& slot) {
        EXPECT_EQ(reinterpret_cast<void*>(slot), &system.addresses.at(name)) << name;
        return true;
    });
    EXPECT_EQ(system.addresses.size(), NamesOf<Module>().size()) << "no name twice";
}

TEST(CompanionTable, EverySlotHoldsTheFunctionOfItsName) {
    ExpectBoundByName<SettingsReader>();
    ExpectBoundByName<StatusReader>();
    ExpectBoundByName<PacketSignatures>();
    ExpectBoundByName<Categorisation>();
    ExpectBoundByName<HttpsInspection>();
    ExpectBoundByName<UrlPatterns>();
    ExpectBoundByName<Quarantine>();
    ExpectBoundByName<DisabledFeaturesReader>();
    ExpectBoundByName<AgentStatusReader>();
    // One by hand, apart from the list.
    NamedAddresses system;
    const LoadedModule<StatusReader> module(system, u"");
    EXPECT_EQ(reinterpret_cast<void*>(module->ReadBPStatus), &system.addresses.at("ReadBPStatus"));
    EXPECT_EQ(reinterpret_cast<void*>(module->ReadAPStatus), &system.addresses.at("ReadAPStatus"));
}

// A row of the list compiles only where the slot of its name is.
template <class Self, class Visit>
concept ImportsBPStatus = requires(Self self, Visit visit) {
    TARN_IMPORT(ReadBPStatus, ReadStatusFn) true;
};
struct AnyVisit {
    template <class Slot>
    bool operator()(const char*, Slot&) const;
};
static_assert(ImportsBPStatus<StatusReader, AnyVisit>);
static_assert(!ImportsBPStatus<SettingsReader, AnyVisit>, "a name without its slot must not compile");

static_assert(!std::is_copy_constructible_v<LoadedModule<StatusReader>>);
static_assert(std::is_nothrow_move_constructible_v<LoadedModule<StatusReader>>);
static_assert(std::is_nothrow_move_assignable_v<LoadedModule<StatusReader>>);

TEST(LoadedModuleTest, IsFreedOnceByItsLastOwner) {
    fakes::FakeModules fake;
    {
        LoadedModule<UrlPatterns> first(fake, u"C:\\Suite\\urlsig.dll");
        ASSERT_TRUE(first);
        LoadedModule<UrlPatterns> second(std::move(first));
        EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): empty is what it must be
        EXPECT_TRUE(second);
        first = std::move(second);
        EXPECT_TRUE(first);
        EXPECT_FALSE(second);  // NOLINT(bugprone-use-after-move)
        EXPECT_THAT(fake.Take(), ElementsAre("load urlsig.dll"));
    }
    EXPECT_THAT(fake.Take(), ElementsAre("free urlsig.dll"));
    {
        LoadedModule<UrlPatterns> module(fake, u"C:\\Suite\\urlsig.dll");
        module = {};
        EXPECT_THAT(fake.Take(), ElementsAre("load urlsig.dll", "free urlsig.dll"));
    }
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST(LoadedModuleTest, FunctionsOfTheProgramAreNotFreed) {
    {
        const LoadedModule<HttpsInspection> module(HttpsInspection{.TiShowPopup = [] {}});
    }
    const LoadedModule<HttpsInspection> module(HttpsInspection{.TiShowPopup = [] {}});
    ASSERT_TRUE(module);
    EXPECT_NE(module->TiShowPopup, nullptr);
}

// Each function missing in turn: the load asks no further, frees what it loaded and keeps nothing.
template <class Module>
void ExpectAllOrNothing(fakes::FakeModules& fake, ModuleCalls& calls, Companions& companions,
                        const base::PathBuffer& folder) {
    const std::vector<std::string> names = NamesOf<Module>();
    const std::string file(Module::kFile.begin(), Module::kFile.end());
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == "ReadAPReportPromptStatus") continue;
        SCOPED_TRACE(names[i]);
        fake.finds.clear();
        fake.missingFunctions = {names[i]};
        EXPECT_FALSE(calls.Load<Module>(folder));
        EXPECT_THAT(fake.Take(), ElementsAre("load " + file, "free " + file));
        EXPECT_EQ(fake.finds,
                  std::vector<std::string>(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(i) + 1));
        EXPECT_FALSE(companions.Get<Module>());
    }
    fake.missingFunctions.clear();
}

TEST_F(OneModule, AnyMissingFunctionUnloadsIt) {
    ExpectAllOrNothing<SettingsReader>(fake, calls, companions, folder);
    ExpectAllOrNothing<StatusReader>(fake, calls, companions, folder);
    ExpectAllOrNothing<PacketSignatures>(fake, calls, companions, folder);
    ExpectAllOrNothing<Categorisation>(fake, calls, companions, folder);
    ExpectAllOrNothing<HttpsInspection>(fake, calls, companions, folder);
    ExpectAllOrNothing<UrlPatterns>(fake, calls, companions, folder);
}

TEST_F(OneModule, AFailedStartUnloadsIt) {
    fake.failing = {"PKSInit", "SCInit", "IntializeSSL", "WSInitUrlsig"};
    EXPECT_FALSE(calls.Load<PacketSignatures>(folder));
    EXPECT_FALSE(calls.Load<Categorisation>(folder));
    EXPECT_FALSE(calls.Load<HttpsInspection>(folder));
    EXPECT_FALSE(calls.Load<UrlPatterns>(folder));
    EXPECT_FALSE(companions.AnyLoaded());
    EXPECT_THAT(fake.Loaded(), IsEmpty());
    EXPECT_THAT(fake.Take(), ElementsAre("load pktsig.dll", "PKSInit", "free pktsig.dll", "load sitecls.dll",
                                         "SCInit 0", "free sitecls.dll", "load tlsinsp.dll", "IntializeSSL",
                                         "free tlsinsp.dll", "load urlsig.dll", "WSInitUrlsig", "free urlsig.dll"));
}

TEST_F(OneModule, ReloadsAndUnloads) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(calls.Load<SettingsReader>(folder));
        ASSERT_TRUE(calls.Load<StatusReader>(folder));
        ASSERT_TRUE(calls.Load<PacketSignatures>(folder));
        ASSERT_TRUE(calls.Load<Categorisation>(folder));
        EXPECT_EQ(fake.Loaded().size(), 4U);
        fake.Take();
        ASSERT_TRUE(calls.Reload<PacketSignatures>(folder));
        EXPECT_THAT(fake.Take(), ElementsAre("PKSDeinit", "free pktsig.dll", "load pktsig.dll", "PKSInit"));
        calls.Unload<Categorisation>();
        calls.Unload<PacketSignatures>();
        calls.Unload<StatusReader>();
        calls.Unload<SettingsReader>();
        EXPECT_THAT(fake.Loaded(), IsEmpty());
        EXPECT_FALSE(companions.AnyLoaded());
    }
}

TEST_F(OneModule, ItsContextStandsWhereItsStartWasTold) {
    // A module may keep the address that PKSInit was given.
    ASSERT_TRUE(calls.Load<PacketSignatures>(folder));
    EXPECT_EQ(fake.packetContextCell, &companions.packetContext);
    EXPECT_EQ(companions.packetContext, fake.packetContext);
    calls.Unload<PacketSignatures>();
    EXPECT_EQ(companions.packetContext, fake.packetContext) << "the next PKSInit finds what the last one left";
}

TEST_F(OneModule, AgentStatusIsAskedOnce) {
    std::uint8_t status = 55;
    EXPECT_TRUE(calls.ReadAgentStatus(status));
    EXPECT_EQ(status, 9);
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "GetYALStatus", "free agentst.dll"));

    status = 55;
    fake.failing = {"GetYALStatus"};
    EXPECT_FALSE(calls.ReadAgentStatus(status));
    EXPECT_EQ(status, 0) << "what a failed call left counts for nothing";
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "GetYALStatus", "free agentst.dll"));

    status = 55;
    fake.missingFunctions = {"GetYALStatus"};
    EXPECT_FALSE(calls.ReadAgentStatus(status));
    EXPECT_EQ(status, 0);
    EXPECT_THAT(fake.Take(), ElementsAre("load agentst.dll", "free agentst.dll"));

    fake.missingFiles = {"agentst.dll"};
    EXPECT_FALSE(calls.ReadAgentStatus(status));
    fake.hasInstallFolder = false;
    EXPECT_FALSE(calls.ReadAgentStatus(status));
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST_F(OneModule, DisabledFeaturesAreAskedOnce) {
    DisabledFeatures given{};
    given.bytes[5] = 1;
    given.bytes[63] = 7;
    fake.Give("ReadDisableFeaturesSettings", given);
    DisabledFeatures features;
    EXPECT_TRUE(calls.ReadDisabledFeatures(features));
    EXPECT_EQ(features.bytes[5], 1);
    EXPECT_EQ(features.bytes[63], 7);
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "ReadDisableFeaturesSettings", "free OPTSTORE.DLL"));

    fake.failing = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(calls.ReadDisabledFeatures(features));
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "ReadDisableFeaturesSettings", "free OPTSTORE.DLL"));
    fake.missingFunctions = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(calls.ReadDisabledFeatures(features));
    EXPECT_THAT(fake.Take(), ElementsAre("load OPTSTORE.DLL", "free OPTSTORE.DLL"));
    EXPECT_THAT(fake.Loaded(), IsEmpty());
}

TEST_F(OneModule, PathsOfModulesThatAreAskedOnceAreNeverCut) {
    DisabledFeatures features;
    std::uint8_t status = 0;
    // "OPTSTORE.DLL" has 12 units and its path 256 with the NUL; "agentst.dll" has 11 and 260.
    fake.installFolder = std::u16string(242, u'd') + u"\\";
    EXPECT_TRUE(calls.ReadDisabledFeatures(features));
    fake.installFolder = std::u16string(243, u'd') + u"\\";
    fake.loads.clear();
    EXPECT_FALSE(calls.ReadDisabledFeatures(features));
    EXPECT_THAT(fake.loads, IsEmpty());

    fake.installFolder = std::u16string(247, u'd') + u"\\";
    EXPECT_TRUE(calls.ReadAgentStatus(status));
    fake.installFolder = std::u16string(248, u'd') + u"\\";
    fake.loads.clear();
    EXPECT_FALSE(calls.ReadAgentStatus(status));
    EXPECT_THAT(fake.loads, IsEmpty());
}

}  // namespace
}  // namespace tarn::modules
