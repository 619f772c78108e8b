// The schedule worker seen from outside: when a start makes one, what it writes, and what becomes of it when the system
// refuses the event, the thread or the signal.
#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/footprint_win32.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAreArray;

class WorkerRules : public RulesFixture {
 protected:
    void SetUp() override { ASSERT_TRUE(worker.IsInPlace()); }
    // A failing test must not unload the library under a thread of its own.
    void TearDown() override {
        worker.RefuseSignals(false);
        EXPECT_TRUE(worker.EndAllThreads());
    }
    std::size_t Threads() const { return ThreadsOf(Library()); }

    WorkerCalls worker{Library()};
};

TEST_F(WorkerRules, AListThatCannotBeBuiltClosesTheFlagThatStoodOpen) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_TRUE(ScheduleAllows()) << "no schedule";
    SwitchScheduleOn({kBackwards});
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    EXPECT_FALSE(ScheduleAllows());
}

TEST_F(WorkerRules, AWeekWithoutARangeClosesTheFlag) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    SwitchScheduleOn({});
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    EXPECT_FALSE(ScheduleAllows());
}

TEST_F(WorkerRules, TheFirstEntryDecidesInAnyMode) {
    PcUserEntryRecord entries[2] = {};
    const auto deliver = [&](std::uint8_t mode, std::size_t scheduled) {
        TimeRange wholeDay = kWholeDay;
        answers.pcSettings = {};
        answers.pcSettings.mode = mode;
        answers.pcSettings.entryCount = 2;
        answers.pcSettings.entries = entries;
        for (PcUserEntryRecord& entry : entries) entry = {};
        entries[scheduled].leading.profileSwitch = entries[scheduled].leading.scheduleSwitch = 1;
        for (auto& day : entries[scheduled].schedule) day = {1, &wholeDay};
        EXPECT_TRUE(Init(TARN_START_RESTART));
        return Threads();
    };
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{0, 1, 2, 255}) {
        EXPECT_EQ(deliver(mode, 0), 1U) << int{mode};
        EXPECT_EQ(deliver(mode, 1), 0U) << int{mode};
    }
}

TEST_F(WorkerRules, EachOfTheThreeSwitchesIsAsked) {
    SwitchScheduleOn({kWholeDay});
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Threads(), 1U);
    profile.leading.scheduleSuspended = 2;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Threads(), 1U) << "only 1 suspends it";
    profile.leading.scheduleSuspended = 1;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Threads(), 0U);
    EXPECT_TRUE(ScheduleAllows());
    profile.leading.scheduleSuspended = 0;
    profile.leading.profileSwitch = 0;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Threads(), 0U);
}

TEST_F(WorkerRules, TheErrorOfTheSystemIsInTheCellWhenItRefuses) {
    // The release that follows sets the cell to 0 again: it is read when the first record goes back.
    SwitchScheduleOn({kWholeDay});
    struct Seen {
        const std::uint32_t& cell;
        std::uint32_t error = 0;
    } seen{error};
    answers.listenerContext = &seen;
    answers.listener = [](void* context, const char* line) {
        auto& here = *static_cast<Seen*>(context);
        if (std::string_view(line).starts_with("ReleaseWSInternalWhiteList")) here.error = here.cell;
    };
    worker.RefuseEvents(true);
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_EQ(seen.error, WorkerCalls::kRefused);
    worker.RefuseEvents(false);
    worker.RefuseThreads(true);
    seen.error = 0;
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_EQ(seen.error, WorkerCalls::kRefused);
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(WorkerCalls::LastEvent(), &flags)) << "the event is closed";
    answers.listener = nullptr;
}

TEST_F(WorkerRules, ASignalThatFailsClosesTheEventAndStopsNoEnd) {
    SwitchScheduleOn({kWholeDay});
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ASSERT_EQ(Threads(), 1U);
    worker.RefuseSignals(true);
    NewLines();
    Deinit();
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines})));
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(WorkerCalls::LastEvent(), &flags));
    worker.RefuseSignals(false);
    EXPECT_TRUE(WorkerCalls::EndAllThreads());
}

// Thursday, 1 January 1970, at this second.
std::atomic<int> secondOfDay;

void WINAPI ReadTestClock(SYSTEMTIME* time) {
    const int second = secondOfDay;
    *time = {1970,
             1,
             4,
             1,
             static_cast<WORD>(second / 3600),
             static_cast<WORD>(second / 60 % 60),
             static_cast<WORD>(second % 60),
             0};
}

