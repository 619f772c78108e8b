// The weekly schedule of a user entry: its day lists as merged intervals, and what a moment of the week means by them.
// Pure functions. The schedule's thread works on a copy of its own, so none of this needs a lock.
#ifndef TARN_PARENTAL_WEEKLY_SCHEDULE_H
#define TARN_PARENTAL_WEEKLY_SCHEDULE_H

#include <array>
#include <cstdint>
#include <span>

#include "tarn/companions.h"
#include "tarn/records.h"

#include "parental/owned_array.h"

namespace tarn::parental {

inline constexpr std::uint32_t kMinutesPerWeek = 7 * 24 * 60;

// The allowed times of the seven days, Sunday first.
using WeekRanges = std::array<OwnedArray<TimeRange>, 7>;

// Minutes of the week from Sunday 00:00: start is the first allowed one, end the first one behind; end is at most
// kMinutesPerWeek.
struct Interval {
    std::uint32_t start;
    std::uint32_t end;

    bool operator==(const Interval&) const = default;
};

struct ScheduleTurn {
    bool allowed;
    std::uint32_t waitSeconds;  // until the next turn is due

    bool operator==(const ScheduleTurn&) const = default;
};

// What the schedule's thread ends with.
enum class ScheduleEnd : std::uint32_t {
    kStopped = 0,      // also when there is no local time
    kNoSchedule = 2,   // settings not loaded, or the interval list cannot be built
    kNeverAllowed = 3  // no interval at all
};

// Whether the three switches of a user entry let the schedule run.
[[nodiscard]] bool ScheduleIsOn(const PcUserLeading& leading);

// A copy that outlives the settings. False, with empty lists, when memory is missing.
[[nodiscard]] bool CopyWeek(const WeekRanges& from, WeekRanges& to, const CopyMemory& memory = {});

// The intervals by ascending start, no two with the same one. Ranges outside the day are skipped. False, without
// intervals, when a range does not end after its start, or memory is missing.
[[nodiscard]] bool BuildIntervals(const WeekRanges& week, OwnedArray<Interval>& intervals,
                                  const CopyMemory& memory = {});

// intervals may not be empty, and localTime must be a time of a week: weekday 0 to 6, hour, minute and second count.
[[nodiscard]] ScheduleTurn NextTurn(std::span<const Interval> intervals, const TarnSystemTime& localTime);

}  // namespace tarn::parental

#endif
