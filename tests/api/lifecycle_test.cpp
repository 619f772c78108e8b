// Start and end of a library whose modules are scripted: what is cleared, kept, undone, and in which order.
#include "api/lifecycle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "api/full_settings.h"
#include "api/machine_with_modules.h"
#include "api/settings_change.h"

namespace tarn::api {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class Lifecycle : public testing::Test {
 protected:
    Lifecycle() {
        processes.executable = u"C:\\Programs\\browser.exe";
        machine.bare.integers[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] COUNT"] = 1;
        machine.bare.texts[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] NAMES"] = u"browser.exe";
    }
    ~Lifecycle() override {
        Stop(*library, error);
        EXPECT_THAT(Modules().Loaded(), IsEmpty());
    }

    fakes::FakeModules& Modules() { return machine.modules.inner; }
    bool Start(std::uint8_t mode = 1) { return api::Start(*library, mode, error); }
    // Whether the browser's program is acted on: it is not while it stands on the exclusion list.
    bool ActsOnBrowser() {
        return library->browsingProtection.ActOnMaliciousUrl(9, "malicious.example/", processes, machine.modules);
    }

    MachineWithModules machine;
    FullSettings settings;
    fakes::OneProgram processes;
    std::unique_ptr<Library> library = std::make_unique<Library>(machine);
    std::uint32_t error = 0;
};

IdsBlockRequest BlockedPage() {
    IdsBlockRequest request{};
    std::strcpy(request.requestText, "/page HTTP/1.1");
    std::strcpy(request.hostName, "blocked.example");
    return request;
}

TEST_F(Lifecycle, TheHostsErrorCellIsHandedToEveryCall) {
    settings.GiveTo(Modules());
    Modules().managed = true;
    ASSERT_TRUE(Start());
    EXPECT_THAT(Modules().errorCells, Not(IsEmpty()));
    EXPECT_THAT(Modules().errorCells, Each(&error));
    Modules().errorCells.clear();
    Stop(*library, error);
    EXPECT_THAT(Modules().errorCells, Not(IsEmpty()));
    EXPECT_THAT(Modules().errorCells, Each(&error));
}

TEST_F(Lifecycle, AFirstStartClearsTheBlockedAddresses) {
    library->idsBlockedList.Add(BlockedPage());
    ASSERT_EQ(library->idsBlockedList.Size(), 1U);
    ASSERT_TRUE(Start());
    EXPECT_EQ(library->idsBlockedList.Size(), 0U);
    library->idsBlockedList.Add(BlockedPage());
    Stop(*library, error);
    EXPECT_EQ(library->idsBlockedList.Size(), 0U) << "and so does the end";
}

TEST_F(Lifecycle, AFirstStartClearsTheSmbTables) {
    library->smbTables.smb2PendingRequests.Write([](auto& table) { table.try_emplace(1); });
    library->smbTables.smb2Sessions.Write([](auto& table) { table.try_emplace(1); });
    library->smbTables.smb1PendingRequests.Write([](auto& table) { table.try_emplace(std::uint16_t{1}); });
    library->smbTables.smb1Clients.Write([](auto& table) { table.try_emplace(1); });
    ASSERT_TRUE(Start());
    const auto size = [](const auto& table) { return table.size(); };
    EXPECT_EQ(library->smbTables.smb2PendingRequests.Read(size), 0U);
    EXPECT_EQ(library->smbTables.smb2Sessions.Read(size), 0U);
    EXPECT_EQ(library->smbTables.smb1PendingRequests.Read(size), 0U);
    EXPECT_EQ(library->smbTables.smb1Clients.Read(size), 0U);
}

TEST_F(Lifecycle, SavedAnswersWithoutEntriesAreNotRestored) {
    Modules().Give("ReadDNSCacheSettings", DnsCacheRecord{5, 3, nullptr});
    ASSERT_TRUE(Start());
    EXPECT_EQ(library->dnsRing.Saved().writeIndex + 0, 0);
    Modules().Give("ReadDNSCacheSettings", DnsCacheRecord{0, 7, settings.answers.data()});
    ASSERT_TRUE(Start());
    EXPECT_EQ(library->dnsRing.Saved().writeIndex + 0, 0);
    Modules().Give("ReadDNSCacheSettings", DnsCacheRecord{2, 2, settings.answers.data()});
    ASSERT_TRUE(Start());
    EXPECT_EQ(library->dnsRing.Saved().writeIndex + 0, 2);
}

TEST_F(Lifecycle, AFormerManagementServerIsForgotten) {
    Modules().managed = true;
    ASSERT_TRUE(Start());
    EXPECT_TRUE(library->managedClient.installed);
    EXPECT_EQ(base::FieldText(library->managedClient.serverAddress), u"192.0.2.77");
    Modules().managed = false;
    ASSERT_TRUE(Start());
    EXPECT_FALSE(library->managedClient.installed);
    EXPECT_EQ(base::FieldText(library->managedClient.serverAddress), u"");
}

TEST_F(Lifecycle, AFailedStartClearsTheExclusionList) {
    ASSERT_TRUE(Start());
    EXPECT_FALSE(ActsOnBrowser()) << "it stands on the list";
    Modules().failing = {"SCInit"};
    EXPECT_FALSE(Start());
    Modules().failing = {};
    EXPECT_TRUE(ActsOnBrowser());
}

TEST_F(Lifecycle, TheLighterEndClearsBrowsingProtection) {
    ASSERT_TRUE(Start());
    EXPECT_FALSE(ActsOnBrowser());
    SaveForShutDown(*library, 1, 2, 3, 4);
    EXPECT_TRUE(ActsOnBrowser()) << "the exclusion list is gone";
    EXPECT_EQ(library->browsingProtection.ActedOnCount(), 1U);
    SaveForShutDown(*library, 1, 2, 3, 4);
    EXPECT_EQ(library->browsingProtection.ActedOnCount(), 0U);
}

TEST_F(Lifecycle, ModulesOfALibraryThatIsNotReadyAreUnloadedAndNothingIsWritten) {
    ASSERT_TRUE(ReloadUpdated(*library, TARN_UPDATED_STATUS_READER | TARN_UPDATED_SETTINGS_READER));
    ASSERT_THAT(Modules().Loaded(), SizeIs(2));
    Modules().Take();
    ASSERT_TRUE(Start());
    EXPECT_THAT(Modules().journal,
                testing::AllOf(Contains("free statrd.dll").Times(1), Contains("free setrd.dll").Times(1)));
    EXPECT_EQ(Modules().journal[0], "free statrd.dll");
    EXPECT_EQ(Modules().journal[1], "free setrd.dll") << "nothing is released or written before";
    EXPECT_EQ(Modules().journal[2], "load setrd.dll");
    EXPECT_THAT(Modules().journal, Not(Contains(StartsWith("Write"))));
}

TEST_F(Lifecycle, SettingsOfALibraryThatIsNotReadyAreForgotten) {
    settings.GiveTo(Modules());
    ASSERT_TRUE(ReloadUpdated(*library, TARN_UPDATED_STATUS_READER | TARN_UPDATED_SETTINGS_READER));
    ASSERT_TRUE(ReloadUpdated(*library, TARN_UPDATED_BROWSING_PROTECTION));
    ASSERT_TRUE(ChangeSettings(*library, TARN_SETTINGS_BROWSING_PROTECTION, {}));
    ASSERT_EQ(library->settings.bpStatus, 1);
    ASSERT_TRUE(library->lists.malicious.Find("malicious.example", "/bad"));
    Modules().Take();
    Modules().missingFiles = {"setrd.dll"};
    EXPECT_FALSE(Start());
    EXPECT_EQ(library->settings.bpStatus, 0);
    EXPECT_FALSE(library->lists.malicious.Find("malicious.example", "/bad"));
    EXPECT_THAT(Modules().Take(), Not(Contains(StartsWith("Release"))));
}

TEST_F(Lifecycle, AWorkerWithoutModulesIsStopped) {
    settings.GiveTo(Modules());
    ASSERT_TRUE(ReloadUpdated(*library, TARN_UPDATED_STATUS_READER));
    ChangeSettings(*library, TARN_SETTINGS_PARENTAL_CONTROL, {});
    ASSERT_TRUE(library->scheduleWorker.IsRunning());
    Modules().missingFiles = {"statrd.dll"};
    EXPECT_FALSE(ReloadUpdated(*library, TARN_UPDATED_STATUS_READER));
    library->companions = {};  // the categorisation module too
    ASSERT_TRUE(library->scheduleWorker.IsRunning());
    Modules().missingFiles = {};
    Modules().Give("ReadPCSettings", PcSettingsRecord{});  // without a schedule from now on
    ASSERT_TRUE(Start());
    EXPECT_FALSE(library->scheduleWorker.IsRunning()) << "no second worker, and the first has ended";
    EXPECT_EQ(library->scheduleWorker.LastEnd(), parental::ScheduleEnd::kStopped);
}

TEST_F(Lifecycle, AtRestOnlyWithoutModulesAndWorker) {
    EXPECT_TRUE(library->IsAtRest());
    settings.GiveTo(Modules());
    ASSERT_TRUE(Start());
    EXPECT_FALSE(library->IsAtRest());
    Stop(*library, error);
    EXPECT_TRUE(library->IsAtRest());
    ASSERT_TRUE(ReloadUpdated(*library, TARN_UPDATED_URL_PATTERNS));
    EXPECT_FALSE(library->IsAtRest());
}

TEST_F(Lifecycle, EveryRecordGoesBackButTheOneThatIsForgotten) {
    settings.GiveTo(Modules());
    ASSERT_TRUE(Start());
    Stop(*library, error);
    for (const auto& [read, count] : Modules().held) {
        if (read == "ReadBPInternalWhiteList" || read == "ReadPCSettings")
            EXPECT_EQ(count, 1) << read << ": forgotten; read once for the online decision";
        else
            EXPECT_EQ(count, 0) << read;
    }
}

}  // namespace
}  // namespace tarn::api
