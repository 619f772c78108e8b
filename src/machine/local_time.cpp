#include "machine/local_time.h"

namespace tarn::machine {
namespace {

constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::int64_t kSecondsPerHour = 60 * kSecondsPerMinute;
constexpr std::int64_t kSecondsPerDay = 24 * kSecondsPerHour;

constexpr std::int64_t kDaysPerEra = 146097;  // 400 years
constexpr std::int64_t kDaysPerCentury = 36524;
constexpr std::int64_t kDaysPerFourYears = 1461;
constexpr std::int64_t kDaysPerYear = 365;
constexpr std::int64_t kDaysTo1970 = 719468;  // from 0000-03-01
constexpr std::int64_t kWeekdayOf1970 = 4;    // Thursday

// Years are counted from March, so that the leap day is the last one. Months 0 (March) to 11 then begin on these days:
// the lengths 31, 30, 31, 30, 31 repeat from March and from August.
constexpr std::int64_t FirstDayOfMonth(std::int64_t marchMonth) {
    return (153 * marchMonth + 2) / 5;
}

}  // namespace

std::optional<std::int64_t> DaysSince1970(const TarnSystemTime& date) {
    if (date.year < 1900 || date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31) return std::nullopt;
    const bool beforeMarch = date.month < 3;
    const std::int64_t year = std::int64_t{date.year} - (beforeMarch ? 1 : 0);
    const std::int64_t month = std::int64_t{date.month} + (beforeMarch ? 9 : -3);
    return year * kDaysPerYear + year / 4 - year / 100 + year / 400 + FirstDayOfMonth(month) + date.day - 1 -
           kDaysTo1970;
}

std::optional<std::int64_t> DaysBetween(const TarnSystemTime& from, const TarnSystemTime& to) {
    const auto first = DaysSince1970(from);
    const auto last = DaysSince1970(to);
    if (!first || !last) return std::nullopt;
    return *last - *first;
}

std::optional<std::int64_t> SecondsFromUtc(const TarnSystemTime& utc) {
    const auto days = DaysSince1970(utc);
    if (!days || utc.hour > 23 || utc.minute > 59 || utc.second > 59) return std::nullopt;
    const std::int64_t seconds =
        *days * kSecondsPerDay + utc.hour * kSecondsPerHour + utc.minute * kSecondsPerMinute + utc.second;
    if (seconds < 0 || seconds > kLastCalendarSecond) return std::nullopt;
    return seconds;
}

std::optional<TarnSystemTime> UtcFromSeconds(std::int64_t seconds) {
    if (seconds < 0 || seconds > kLastCalendarSecond) return std::nullopt;
    const std::int64_t days = seconds / kSecondsPerDay;
    const std::int64_t ofDay = seconds % kSecondsPerDay;

    const std::int64_t sinceMarch = days + kDaysTo1970;
    const std::int64_t era = sinceMarch / kDaysPerEra;
    const std::int64_t dayOfEra = sinceMarch % kDaysPerEra;
    // The leap days before this day taken out, what is left are years of 365 days.
    const std::int64_t leapDays =
        dayOfEra / (kDaysPerFourYears - 1) - dayOfEra / kDaysPerCentury + dayOfEra / (kDaysPerEra - 1);
    const std::int64_t yearOfEra = (dayOfEra - leapDays) / kDaysPerYear;
    const std::int64_t dayOfYear = dayOfEra - (yearOfEra * kDaysPerYear + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t month = (5 * dayOfYear + 2) / 153;
    const bool beforeMarch = month >= 10;

    TarnSystemTime utc{};
    utc.year = static_cast<std::uint16_t>(era * 400 + yearOfEra + (beforeMarch ? 1 : 0));
    utc.month = static_cast<std::uint16_t>(month + (beforeMarch ? -9 : 3));
    utc.dayOfWeek = static_cast<std::uint16_t>((days + kWeekdayOf1970) % 7);
    utc.day = static_cast<std::uint16_t>(dayOfYear - FirstDayOfMonth(month) + 1);
    utc.hour = static_cast<std::uint16_t>(ofDay / kSecondsPerHour);
    utc.minute = static_cast<std::uint16_t>(ofDay % kSecondsPerHour / kSecondsPerMinute);
    utc.second = static_cast<std::uint16_t>(ofDay % kSecondsPerMinute);
    return utc;
}

}  // namespace tarn::machine
