// Changes of settings on a library whose modules are scripted: results, orders, and what a failing step leaves.
#include "api/settings_change.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "api/full_settings.h"
#include "api/lifecycle.h"
#include "api/machine_with_modules.h"

namespace tarn::api {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Values = std::vector<std::uint64_t>;
Values seen;  // by the last function that takes the host's values

std::uint8_t WriteAnswers(std::uint64_t, const DnsCacheRecord*, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                          std::uint64_t c) {
    seen = {a, b, c};
    return 1;
}
std::uint8_t StartCategories(std::uint8_t, std::uint32_t*, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    seen = {a, b, c};
    return 1;
}

class SettingsChange : public testing::Test {
 protected:
    SettingsChange() { settings.GiveTo(Modules()); }
    ~SettingsChange() override {
        Stop(*library, error);
        EXPECT_THAT(Modules().Loaded(), IsEmpty());
    }

    fakes::FakeModules& Modules() { return machine.modules.inner; }
    void Start() {
        ASSERT_TRUE(api::Start(*library, TARN_START_RESTART, error));
        Modules().Take();
    }
    bool Change(std::uint32_t kind, const modules::PassedValues& passed = {}) {
        return ChangeSettings(*library, kind, passed);
    }

    MachineWithModules machine;
    FullSettings settings;
    std::unique_ptr<Library> library = std::make_unique<Library>(machine);
    std::uint32_t error = 0;
};

constexpr modules::PassedValues kPassed{11, 22, 33};

TEST_F(SettingsChange, WithoutTheSettingsReaderTheValuesGoToTheSavingOfAnswers) {
    machine.modules.Replace("WriteDNSCacheSettings", &WriteAnswers);
    Start();
    Modules().missingFiles = {"setrd.dll"};
    ASSERT_FALSE(ReloadUpdated(*library, TARN_UPDATED_SETTINGS_READER));
    seen = {};
    Change(TARN_SETTINGS_EVERYTHING, kPassed);
    EXPECT_EQ(seen, (Values{11, 22, 33}));
}

TEST_F(SettingsChange, WithNeitherModuleLoadedTheValuesGoToTheFirstCallOfTheLoad) {
    machine.modules.Replace("SCInit", &StartCategories);
    Modules().proxyFile.state = machine::FileStart::State::kUnreadable;  // no module is asked for the decision
    for (const std::uint32_t kind : {TARN_SETTINGS_HTTPS_INSPECTION, TARN_SETTINGS_HTTPS_INSPECTION_TOO}) {
        seen = {};
        EXPECT_TRUE(Change(kind, kPassed));
        EXPECT_EQ(seen, (Values{11, 22, 33}));
        library->companions = {};
    }
}

TEST_F(SettingsChange, AFailedReadOfAStatusEndsTheKindAndTurnsTheFeatureOff) {
    Start();
    Modules().failing = {"ReadBPStatus"};
    EXPECT_FALSE(Change(TARN_SETTINGS_BROWSING_PROTECTION));
    EXPECT_EQ(library->settings.bpStatus, 0);
    EXPECT_THAT(Modules().Take(), ElementsAre("ReadBPStatus"));
    Modules().failing = {"ReadBPReportPromptStatus"};
    EXPECT_FALSE(Change(TARN_SETTINGS_BROWSING_PROTECTION));
    EXPECT_EQ(library->settings.bpStatus, 1);
    EXPECT_EQ(library->settings.bpPrompt.report, 0);
    EXPECT_THAT(Modules().Take(), ElementsAre("ReadBPStatus", "ReadBPReportPromptStatus"));
    Modules().failing = {"ReadIDSIPSStatus"};
    EXPECT_EQ(library->settings.idsIpsStatus, 1);
    EXPECT_FALSE(Change(TARN_SETTINGS_IDS_STATUS));
    EXPECT_EQ(library->settings.idsIpsStatus, 0);
}

TEST_F(SettingsChange, ListsThatCannotBeReadDoNotFailAChangeOfEverything) {
    Start();
    ASSERT_EQ(library->settings.bpStatus, 1);
    ASSERT_EQ(library->settings.bpSettings.count + 0, 1U);
    Modules().failing = {"ReadBPSettings", "ReadBPStatus", "ReadPCSettings"};
    EXPECT_TRUE(Change(TARN_SETTINGS_EVERYTHING));
    EXPECT_EQ(library->settings.bpStatus, 0);
    EXPECT_EQ(library->settings.bpSettings.count + 0, 0U);
    EXPECT_THAT(library->parental.Settings().Entries(), IsEmpty());
}

TEST_F(SettingsChange, EverythingRestartsTheWorker) {
    Start();
    ASSERT_TRUE(library->scheduleWorker.IsRunning());
    Modules().Give("ReadPCSettings", PcSettingsRecord{});
    EXPECT_TRUE(Change(TARN_SETTINGS_EVERYTHING));
    EXPECT_FALSE(library->scheduleWorker.IsRunning()) << "the new settings have no schedule";
    settings.GiveTo(Modules());
    EXPECT_TRUE(Change(TARN_SETTINGS_EVERYTHING));
    EXPECT_TRUE(library->scheduleWorker.IsRunning());
}

TEST_F(SettingsChange, InspectionIsNotTouchedWhereItMayNotRun) {
    Start();
    Modules().httpsFacts.productType = 3;
    EXPECT_TRUE(Change(TARN_SETTINGS_HTTPS_INSPECTION));
    const auto journal = Modules().Take();
    EXPECT_THAT(journal, Not(Contains("DeIntializeSSL")));
    EXPECT_THAT(journal, Not(Contains("load tlsinsp.dll")));
    EXPECT_THAT(journal, Contains("load sitecls.dll"));
}

TEST_F(SettingsChange, AFailedReloadOfCategoriesLeavesInspectionUnloaded) {
    Start();
    Modules().failing = {"SCInit"};
    EXPECT_FALSE(Change(TARN_SETTINGS_HTTPS_INSPECTION));
    EXPECT_FALSE(library->companions.httpsInspection);
    EXPECT_FALSE(library->companions.categorisation);
}

TEST_F(SettingsChange, TheUpdateOfInspectionDoesNotAskWhetherItMayRun) {
    Start();
    Modules().httpsFacts.productType = 3;
    EXPECT_TRUE(ReloadUpdated(*library, TARN_UPDATED_HTTPS_INSPECTION));
    EXPECT_THAT(Modules().Take(),
                ElementsAre("DeIntializeSSL", "free tlsinsp.dll", "load tlsinsp.dll", "IntializeSSL"));
}

TEST_F(SettingsChange, AFailedLoadEndsTheUpdate) {
    const struct {
        std::uint32_t bit;
        const char* file;
    } cases[] = {{TARN_UPDATED_CATEGORISATION, "sitecls.dll"},   {TARN_UPDATED_CATEGORISATION_TOO, "sitecls.dll"},
                 {TARN_UPDATED_PACKET_SIGNATURES, "pktsig.dll"}, {TARN_UPDATED_SETTINGS_READER, "setrd.dll"},
                 {TARN_UPDATED_HTTPS_INSPECTION, "tlsinsp.dll"}, {TARN_UPDATED_STATUS_READER, "statrd.dll"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bit);
        Modules().missingFiles = {};
        Start();
        Modules().missingFiles = {c.file};
        EXPECT_FALSE(ReloadUpdated(*library, c.bit | TARN_UPDATED_IDS_RULES));
        EXPECT_THAT(Modules().Take(), Not(Contains("ReleaseIDSSettings"))) << "what stands behind is untouched";
    }
    Modules().missingFiles = {};
    Start();
    Modules().missingFiles = {"urlsig.dll"};
    EXPECT_TRUE(ReloadUpdated(*library, TARN_UPDATED_URL_PATTERNS)) << "this one may be missing";
}

TEST_F(SettingsChange, RulesThatCannotBeReadAreGone) {
    Start();
    ASSERT_EQ(library->settings.idsRules.Record().ruleCount, 1U);
    Modules().failing = {"ReadIDSSettings"};
    EXPECT_TRUE(ReloadUpdated(*library, TARN_UPDATED_IDS_RULES));
    EXPECT_EQ(library->settings.idsRules.Record().ruleCount, 0U);
    EXPECT_THAT(Modules().Take(), ElementsAre("ReleaseIDSSettings", "ReadIDSSettings"));
}

}  // namespace
}  // namespace tarn::api
