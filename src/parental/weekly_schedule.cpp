#include "parental/weekly_schedule.h"

#include <algorithm>
#include <cstddef>

#include "base/assert.h"

namespace tarn::parental {
namespace {

constexpr std::uint32_t kMinutesPerHour = 60;
constexpr std::uint32_t kHoursPerDay = 24;
constexpr std::uint32_t kLastHour = 23;
constexpr std::uint32_t kLastMinute = 59;
[[maybe_unused]] constexpr std::uint32_t kLastSecond = 59;  // of an assertion

bool IsInsideADay(const TimeRange& range) {
    return range.startHour <= kLastHour && range.endHour <= kLastHour && range.startMinute <= kLastMinute &&
           range.endMinute <= kLastMinute;
}

std::uint32_t MinuteOfWeek(std::uint32_t day, std::uint32_t hour, std::uint32_t minute) {
    return (day * kHoursPerDay + hour) * kMinutesPerHour + minute;
}

// Intervals in order of their starts, no two with the same one, in an array that is large enough.
class SortedIntervals {
 public:
    explicit SortedIntervals(Interval* items) : items_(items) {}
    [[nodiscard]] std::size_t Count() const { return count_; }

    void Insert(Interval added) {
        Interval* const end = items_ + count_;
        Interval* const next = std::lower_bound(
            items_, end, added.start, [](const Interval& item, std::uint32_t start) { return item.start < start; });
        if (next == end) {
            if (count_ == 0 || end[-1].end < added.start)
                InsertBefore(next, added);
            else
                Extend(end[-1], added);
        } else if (next->start == added.start) {
            Extend(*next, added);
        } else if (next == items_) {
            // QUIRK: what ends before the first interval is lost.  Test: WhatEndsBeforeTheFirstIsLost
            if (added.end >= next->start) MoveBack(*next, added);
        } else if (added.start <= next[-1].end) {
            // QUIRK: an interval that grows over the next one is not joined with it.
            // Test: GrowingOverTheNextOneLeavesBoth
            Extend(next[-1], added);
        } else if (added.end < next->start) {
            InsertBefore(next, added);
        } else {
            MoveBack(*next, added);
        }
    }

 private:
    static void Extend(Interval& item, const Interval& added) { item.end = std::max(item.end, added.end); }
    static void MoveBack(Interval& item, const Interval& added) {
        item.start = added.start;
        Extend(item, added);
    }
    void InsertBefore(Interval* next, const Interval& added) {
        std::move_backward(next, items_ + count_, items_ + count_ + 1);
        *next = added;
        ++count_;
    }

    Interval* items_;
    std::size_t count_ = 0;
};

}  // namespace

bool ScheduleIsOn(const PcUserLeading& leading) {
    return leading.scheduleSwitch != 0 && leading.profileSwitch != 0 && leading.scheduleSuspended != 1;
}

bool CopyWeek(const WeekRanges& from, WeekRanges& to, const CopyMemory& memory) {
    to = {};
    for (std::size_t day = 0; day < from.size(); ++day) {
        if (to[day].CopyFrom(from[day].data(), from[day].size(), memory)) continue;
        to = {};
        return false;
    }
    return true;
}

bool BuildIntervals(const WeekRanges& week, OwnedArray<Interval>& intervals, const CopyMemory& memory) {
    intervals.Clear();
    std::size_t rangeCount = 0;
    for (const OwnedArray<TimeRange>& ranges : week) rangeCount += ranges.size();
    // Each kept interval has a minute of its own to start in.
    if (!intervals.Allocate(std::min<std::size_t>(rangeCount, kMinutesPerWeek), memory)) return false;

    SortedIntervals sorted(intervals.data());
    for (std::uint32_t day = 0; day < week.size(); ++day) {
        for (const TimeRange& range : week[day]) {
            if (!IsInsideADay(range)) continue;
            const std::uint32_t start = MinuteOfWeek(day, range.startHour, range.startMinute);
            std::uint32_t end = MinuteOfWeek(day, range.endHour, range.endMinute);
            if (end <= start) {
                intervals.Clear();
                return false;
            }
            // The last minute of a day cannot be named as an end: 23:59 stands for midnight.
            if (range.endHour == kLastHour && range.endMinute == kLastMinute) ++end;
            sorted.Insert({start, end});
        }
    }
    intervals.Truncate(sorted.Count());
    return true;
}

ScheduleTurn NextTurn(std::span<const Interval> intervals, const TarnSystemTime& localTime) {
    TARN_ASSERT(!intervals.empty());
    TARN_ASSERT(localTime.dayOfWeek < 7 && localTime.hour <= kLastHour && localTime.minute <= kLastMinute &&
                localTime.second <= kLastSecond);
    const std::uint32_t now = MinuteOfWeek(localTime.dayOfWeek, localTime.hour, localTime.minute);
    const auto secondsUntil = [&](std::uint32_t minute) { return (minute - now) * 60U - localTime.second; };
    for (const Interval& interval : intervals) {
        if (interval.start > now) return {false, secondsUntil(interval.start)};
        if (now < interval.end) return {true, secondsUntil(interval.end)};
    }
    return {false, secondsUntil(intervals.front().start + kMinutesPerWeek)};
}

}  // namespace tarn::parental
