// The times that the command line takes, and when a capture's clock has the schedule judged again.
#include "host/capture_clock.h"

#include <gmock/gmock.h>

#include "host/clock_time.h"
#include "host/fake_machine.h"
#include "host/temporary_file.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr TarnSystemTime kToday{2026, 5, 6, 16, 14, 30, 12, 0};  // a Saturday

std::vector<int> Words(const TarnSystemTime& time) {
    return {time.year, time.month, time.dayOfWeek, time.day, time.hour, time.minute, time.second};
}

TEST(ClockTime, IsADateWithATimeOrATimeOfToday) {
    const auto whole = ParseClockTime("2026-03-07T21:30", kToday);
    ASSERT_TRUE(whole);
    EXPECT_THAT(Words(*whole), ElementsAre(2026, 3, 6, 7, 21, 30, 0));
    const auto seconds = ParseClockTime("2024-02-29T00:00:59", kToday);
    ASSERT_TRUE(seconds);
    EXPECT_THAT(Words(*seconds), ElementsAre(2024, 2, 4, 29, 0, 0, 59));
    const auto today = ParseClockTime("21:30", kToday);
    ASSERT_TRUE(today);
    EXPECT_THAT(Words(*today), ElementsAre(2026, 5, 6, 16, 21, 30, 0));
}

TEST(ClockTime, AnyOtherTextIsNone) {
    for (const char* text : {"", "2026-03-07", "2026-03-07 21:30", "2026-3-7T21:30", "2026-02-29T10:00",
                             "2026-13-01T10:00", "2026-00-01T10:00", "1969-12-31T10:00", "24:00", "21:60", "21:30:60",
                             "21:30:", "9:30", "21:30x", "+1:30", "tomorrow"})
        EXPECT_FALSE(ParseClockTime(text, kToday)) << text;
}

TEST(ClockTime, MinutesFollowEachOtherOverMidnightAndTheEndOfAMonth) {
    const auto before = ParseClockTime("2026-02-28T23:59", kToday);
    const auto after = ParseClockTime("2026-03-01T00:00", kToday);
    ASSERT_TRUE(before && after);
    EXPECT_EQ(MinutesOf(*after) - MinutesOf(*before), 1);
}

// Tuesdays from 8:00 to 12:30.
policy::Parental TuesdayMornings() {
    policy::Parental parental;
    parental.users.resize(1);
    parental.users[0].schedule = true;
    parental.users[0].times[2].push_back({8, 0, 12, 30});
    return parental;
}

std::int64_t At(const char* text) {
    return MinutesOf(*ParseClockTime(text, kToday));
}

TEST(ScheduleTurns, LieBetweenTwoTimesInEitherOrder) {
    const ScheduleTurns turns(TuesdayMornings());
    EXPECT_FALSE(turns.LieBetween(At("2026-03-10T07:00"), At("2026-03-10T07:59")));
    EXPECT_TRUE(turns.LieBetween(At("2026-03-10T07:59"), At("2026-03-10T08:00")));
    EXPECT_FALSE(turns.LieBetween(At("2026-03-10T08:00"), At("2026-03-10T12:29")));
    EXPECT_TRUE(turns.LieBetween(At("2026-03-10T12:29"), At("2026-03-10T12:30")));
    EXPECT_TRUE(turns.LieBetween(At("2026-03-10T12:30"), At("2026-03-10T12:31")));
    EXPECT_FALSE(turns.LieBetween(At("2026-03-10T12:31"), At("2026-03-17T07:59")));
    EXPECT_TRUE(turns.LieBetween(At("2026-03-10T09:00"), At("2026-03-09T09:00")));
    EXPECT_TRUE(turns.LieBetween(At("2026-03-10T13:00"), At("2030-01-01T00:00")));
}

TEST(ScheduleTurns, ThereAreNoneWithoutTimesOrWithTheScheduleOff) {
    policy::Parental parental = TuesdayMornings();
    parental.users[0].schedule = false;
    EXPECT_FALSE(ScheduleTurns(parental).LieBetween(0, 10 * kMinutesPerWeek));
    EXPECT_FALSE(ScheduleTurns().LieBetween(0, 10 * kMinutesPerWeek));
}

TEST(ScheduleTurns, TheLastMinuteOfTheWeekBeginsTheNextOne) {
    policy::Parental parental = TuesdayMornings();
    parental.users[0].times[6].push_back({20, 0, 23, 59});
    const ScheduleTurns turns(parental);
    EXPECT_TRUE(turns.LieBetween(At("2026-03-07T23:59"), At("2026-03-08T00:00")));  // Saturday, Sunday
    EXPECT_FALSE(turns.LieBetween(At("2026-03-08T00:00"), At("2026-03-08T00:01")));
}

constexpr std::uint64_t kHour = 3600000000000;
constexpr std::uint64_t kDay = 24 * kHour;

