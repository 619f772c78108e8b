#include "parental/weekly_schedule.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "parental/failing_memory.h"

namespace tarn::parental {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Intervals = std::vector<Interval>;

constexpr std::uint32_t kDay = 24 * 60;
constexpr std::size_t kSunday = 0;
constexpr std::size_t kMonday = 1;
constexpr std::size_t kThursday = 4;
constexpr std::size_t kFriday = 5;
constexpr std::size_t kSaturday = 6;

TimeRange From(std::uint32_t startHour, std::uint32_t startMinute, std::uint32_t endHour, std::uint32_t endMinute) {
    return {startHour, startMinute, endHour, endMinute};
}

class Week {
 public:
    Week& Day(std::size_t day, const std::vector<TimeRange>& ranges) & {
        EXPECT_TRUE(ranges_[day].CopyFrom(ranges.data(), ranges.size(), {}));
        return *this;
    }
    Week Day(std::size_t day, const std::vector<TimeRange>& ranges) && { return std::move(Day(day, ranges)); }
    [[nodiscard]] const WeekRanges& Ranges() const { return ranges_; }
    [[nodiscard]] std::optional<Intervals> Build() const {
        OwnedArray<Interval> intervals;
        if (!BuildIntervals(ranges_, intervals)) {
            EXPECT_TRUE(intervals.empty());
            return std::nullopt;
        }
        return Intervals(intervals.begin(), intervals.end());
    }

