// The schedule's thread and the wall clock: each wait is over at once, and the clock then shows what the test wants.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "api/schedule_worker.h"
#include "fakes/clocks.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"

namespace tarn::order {
namespace {

// The thread has slept for so many seconds of UTC, or somebody has set the clock meanwhile.
using Wake = std::function<void(fakes::SummerTimeClock& clock, std::uint32_t seconds)>;

// A wait: what the flag said meanwhile, and how long it was meant to be.
struct Wait {
    bool allowed;
    std::uint32_t seconds;
    bool operator==(const Wait&) const = default;
};
void PrintTo(const Wait& wait, std::ostream* out) {
    *out << (wait.allowed ? "open for " : "closed for ") << wait.seconds << " s";
}

void Sleep(fakes::SummerTimeClock& clock, std::uint32_t seconds) {
    clock.SetSeconds(*clock.ToSeconds(clock.Now()) + seconds);
}

struct Day {
    std::size_t weekday;
    std::vector<TimeRange> ranges;
};

class ClockTrial final : public Trial {
 public:
    ClockTrial(const fakes::SummerTimeClock& start, std::vector<Day> days, std::vector<Wake> wakes,
               std::vector<Wait>& waits)
        : clock_(start), wakes_(std::move(wakes)), waits_(waits) {
        BeginSync(
            {static_cast<int>(wakes_.size()), false, [this](std::uint32_t milliseconds) { WakeUp(milliseconds); }});
        PcUserEntryRecord entry{};
        entry.leading.profileSwitch = entry.leading.scheduleSwitch = 1;
        for (Day& day : days)
            entry.schedule[day.weekday] = {static_cast<std::uint32_t>(day.ranges.size()), day.ranges.data()};
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entries = &entry;
        EXPECT_TRUE(parental::CopyPcSettings(record, settings_));
        waits_.clear();
        World::Current()->AddThread("control", [this] { Live(); });
    }

 private:
    // Enabled once the thread has slept as often as it is to.
    class AllSleptStep final : public Step {
     public:
        explicit AllSleptStep(const ClockTrial& trial) : Step("waits for the last wake", 0), trial_(trial) {}
        void AddChoices(std::vector<Choice>& choices) const override {
            if (trial_.woken_ < trial_.wakes_.size()) return;
            if (World::Current()->NextStepOf(LastStartedThread()) == std::string("waits for the event"))
                choices.push_back({});
        }

     private:
        const ClockTrial& trial_;
    };

    void Live() {
        std::uint32_t error = 0;
        EXPECT_TRUE(worker_.Start(settings_, error));
        static_cast<void>(World::Current()->Take(AllSleptStep(*this)));
        waits_.push_back({Allows(), 0});
        EXPECT_TRUE(worker_.Stop());
    }
    void WakeUp(std::uint32_t milliseconds) {
        waits_.push_back({Allows(), milliseconds / 1000});
        wakes_[woken_++](clock_, milliseconds / 1000);
    }
    [[nodiscard]] bool Allows() const { return worker_.Allows().IsSet(); }

    fakes::SummerTimeClock clock_;
    const std::vector<Wake> wakes_;
    std::vector<Wait>& waits_;
    std::size_t woken_ = 0;
    parental::SettingsCopy settings_;
    api::ScheduleWorker worker_{clock_};
};

fakes::SummerTimeClock At(std::uint16_t year, std::uint16_t month, std::uint16_t day, std::uint16_t hour,
                          std::uint16_t minute = 0, std::uint16_t second = 0) {
    fakes::SummerTimeClock clock;
    clock.Set(year, month, day, hour, minute, second);
    return clock;
}

// The waits of a thread that is started then; the last one is not slept, and its length is 0 here.
std::vector<Wait> WaitsOf(const fakes::SummerTimeClock& start, const std::vector<Day>& days,
                          const std::vector<Wake>& wakes) {
    std::vector<Wait> waits;
    const Found found = ExploreOrders([&] { return std::make_unique<ClockTrial>(start, days, wakes, waits); });
    EXPECT_EQ(found.failure, "");
    EXPECT_GT(found.ends, 0U);
    return waits;
}

constexpr std::uint32_t kHour = 3600;
constexpr std::size_t kSunday = 0;
constexpr std::size_t kThursday = 4;
constexpr std::size_t kFriday = 5;

TEST(WorkerClock, ADayAndAYearEndAsAnyOther) {
    const std::vector<Day> days = {{kThursday, {{22, 0, 23, 59}}}, {kFriday, {{0, 0, 1, 0}, {2, 0, 3, 0}}}};
    EXPECT_EQ(WaitsOf(At(2026, 12, 31, 21), days, {Sleep, Sleep, Sleep, Sleep}),
              (std::vector<Wait>{{false, kHour}, {true, 3 * kHour}, {false, kHour}, {true, kHour}, {false, 0}}));
}

// The hour that is left out has not been slept: the thread wakes by so much behind the boundary.
TEST(WorkerClock, InSpringABoundaryBehindTheChangeComesAnHourLate) {
    const std::vector<Day> sunday = {{kSunday, {{1, 0, 4, 0}, {4, 30, 6, 0}}}};
    EXPECT_EQ(WaitsOf(At(2026, 3, 29, 0), sunday, {Sleep, Sleep, Sleep}),
              (std::vector<Wait>{{false, kHour}, {true, 3 * kHour}, {true, kHour}, {false, 0}}))
        << "open from 1:00 to 5:00, when the next range has begun already";
}

// The hour that comes twice is slept through by waking once more.
TEST(WorkerClock, InAutumnABoundaryBehindTheChangeComesInTime) {
    const std::vector<Day> sunday = {{kSunday, {{1, 0, 4, 0}}}};
    EXPECT_EQ(WaitsOf(At(2026, 10, 25, 0), sunday, {Sleep, Sleep, Sleep}),
              (std::vector<Wait>{{false, kHour}, {true, 3 * kHour}, {true, kHour}, {false, 0}}));
}

TEST(WorkerClock, AClockSetBackIsSeenAtTheNextWake) {
    const std::vector<Day> sunday = {{kSunday, {{11, 0, 13, 0}}}};
    const Wake setBack = [](fakes::SummerTimeClock& clock, std::uint32_t) { clock.Set(2026, 3, 1, 10, 30, 0); };
    EXPECT_EQ(WaitsOf(At(2026, 3, 1, 12, 59, 59), sunday, {setBack, Sleep, Sleep}),
              (std::vector<Wait>{{true, 1}, {false, kHour / 2}, {true, 2 * kHour}, {false, 0}}))
        << "closed again until the range begins for the second time";
}

TEST(WorkerClock, AClockSetBackOverTheYearKeepsTheDayOfTheWeek) {
    const std::vector<Day> friday = {{kFriday, {{0, 0, 1, 0}}}};
    const Wake lastYear = [](fakes::SummerTimeClock& clock, std::uint32_t) { clock.Set(2026, 12, 31, 23, 59, 58); };
    EXPECT_EQ(WaitsOf(At(2027, 1, 1, 0, 59, 59), friday, {lastYear, Sleep, Sleep}),
              (std::vector<Wait>{{true, 1}, {false, 2}, {true, kHour}, {false, 0}}));
}

}  // namespace
}  // namespace tarn::order
