#include "api/schedule_worker.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>
#include <utility>
#include <vector>

#include "api/fake_platform.h"

namespace tarn::api {
namespace {

using parental::ScheduleEnd;

class ScheduleWorkerTest : public testing::Test {
 protected:
    // One entry with its schedule switches on, and these ranges on day.
    void TakeSchedule(std::size_t day, std::vector<TimeRange> ranges) {
        PcUserEntryRecord entry{};
        entry.leading.profileSwitch = 1;
        entry.leading.scheduleSwitch = 1;
        entry.schedule[day] = {static_cast<std::uint32_t>(ranges.size()), ranges.data()};
        Take(entry);
    }
    void Take(PcUserEntryRecord& entry) {
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entries = &entry;
        ASSERT_TRUE(parental::CopyPcSettings(record, settings));
    }
    bool Start() { return worker.Start(settings, error); }
    bool Allows() const { return worker.Allows().IsSet(); }

    fakes::UtcClock clock;
    parental::SettingsCopy settings;
    ScheduleWorker worker{clock};
    std::uint32_t error = 77;
};

TEST_F(ScheduleWorkerTest, WithoutAScheduleEverythingIsAllowedAndNoThreadRuns) {
    EXPECT_TRUE(Start());
    EXPECT_TRUE(Allows());
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_EQ(error, 0U);
    EXPECT_TRUE(worker.Stop()) << "stopping without a thread succeeds";

    PcUserEntryRecord entry{};
    entry.leading.profileSwitch = 1;
    entry.leading.scheduleSwitch = 1;
    entry.leading.scheduleSuspended = 1;
    Take(entry);
    EXPECT_TRUE(Start());
    EXPECT_TRUE(Allows());
    EXPECT_FALSE(worker.IsRunning());
}

TEST_F(ScheduleWorkerTest, TheFirstFlagIsWrittenBeforeStartReturns) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Allows());
    EXPECT_TRUE(worker.IsRunning());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.LastEnd(), ScheduleEnd::kStopped);
    EXPECT_FALSE(Allows()) << "the end of the thread clears the flag";

    TakeSchedule(0, {{14, 0, 15, 0}});
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
}

TEST_F(ScheduleWorkerTest, AScheduleWithoutIntervalsNeverAllows) {
    TakeSchedule(0, {{24, 0, 25, 0}});
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.LastEnd(), ScheduleEnd::kNeverAllowed);
}

TEST_F(ScheduleWorkerTest, AScheduleThatCannotBeBuiltNeverAllows) {
    TakeSchedule(0, {{11, 0, 13, 0}, {9, 0, 8, 0}});
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.LastEnd(), ScheduleEnd::kNoSchedule);
}

TEST_F(ScheduleWorkerTest, AScheduleThatCannotBeBuiltClearsTheFlag) {
    ASSERT_TRUE(Start());
    ASSERT_TRUE(Allows()) << "no schedule applies";
    TakeSchedule(0, {{9, 0, 8, 0}});
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.LastEnd(), ScheduleEnd::kNoSchedule);
}

TEST_F(ScheduleWorkerTest, TheFirstEntryDecidesInAnyMode) {
    TimeRange range{11, 0, 13, 0};
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{0, 1, 2, 255}) {
        SCOPED_TRACE(int{mode});
        PcUserEntryRecord entries[2] = {};
        entries[1].leading.profileSwitch = entries[1].leading.scheduleSwitch = 1;
        entries[1].schedule[0] = {1, &range};
        PcSettingsRecord record{};
        record.mode = mode;
        record.entryCount = 2;
        record.entries = entries;
        ASSERT_TRUE(parental::CopyPcSettings(record, settings));
        ASSERT_TRUE(Start());
        EXPECT_FALSE(worker.IsRunning()) << "the second entry does not count";
        std::swap(entries[0], entries[1]);
        ASSERT_TRUE(parental::CopyPcSettings(record, settings));
        ASSERT_TRUE(Start());
        EXPECT_TRUE(worker.IsRunning());
        EXPECT_TRUE(worker.Stop());
    }
}

TEST_F(ScheduleWorkerTest, ATimeThatCannotBeReckonedWithEndsTheThread) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    clock.Set({1899, 13, 0, 0, 0, 0, 0, 0});
    ASSERT_TRUE(Start());
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.LastEnd(), ScheduleEnd::kStopped);
}

TEST_F(ScheduleWorkerTest, TheThreadHasItsOwnCopyOfTheSchedule) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    ASSERT_TRUE(Start());
    settings = {};
    EXPECT_TRUE(Allows());
    EXPECT_TRUE(worker.Stop());
}

TEST_F(ScheduleWorkerTest, StoppingDoesNotWaitForTheNextBoundary) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    clock.Set({2026, 3, 1, 2, 12, 0, 0, 0});  // Monday: the next boundary is days away
    const auto before = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(Start());
        ASSERT_TRUE(worker.Stop());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(30)) << "a boundary was waited for";
}

TEST_F(ScheduleWorkerTest, TheFlagFollowsTheClockAcrossABoundary) {
    // One second before the interval's end, so that the thread wakes by itself.
    TakeSchedule(0, {{11, 0, 13, 0}});
    clock.Set({2026, 3, 0, 1, 12, 59, 59, 0});
    ASSERT_TRUE(Start());
    EXPECT_TRUE(Allows());
    clock.Set({2026, 3, 0, 1, 13, 0, 0, 0});
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (Allows() && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    EXPECT_FALSE(Allows());
    EXPECT_TRUE(worker.Stop());
}

TEST_F(ScheduleWorkerTest, TheThreadSleepsUntilTheBoundary) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    ASSERT_TRUE(Start());
    clock.Set({2026, 3, 0, 1, 13, 0, 0, 0});
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(Allows()) << "it looked at the clock before its hour was over";
    EXPECT_TRUE(worker.Stop());
}

TEST_F(ScheduleWorkerTest, ReadersSeeTheFlagWhileTheThreadWritesIt) {
    TakeSchedule(0, {{11, 0, 13, 0}});
    std::atomic<bool> ended{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            while (!ended) static_cast<void>(Allows());
        });
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(Start());
        ASSERT_TRUE(Allows());
        ASSERT_TRUE(worker.Stop());
    }
    ended = true;
    for (std::thread& reader : readers) reader.join();
}

}  // namespace
}  // namespace tarn::api
