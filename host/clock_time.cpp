#include "host/clock_time.h"

#include <charconv>
#include <chrono>

namespace tarn::host {

namespace {

constexpr std::uint16_t kFirstYear = 1970;
constexpr std::uint16_t kLastYear = 9999;

std::chrono::year_month_day DateOf(const TarnSystemTime& time) {
    return {std::chrono::year(time.year), std::chrono::month(time.month), std::chrono::day(time.day)};
}

// Takes digits off the front of text: exactly so many, and a number of at most maximum.
bool TakeNumber(std::string_view& text, std::size_t digits, std::uint16_t maximum, std::uint16_t& out) {
    if (text.size() < digits) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + digits, out);
    if (error != std::errc{} || end != text.data() + digits || out > maximum) return false;
    text.remove_prefix(digits);
    return true;
}

bool TakeMark(std::string_view& text, char mark) {
    if (text.empty() || text.front() != mark) return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<TarnSystemTime> ParseClockTime(std::string_view text, const TarnSystemTime& today) {
    std::uint16_t year = today.year;
    std::uint16_t month = today.month;
    std::uint16_t day = today.day;
    if (text.find('-') != std::string_view::npos &&
        (!TakeNumber(text, 4, kLastYear, year) || !TakeMark(text, '-') || !TakeNumber(text, 2, 12, month) ||
         !TakeMark(text, '-') || !TakeNumber(text, 2, 31, day) || !TakeMark(text, 'T')))
        return std::nullopt;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    if (!TakeNumber(text, 2, 23, hour) || !TakeMark(text, ':') || !TakeNumber(text, 2, 59, minute)) return std::nullopt;
    if (TakeMark(text, ':') && !TakeNumber(text, 2, 59, second)) return std::nullopt;
    if (!text.empty() || year < kFirstYear) return std::nullopt;

    TarnSystemTime time{};
    time.year = year;
    time.month = month;
    time.day = day;
    time.hour = hour;
    time.minute = minute;
    time.second = second;
    if (!DateOf(time).ok()) return std::nullopt;
    const std::chrono::weekday weekday(std::chrono::sys_days(DateOf(time)));
    time.dayOfWeek = static_cast<std::uint16_t>(weekday.c_encoding());
    return time;
}

std::int64_t MinutesOf(const TarnSystemTime& time) {
    const auto days = std::chrono::sys_days(DateOf(time)).time_since_epoch();
    return std::chrono::minutes(days).count() + std::int64_t{time.hour} * 60 + time.minute;
}

}  // namespace tarn::host
