// The local clock, and the calendar: dates as days, UTC times as seconds since 1970 and back.
// The calendar is pure; the clock may be read by any thread.
#ifndef TARN_MACHINE_LOCAL_TIME_H
#define TARN_MACHINE_LOCAL_TIME_H

#include <cstdint>
#include <optional>

#include "tarn/records.h"

namespace tarn::machine {

// The last second that has a calendar time: 3000-12-31 23:59:59 UTC.
inline constexpr std::int64_t kLastCalendarSecond = 32535215999;

// The local time and its conversions, as GetLocalTime, mktime and localtime give them.
class LocalClock {
 public:
    virtual ~LocalClock() = default;

    [[nodiscard]] virtual TarnSystemTime Now() const = 0;
    // Seconds since 1970 (UTC) of a local time; nothing when it has none.
    [[nodiscard]] virtual std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const = 0;
    // The local time of seconds since 1970 (UTC), without milliseconds; nothing when it has none.
    [[nodiscard]] virtual std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const = 0;
};

// Days from 1970-01-01 to the date; the time of day does not count. Nothing when the year lies before 1900, the month
// outside 1 to 12 or the day outside 1 to 31. A day past its month's end counts on into the next month.
[[nodiscard]] std::optional<std::int64_t> DaysSince1970(const TarnSystemTime& date);

// Whole days from the midnight of one date to that of another, negative when the clock was set back. Nothing when
// either date is rejected.
[[nodiscard]] std::optional<std::int64_t> DaysBetween(const TarnSystemTime& from, const TarnSystemTime& to);

// Seconds since 1970 of a UTC time, 0 to kLastCalendarSecond; nothing when a field or the result is out of range.
[[nodiscard]] std::optional<std::int64_t> SecondsFromUtc(const TarnSystemTime& utc);

// The UTC time, with its weekday, of 0 to kLastCalendarSecond seconds; nothing for any other number.
[[nodiscard]] std::optional<TarnSystemTime> UtcFromSeconds(std::int64_t seconds);

}  // namespace tarn::machine

#endif