TEST_F(WorkerRules, AThreadThatCouldNotBeStoppedNeverMeetsTheNextOne) {
    const ImportPatch clock(Library(), "GetLocalTime", ReadTestClock);
    ASSERT_TRUE(clock.IsInPlace());
    SwitchScheduleOn({{11, 0, 13, 0}});
    secondOfDay = 13 * 3600 - 1;  // the first thread wakes after one second
    ASSERT_TRUE(Init(1));
    ASSERT_EQ(Threads(), 1U);
    secondOfDay = 12 * 3600;  // the second one sleeps for an hour
    worker.RefuseSignals(true);
    EXPECT_EQ(Change(4), 1U);
    worker.RefuseSignals(false);
    ASSERT_EQ(worker.ThreadsMade(), 2U);
    EXPECT_TRUE(WorkerCalls::AwaitThread(0)) << "it waits for the event of the second one";
    EXPECT_EQ(Threads(), 1U);
    EXPECT_TRUE(ScheduleAllows()) << "the end of the first thread leaves the flag alone";
    SwitchScheduleOff();
    EXPECT_EQ(Change(4), 1U);
    EXPECT_EQ(Threads(), 0U);
}

// ---- Changes ----

TEST_F(WorkerRules, AChangeOfEverythingMakesANewWorker) {
    SwitchScheduleOn({kWholeDay});
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(worker.ThreadsMade(), 1U);
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 1U);
    EXPECT_EQ(worker.ThreadsMade(), 2U);
    EXPECT_EQ(Threads(), 1U);
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    EXPECT_EQ(worker.ThreadsMade(), 3U);
    EXPECT_EQ(Threads(), 1U);
    SwitchScheduleOff();
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 1U);
    EXPECT_EQ(worker.ThreadsMade(), 3U);
    EXPECT_EQ(Threads(), 0U);
    EXPECT_TRUE(ScheduleAllows());
}

TEST_F(WorkerRules, AWorkerThatCannotStartUndoesTheChangeOfParentalControl) {
    profile.leading.blockListSwitch = 4;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    for (const bool event : {true, false}) {
        SwitchScheduleOn({kWholeDay});
        EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
        EXPECT_EQ(FeatureStatus(), 4);
        NewLines();
        worker.RefuseEvents(event);
        worker.RefuseThreads(!event);
        EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 0U);
        EXPECT_THAT(NewLines(), ElementsAreArray(Lines{"WritePCSystemControlSettings 0", "ReadPCSettings",
                                                       "ReleasePCSettings record"}));
        EXPECT_EQ(FeatureStatus(), 0) << "the settings are cleared";
        EXPECT_EQ(Threads(), 0U);
        worker.RefuseEvents(false);
        worker.RefuseThreads(false);
    }
}

TEST_F(WorkerRules, AWorkerThatCannotStartReleasesTheSettingsOfAChangeOfEverything) {
    SwitchScheduleOn({kWholeDay});
    answers.bpStatus = 1;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    for (const bool event : {true, false}) {
        EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 1U);
        EXPECT_EQ(FeatureStatus(), 1);
        NewLines();
        worker.RefuseEvents(event);
        worker.RefuseThreads(!event);
        EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 0U);
        const Lines expected = Changed(
            Join({kReleaseLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines, kReleaseLines}),
            "ReleasePCSettings empty", "ReleasePCSettings record");
        EXPECT_THAT(NewLines(), ElementsAreArray(expected)) << "categorisation is not reloaded";
        EXPECT_EQ(FeatureStatus(), 0);
        EXPECT_EQ(Threads(), 0U);
        worker.RefuseEvents(false);
        worker.RefuseThreads(false);
    }
}

// ---- A worker on a library that is not ready ----

TEST_F(WorkerRules, AStartStopsAWorkerThatRunsWithoutModules) {
    // A change of parental control starts one without a start of the library; then every module is lost.
    SwitchScheduleOn({kWholeDay});
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    EXPECT_EQ(Change(TARN_SETTINGS_PARENTAL_CONTROL), 1U);
    ASSERT_EQ(Threads(), 1U);
    {
        const ModuleLoads loads(Library());
        ASSERT_TRUE(loads.IsInPlace());
        for (const auto& [file, bit] :
             {std::pair<const char*, std::uint32_t>{"sitecls.dll", 0x04}, {"setrd.dll", 0x02}, {"statrd.dll", 0x20}}) {
            ModuleLoads::Refuse(file);
            EXPECT_EQ(Update(bit), 0) << file;
        }
    }
    ASSERT_THAT(LoadedCompanions(), testing::IsEmpty());
    ASSERT_EQ(Threads(), 1U);
    SwitchScheduleOff();
    NewLines();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Threads(), 0U);
    EXPECT_TRUE(ScheduleAllows());
    EXPECT_THAT(NewLines(), testing::Not(Contains(testing::StartsWith("Write")))) << "nothing is written";
}

}  // namespace
}  // namespace tarn::system_test
