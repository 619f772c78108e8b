#include "host/explain/week_times.h"

#include <algorithm>

namespace tarn::host {

namespace {

struct Interval {
    std::uint32_t start;  // minutes of the week
    std::uint32_t end;
};

constexpr std::uint32_t kMinutesPerDay = 24 * 60;
constexpr std::uint32_t kMinutesPerWeek = 7 * kMinutesPerDay;

void Insert(std::vector<Interval>& intervals, const Interval& added) {
    const auto next = std::lower_bound(intervals.begin(), intervals.end(), added.start,
                                       [](const Interval& one, std::uint32_t start) { return one.start < start; });
    const auto grow = [&](Interval& one) { one.end = std::max(one.end, added.end); };
    if (next != intervals.end() && next->start == added.start) return grow(*next);
    if (next != intervals.begin() && added.start <= next[-1].end) return grow(next[-1]);
    const bool reachesNext = next != intervals.end() && added.end >= next->start;
    if (reachesNext) {
        next->start = added.start;
        return grow(*next);
    }
    // What ends before the first one is lost.
    if (next == intervals.begin() && !intervals.empty()) return;
    intervals.insert(next, added);
}

// Ascending by their starts.
std::vector<Interval> IntervalsOf(const policy::ParentalUser& user) {
    std::vector<Interval> intervals;
    for (std::uint32_t day = 0; day < user.times.size(); ++day)
        for (const TimeRange& range : user.times[day]) {
            const std::uint32_t start = day * kMinutesPerDay + range.startHour * 60U + range.startMinute;
            std::uint32_t end = day * kMinutesPerDay + range.endHour * 60U + range.endMinute;
            if (range.endHour == 23 && range.endMinute == 59) ++end;  // midnight
            Insert(intervals, {start, end});
        }
    return intervals;
}

std::uint32_t MinuteOf(const TarnSystemTime& now) {
    return now.dayOfWeek * kMinutesPerDay + now.hour * 60U + now.minute;
}

bool IsIn(const std::vector<Interval>& intervals, std::uint32_t minute) {
    for (const Interval& one : intervals) {
        if (one.start > minute) return false;
        if (minute < one.end) return true;
    }
    return false;
}

}  // namespace

bool IsAllowedTime(const policy::ParentalUser& user, const TarnSystemTime& now) {
    return IsIn(IntervalsOf(user), MinuteOf(now));
}

std::optional<std::uint32_t> MinutesUntilAllowed(const policy::ParentalUser& user, const TarnSystemTime& now) {
    const std::vector<Interval> intervals = IntervalsOf(user);
    const std::uint32_t minute = MinuteOf(now);
    if (IsIn(intervals, minute)) return 0;
    std::optional<std::uint32_t> least;
    for (const Interval& one : intervals) {
        if (one.start >= one.end) continue;
        const std::uint32_t wait = (one.start + kMinutesPerWeek - minute) % kMinutesPerWeek;
        if (!least || wait < *least) least = wait;
    }
    return least;
}

}  // namespace tarn::host
