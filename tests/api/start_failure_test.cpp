// Start-up without a system, with the install folder lost at each of the moments at which it is asked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "tarn/values.h"

#include "api/library.h"
#include "api/lifecycle.h"
#include "api/machine_with_modules.h"

namespace tarn::api {
namespace {

using testing::IsEmpty;

class StartFailure : public testing::Test {
 protected:
    void SwitchScheduleOn() {
        entry.leading.profileSwitch = entry.leading.scheduleSwitch = 1;
        for (auto& day : entry.schedule) day = {1, &wholeDay};
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entryCount = 1;
        record.entries = &entry;
        platform.modules.inner.Give("ReadPCSettings", record);
    }
    bool Start() {
        platform.modules.asked = 0;
        return api::Start(*library, TARN_START_RESTART, error);
    }

    TimeRange wholeDay{0, 0, 23, 59};
    PcUserEntryRecord entry{};
    MachineWithModules platform;
    std::unique_ptr<Library> library = std::make_unique<Library>(platform);
    std::uint32_t error = 0;
};

TEST_F(StartFailure, TheInstallFolderIsNeededTwice) {
    // For the modules, and for the file of the DNS switch at the very end; whoever else asks does without.
    SwitchScheduleOn();
    ASSERT_TRUE(Start());
    EXPECT_TRUE(library->scheduleWorker.IsRunning());
    const int questions = platform.modules.asked;
    Stop(*library, error);
    ASSERT_GE(questions, 4);
    int refused = 0;
    for (int lost = 1; lost <= questions; ++lost) {
        SCOPED_TRACE(lost);
        platform.modules.lostAt = lost;
        const bool started = Start();
        EXPECT_EQ(library->ready, started);
        EXPECT_EQ(library->scheduleWorker.IsRunning(), started) << "the worker lives as long as the library";
        if (!started) {
            ++refused;
            EXPECT_THAT(platform.modules.inner.Loaded(), IsEmpty());
            EXPECT_FALSE(library->parental.Settings().loaded);
            EXPECT_TRUE(lost == 2 || lost == questions) << "not the browser exclusions, which come first";
        }
        Stop(*library, error);
        EXPECT_THAT(platform.modules.inner.Loaded(), IsEmpty());
    }
    EXPECT_EQ(refused, 2);
}

TEST_F(StartFailure, AFolderTooLongForTheModulesLoadsNone) {
    platform.modules.inner.installFolder = u"C:\\" + std::u16string(250, u'p') + u"\\";
    EXPECT_FALSE(Start());
    EXPECT_THAT(platform.modules.inner.Loaded(), IsEmpty());
    EXPECT_FALSE(library->ready);
}

}  // namespace
}  // namespace tarn::api