 private:
    WeekRanges ranges_;
};

Intervals BuildSunday(const std::vector<TimeRange>& ranges) {
    const auto built = Week().Day(kSunday, ranges).Build();
    EXPECT_TRUE(built.has_value());
    return built.value_or(Intervals{});
}

TEST(WeeklySchedule, NoRangesAreAnEmptyList) {
    EXPECT_THAT(*Week().Build(), IsEmpty());
}

TEST(WeeklySchedule, EachDayHasItsPlaceInTheWeek) {
    Week week;
    for (std::size_t day = 0; day < 7; ++day) week.Day(day, {From(8, 30, 9, 15)});
    const auto built = week.Build();
    ASSERT_EQ(built->size(), 7U);
    for (std::uint32_t day = 0; day < 7; ++day)
        EXPECT_EQ((*built)[day], (Interval{day * kDay + 510, day * kDay + 555}));
}

TEST(WeeklySchedule, RangesOutsideTheDayAreSkippedEvenIfReversed) {
    EXPECT_THAT(BuildSunday({From(24, 0, 23, 0), From(0, 60, 1, 0), From(1, 0, 24, 0), From(1, 0, 2, 60),
                             From(0xFFFFFFFF, 0, 0, 0), From(0, 0xFFFFFFFF, 0, 0), From(0, 0, 0xFFFFFFFF, 0),
                             From(0, 0, 0, 0xFFFFFFFF), From(2, 0, 3, 0)}),
                ElementsAre(Interval{120, 180}));
}

TEST(WeeklySchedule, AnEndNotAfterItsStartFailsTheBuild) {
    EXPECT_FALSE(Week().Day(kSunday, {From(8, 0, 8, 0)}).Build());
    EXPECT_FALSE(Week().Day(kSunday, {From(8, 1, 8, 0)}).Build());
    EXPECT_FALSE(Week().Day(kSunday, {From(8, 0, 9, 0)}).Day(kSaturday, {From(9, 0, 8, 0)}).Build());
    EXPECT_FALSE(Week().Day(kSunday, {From(23, 59, 23, 59)}).Build()) << "tested before midnight is meant";
}

TEST(WeeklySchedule, TwentyThreeFiftyNineReachesMidnight) {
    EXPECT_THAT(BuildSunday({From(22, 0, 23, 59)}), ElementsAre(Interval{22 * 60, kDay}));
    EXPECT_THAT(BuildSunday({From(22, 0, 23, 58)}), ElementsAre(Interval{22 * 60, kDay - 2}));
    EXPECT_THAT(BuildSunday({From(21, 0, 22, 59)}), ElementsAre(Interval{21 * 60, 22 * 60 + 59}));
}

TEST(WeeklySchedule, DaysThatMeetAtMidnightAreOneInterval) {
    EXPECT_THAT(*Week().Day(kSunday, {From(20, 0, 23, 59)}).Day(kMonday, {From(0, 0, 6, 0)}).Build(),
                ElementsAre(Interval{20 * 60, kDay + 360}));
    EXPECT_THAT(*Week().Day(kSaturday, {From(20, 0, 23, 59)}).Day(kSunday, {From(0, 0, 6, 0)}).Build(),
                ElementsAre(Interval{0, 360}, Interval{6 * kDay + 20 * 60, kMinutesPerWeek}))
        << "the end of the week is no such meeting";
}

TEST(WeeklySchedule, BehindTheLastOne) {
    EXPECT_THAT(BuildSunday({From(1, 0, 2, 0), From(2, 1, 3, 0)}), ElementsAre(Interval{60, 120}, Interval{121, 180}));
    EXPECT_THAT(BuildSunday({From(1, 0, 2, 0), From(2, 0, 3, 0)}), ElementsAre(Interval{60, 180})) << "touching";
    EXPECT_THAT(BuildSunday({From(1, 0, 4, 0), From(2, 0, 3, 0)}), ElementsAre(Interval{60, 240})) << "inside";
    EXPECT_THAT(BuildSunday({From(1, 0, 3, 0), From(2, 0, 4, 0)}), ElementsAre(Interval{60, 240})) << "overlapping";
}

TEST(WeeklySchedule, EqualStartsKeepTheLaterEnd) {
    EXPECT_THAT(BuildSunday({From(1, 0, 2, 0), From(1, 0, 3, 0)}), ElementsAre(Interval{60, 180}));
    EXPECT_THAT(BuildSunday({From(1, 0, 3, 0), From(1, 0, 2, 0)}), ElementsAre(Interval{60, 180}));
    EXPECT_THAT(BuildSunday({From(1, 0, 2, 0), From(5, 0, 6, 0), From(5, 0, 7, 0), From(1, 0, 1, 30)}),
                ElementsAre(Interval{60, 120}, Interval{300, 420}));
}

TEST(WeeklySchedule, BetweenTwo) {
    const TimeRange before = From(1, 0, 2, 0);
    const TimeRange behind = From(5, 0, 6, 0);
    EXPECT_THAT(BuildSunday({before, behind, From(3, 0, 4, 0)}),
                ElementsAre(Interval{60, 120}, Interval{180, 240}, Interval{300, 360}));
    EXPECT_THAT(BuildSunday({before, behind, From(2, 0, 3, 0)}), ElementsAre(Interval{60, 180}, Interval{300, 360}))
        << "touches the one before";
    EXPECT_THAT(BuildSunday({before, behind, From(1, 30, 1, 45)}), ElementsAre(Interval{60, 120}, Interval{300, 360}))
        << "inside the one before";
    EXPECT_THAT(BuildSunday({before, behind, From(3, 0, 5, 0)}), ElementsAre(Interval{60, 120}, Interval{180, 360}))
        << "touches the one behind";
    EXPECT_THAT(BuildSunday({before, behind, From(3, 0, 7, 0)}), ElementsAre(Interval{60, 120}, Interval{180, 420}))
        << "covers the one behind";
}

TEST(WeeklySchedule, GrowingOverTheNextOneLeavesBoth) {
    const Intervals grown = BuildSunday({From(1, 0, 2, 0), From(5, 0, 6, 0), From(2, 0, 5, 30)});
    EXPECT_THAT(grown, ElementsAre(Interval{60, 330}, Interval{300, 360}));
}

TEST(WeeklySchedule, WhatEndsBeforeTheFirstIsLost) {
    EXPECT_THAT(BuildSunday({From(5, 0, 6, 0), From(1, 0, 2, 0)}), ElementsAre(Interval{300, 360}));
    EXPECT_THAT(BuildSunday({From(5, 0, 6, 0), From(4, 0, 4, 59)}), ElementsAre(Interval{300, 360}));
    EXPECT_THAT(BuildSunday({From(5, 0, 6, 0), From(4, 0, 5, 0)}), ElementsAre(Interval{240, 360})) << "touching";
    EXPECT_THAT(BuildSunday({From(5, 0, 6, 0), From(4, 0, 7, 0)}), ElementsAre(Interval{240, 420})) << "covering";
}

TEST(WeeklySchedule, EveryMinuteOfTheWeekCanStartAnInterval) {
    // A minute allowed, a minute not, all through the week, three times over.
    Week week;
    std::vector<TimeRange> day;
    for (int repeat = 0; repeat < 3; ++repeat)
        for (std::uint32_t minute = 0; minute + 1 < kDay; minute += 2)
            day.push_back(From(minute / 60, minute % 60, (minute + 1) / 60, (minute + 1) % 60));
    for (std::size_t d = 0; d < 7; ++d) week.Day(d, day);
    const auto built = week.Build();
    ASSERT_TRUE(built.has_value());
    EXPECT_EQ(built->size(), 7U * (kDay / 2 - 1) + 1U) << "23:58 to midnight meets the next day's first minute";
}

TEST(WeeklySchedule, MissingMemoryFailsTheBuild) {
    const Week week = Week().Day(kSunday, {From(1, 0, 2, 0)});
    const FailingMemory memory(0);
    OwnedArray<Interval> intervals;
    EXPECT_FALSE(BuildIntervals(week.Ranges(), intervals, memory.Functions()));
    EXPECT_TRUE(intervals.empty());
    EXPECT_EQ(memory.Live(), 0U);
}

TEST(WeeklySchedule, MemoryIsBoundedByTheWeek) {
    const std::vector<TimeRange> many(50'000, From(1, 0, 2, 0));
    const Week week = Week().Day(kSunday, many);
    const FailingMemory memory;
    OwnedArray<Interval> intervals;
    EXPECT_TRUE(BuildIntervals(week.Ranges(), intervals, memory.Functions()));
    EXPECT_EQ(memory.Bytes(), kMinutesPerWeek * sizeof(Interval));
    intervals.Clear();
    EXPECT_EQ(memory.Live(), 0U);
}

TEST(WeeklySchedule, CopyOfAWeekStandsAlone) {
    WeekRanges copy;
    {
        const Week week = Week().Day(kMonday, {From(1, 2, 3, 4)}).Day(kSaturday, {From(5, 6, 7, 8), From(9, 0, 9, 1)});
        ASSERT_TRUE(CopyWeek(week.Ranges(), copy));
    }
    EXPECT_TRUE(copy[kSunday].empty());
    ASSERT_EQ(copy[kMonday].size(), 1U);
    EXPECT_EQ(copy[kMonday][0].endMinute, 4U);
    ASSERT_EQ(copy[kSaturday].size(), 2U);
    EXPECT_EQ(copy[kSaturday][1].startHour, 9U);
}

TEST(WeeklySchedule, CopyOfAWeekFailsAtEachMissingBlock) {
    const Week week = Week().Day(kMonday, {From(1, 2, 3, 4)}).Day(kSaturday, {From(5, 6, 7, 8)});
    for (const std::size_t failAt : {std::size_t{0}, std::size_t{1}}) {
        const FailingMemory memory(failAt);
        WeekRanges copy;
        EXPECT_FALSE(CopyWeek(week.Ranges(), copy, memory.Functions()));
        EXPECT_EQ(memory.Live(), 0U);
        for (const auto& day : copy) EXPECT_TRUE(day.empty());
    }
}

TEST(WeeklySchedule, ThreeSwitchesLetItRun) {
    PcUserLeading leading{};
    EXPECT_FALSE(ScheduleIsOn(leading));
    leading.scheduleSwitch = 7;
    EXPECT_FALSE(ScheduleIsOn(leading));
    leading.profileSwitch = 2;
    EXPECT_TRUE(ScheduleIsOn(leading));
    leading.scheduleSuspended = 1;
    EXPECT_FALSE(ScheduleIsOn(leading));
    leading.scheduleSuspended = 2;
    EXPECT_TRUE(ScheduleIsOn(leading)) << "only 1 suspends";
    leading.scheduleSwitch = 0;
    EXPECT_FALSE(ScheduleIsOn(leading));
}

TarnSystemTime At(std::size_t weekday, std::uint16_t hour, std::uint16_t minute, std::uint16_t second = 0) {
    TarnSystemTime time{};
    time.dayOfWeek = static_cast<std::uint16_t>(weekday);
    time.hour = hour;
    time.minute = minute;
    time.second = second;
    time.milliseconds = 999;
    return time;
}

constexpr ScheduleTurn Closed(std::uint32_t seconds) {
    return {false, seconds};
}
constexpr ScheduleTurn Open(std::uint32_t seconds) {
    return {true, seconds};
}

TEST(WeeklySchedule, TurnsOfOneInterval) {
    const Intervals monday = {{kDay + 480, kDay + 600}};
    EXPECT_EQ(NextTurn(monday, At(kMonday, 7, 59)), Closed(60));
    EXPECT_EQ(NextTurn(monday, At(kMonday, 7, 59, 59)), Closed(1));
    EXPECT_EQ(NextTurn(monday, At(kMonday, 8, 0)), Open(7200));
    EXPECT_EQ(NextTurn(monday, At(kMonday, 9, 59, 30)), Open(30));
    EXPECT_EQ(NextTurn(monday, At(kSunday, 0, 0)), Closed((kDay + 480) * 60));
    EXPECT_EQ(NextTurn(monday, At(kMonday, 10, 0)), Closed((kMinutesPerWeek - 120) * 60))
        << "the end is the first minute that is not allowed";
}

TEST(WeeklySchedule, AnIntervalThatIsOverWaitsForTheNextWeek) {
    const Intervals sunday = {{60, 120}};
    EXPECT_EQ(NextTurn(sunday, At(kMonday, 1, 0)), Closed((kMinutesPerWeek - kDay) * 60));
    EXPECT_EQ(NextTurn(sunday, At(kSaturday, 23, 59, 59)), Closed(60 * 60 + 1));
    const Intervals oneMinute = {{60, 61}};
    EXPECT_EQ(NextTurn(oneMinute, At(kSunday, 1, 1)), Closed((kMinutesPerWeek - 1) * 60));
}

// The year's last day and the next one's first are a Thursday and a Friday as any other.
TEST(WeeklySchedule, ANewYearIsTheNextDayOfTheWeek) {
    const Intervals overMidnight = {{4 * kDay + 1380, 5 * kDay + 60}};
    TarnSystemTime now = At(kThursday, 23, 59, 59);
    now.year = 2026, now.month = 12, now.day = 31;
    EXPECT_EQ(NextTurn(overMidnight, now), Open(60 * 60 + 1));
    now = At(kFriday, 0, 0);
    now.year = 2027, now.month = 1, now.day = 1;
    EXPECT_EQ(NextTurn(overMidnight, now), Open(60 * 60));
    now.hour = 1;
    EXPECT_EQ(NextTurn(overMidnight, now), Closed((kMinutesPerWeek - 120) * 60));
}

TEST(WeeklySchedule, SaturdayNightIntoSunday) {
    const Intervals both = {{0, 360}, {6 * kDay + 1200, kMinutesPerWeek}};
    EXPECT_EQ(NextTurn(both, At(kSaturday, 19, 0)), Closed(3600));
    EXPECT_EQ(NextTurn(both, At(kSaturday, 23, 59, 59)), Open(1));
    EXPECT_EQ(NextTurn(both, At(kSunday, 0, 0)), Open(360 * 60));
    EXPECT_EQ(NextTurn(both, At(kSunday, 6, 0)), Closed((6 * kDay + 1200 - 360) * 60));
}

TEST(WeeklySchedule, AWholeWeekIsAlwaysOpen) {
    const Intervals always = {{0, kMinutesPerWeek}};
    EXPECT_EQ(NextTurn(always, At(kSunday, 0, 0)), Open(kMinutesPerWeek * 60));
    EXPECT_EQ(NextTurn(always, At(kSaturday, 23, 59)), Open(60));
}

// ---- The rules in their plainest form, over a linked list. ----

struct PlainNode {
    std::uint32_t start;
    std::uint32_t end;
    PlainNode* next;
};

class PlainList {
 public:
    void Insert(std::uint32_t start, std::uint32_t end) {
        PlainNode* previous = nullptr;
        PlainNode* node = head_;
        while (node != nullptr && start > node->start) {
            previous = node;
            node = node->next;
        }
        if (node == nullptr) {
            if (previous == nullptr)
                head_ = Make(start, end, nullptr);
            else if (previous->end < start)
                previous->next = Make(start, end, nullptr);
            else if (end > previous->end)
                previous->end = end;
            return;
        }
        if (node->start == start) {
            if (end > node->end) node->end = end;
            return;
        }
        if (previous != nullptr && start <= previous->end) {
            if (end > previous->end) previous->end = end;
            return;
        }
        if (end < node->start) {
            PlainNode* made = Make(start, end, node);
            if (previous != nullptr) previous->next = made;
            return;
        }
        node->start = start;
        if (end > node->end) node->end = end;
    }
    [[nodiscard]] Intervals All() const {
        Intervals all;
        for (const PlainNode* node = head_; node != nullptr; node = node->next) all.push_back({node->start, node->end});
        return all;
    }

 private:
    PlainNode* Make(std::uint32_t start, std::uint32_t end, PlainNode* next) {
        nodes_.push_back(std::make_unique<PlainNode>(PlainNode{start, end, next}));
        return nodes_.back().get();
    }
    PlainNode* head_ = nullptr;
    std::vector<std::unique_ptr<PlainNode>> nodes_;
};

std::optional<Intervals> PlainBuild(const std::array<std::vector<TimeRange>, 7>& week) {
    PlainList list;
    for (std::uint32_t day = 0; day < 7; ++day) {
        for (const TimeRange& range : week[day]) {
            if (!(range.startHour < 24 && range.endHour <= 23 && range.startMinute <= 59 && range.endMinute <= 59))
                continue;
            const std::uint32_t start = (day * 24 + range.startHour) * 60 + range.startMinute;
            const std::uint32_t end = (day * 24 + range.endHour) * 60 + range.endMinute;
            if (end <= start) return std::nullopt;
            list.Insert(start, range.endHour == 23 && range.endMinute == 59 ? end + 1 : end);
        }
    }
    return list.All();
}

ScheduleTurn PlainTurn(const Intervals& intervals, const TarnSystemTime& time) {
    const int now = (time.dayOfWeek * 24 + time.hour) * 60 + time.minute;
    for (const Interval& interval : intervals) {
        const int start = static_cast<int>(interval.start);
        const int end = static_cast<int>(interval.end);
        if (start > now) return Closed(static_cast<std::uint32_t>((start - now) * 60 - time.second));
        if (now < end) return Open(static_cast<std::uint32_t>((end - now) * 60 - time.second));
    }
    return Closed(
        static_cast<std::uint32_t>((static_cast<int>(intervals.front().start) - now + 10080) * 60 - time.second));
}

TEST(WeeklySchedule, RandomWeeksGiveWhatTheLinkedListGives) {
    std::mt19937 random(19700101);
    const auto below = [&random](std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    int failed = 0;
    int lists = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::array<std::vector<TimeRange>, 7> ranges;
        Week week;
        const bool coarse = below(2) == 0;  // whole hours meet and touch more often
        for (std::size_t day = 0; day < 7; ++day) {
            for (std::uint32_t i = below(7); i > 0; --i) {
                TimeRange range{below(24), coarse ? 0 : below(60), below(24), coarse ? 0 : below(60)};
                if (below(8) == 0) range.endHour = 23, range.endMinute = 59;
                if (below(40) == 0) range.startMinute = 60 + below(2);
                const bool reversed = range.endHour < range.startHour;
                if (reversed && below(200) != 0) range = From(range.endHour, 0, range.startHour, range.endMinute);
                if (range.endHour == range.startHour && below(200) != 0) {
                    range.startMinute %= 30;
                    range.endMinute = 30 + range.endMinute % 30;
                }
                ranges[day].push_back(range);
            }
            week.Day(day, ranges[day]);
        }
        const auto expected = PlainBuild(ranges);
        const auto built = week.Build();
        ASSERT_EQ(built, expected) << "round " << round;
        if (!built) {
            ++failed;
            continue;
        }
        ++lists;
        for (int i = 0; i < 20 && !built->empty(); ++i) {
            const TarnSystemTime time =
                At(below(7), static_cast<std::uint16_t>(below(24)), static_cast<std::uint16_t>(below(60)),
                   static_cast<std::uint16_t>(below(60)));
            const ScheduleTurn turn = NextTurn(*built, time);
            ASSERT_EQ(turn, PlainTurn(*built, time)) << "round " << round;
            ASSERT_GE(turn.waitSeconds, 1U);
            ASSERT_LE(turn.waitSeconds, kMinutesPerWeek * 60);
        }
    }
    EXPECT_GT(failed, 500);
    EXPECT_GT(lists, 5000);
}

#ifndef NDEBUG
TEST(NextTurnDeathTest, NoIntervalOrNoTimeOfAWeekIsCaught) {
    EXPECT_DEATH(static_cast<void>(NextTurn({}, At(kMonday, 8, 0))), "intervals");
    const std::vector<Interval> always = {{0, kMinutesPerWeek}};
    EXPECT_DEATH(static_cast<void>(NextTurn(always, At(7, 8, 0))), "dayOfWeek");
    EXPECT_DEATH(static_cast<void>(NextTurn(always, At(kMonday, 24, 0))), "hour");
}
#endif

}  // namespace
}  // namespace tarn::parental