TEST(CaptureClock, HasTheScheduleJudgedAgainOnlyWhenItTurns) {
    FakeMachine machine;                                        // in a zone two hours east
    machine.now = *ParseClockTime("1970-01-06T00:00", kToday);  // a Tuesday
    LentToldLibrary library(machine.told);
    CaptureClock clock(library, machine, ScheduleTurns(TuesdayMornings()));
    EXPECT_TRUE(clock.MoveTo(5 * kDay + 5 * kHour));  // 7:00 there
    EXPECT_THAT(machine.told.clock, ElementsAre("1970-01-06 07:00"));
    EXPECT_THAT(machine.told.notices, IsEmpty());
    EXPECT_TRUE(clock.MoveTo(0));                         // a frame without a time
    EXPECT_TRUE(clock.MoveTo(5 * kDay + 5 * kHour + 1));  // the same second
    EXPECT_TRUE(clock.MoveTo(5 * kDay + 6 * kHour));
    EXPECT_THAT(machine.told.clock, ElementsAre("1970-01-06 07:00", "1970-01-06 08:00"));
    EXPECT_THAT(machine.told.notices, ElementsAre("kind 4"));
    machine.told.takesNotices = false;
    EXPECT_TRUE(clock.MoveTo(5 * kDay + 7 * kHour));
    EXPECT_FALSE(clock.MoveTo(5 * kDay + 14 * kHour));
}

// Counts what the clock asks of it.
class AskedMachine : public FakeMachine {
 public:
    [[nodiscard]] std::optional<TarnSystemTime> LocalTimeOf(std::uint64_t nanoseconds) const override {
        ++asked;
        return FakeMachine::LocalTimeOf(nanoseconds);
    }
    mutable int asked = 0;
};

class ClockedLibrary : public FakeLibrary {
 public:
    void SetClock(const TarnSystemTime& now) override { time = now; }
    TarnSystemTime time{};
};

TEST(CaptureClock, AsksTheMachineOnceForEachMinuteAndIsRightInAllItsSeconds) {
    constexpr std::uint64_t kMillisecond = 1000000;
    AskedMachine machine;
    ClockedLibrary library;
    CaptureClock clock(library, machine, {});
    for (const std::uint64_t milliseconds : {3'000, 59'250, 60'000, 61'999, 119'000, 58'000, 3'600'000}) {
        const std::uint64_t time = 5 * kDay + milliseconds * kMillisecond;
        ASSERT_TRUE(clock.MoveTo(time));
        const auto expected = machine.FakeMachine::LocalTimeOf(time);
        ASSERT_TRUE(expected);
        EXPECT_THAT(Words(library.time), testing::ElementsAreArray(Words(*expected))) << milliseconds;
    }
    EXPECT_EQ(library.time.milliseconds, 0);
    EXPECT_TRUE(clock.MoveTo(5 * kDay + kHour + 1'250 * kMillisecond));
    EXPECT_EQ(library.time.milliseconds, 250);
    EXPECT_EQ(machine.asked, 4) << "for the first minute, the second, the first again, and the hour";
}

TEST(AtOption, SetsTheClockOfTheLibraryBeforeItStarts) {
    FakeMachine machine;
    machine.now = kToday;
    ASSERT_EQ(RunWith(machine, {"url", "--at", "2026-03-07T21:30", "http://a.example/"}).code, 0);
    ASSERT_EQ(RunWith(machine, {"url", "--at", "21:30", "http://a.example/"}).code, 0);
    ASSERT_EQ(RunWith(machine, {"url", "--at", "now", "http://a.example/"}).code, 0);
    ASSERT_EQ(machine.opened.size(), 3u);
    ASSERT_TRUE(machine.opened[0].clock && machine.opened[1].clock);
    EXPECT_EQ(machine.opened[0].clock->month, 3);
    EXPECT_EQ(machine.opened[1].clock->day, 16);
    EXPECT_FALSE(machine.opened[2].clock);
}

TEST(AtOption, MustBeATime) {
    FakeMachine machine;
    const Ran run = RunWith(machine, {"url", "--at", "noon", "http://a.example/"});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.errors, HasSubstr("--at noon: a local time is wanted"));
    EXPECT_THAT(machine.opened, IsEmpty());
}

TEST(AtOption, ReplayTakesTheTimesOfTheCaptureUnlessItIsGiven) {
    const std::string capture = CaptureFileOf("ftp_pipelined_control.pcap");
    FakeMachine machine;
    ASSERT_EQ(RunWith(machine, {"replay", capture}).code, 0);
    EXPECT_THAT(machine.told.clock, testing::SizeIs(testing::Gt(1u)));
    machine.told.clock.clear();
    ASSERT_EQ(RunWith(machine, {"replay", "--at", "now", capture}).code, 0);
    ASSERT_EQ(RunWith(machine, {"replay", "--at", "21:30", capture}).code, 0);
    EXPECT_THAT(machine.told.clock, IsEmpty());
}

}  // namespace
}  // namespace tarn::host
