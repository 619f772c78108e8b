#include "host/capture_clock.h"

#include <algorithm>

#include "tarn/values.h"

#include "host/clock_time.h"

namespace tarn::host {

namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1000000000;
constexpr std::uint64_t kSecondsPerMinute = 60;
constexpr std::int64_t kFirstSunday = 3 * kMinutesPerDay;  // 1970 began on a Thursday

}  // namespace

ScheduleTurns::ScheduleTurns(const policy::Parental& parental) {
    for (const policy::ParentalUser& user : parental.users) {
        for (std::size_t day = 0; user.schedule && day < user.times.size(); ++day) {
            const auto at = [&](std::uint32_t hour, std::uint32_t minute, std::int64_t later) {
                const auto ofDay = static_cast<std::int64_t>(hour * 60 + minute) + later;
                const auto ofWeek = static_cast<std::int64_t>(day) * kMinutesPerDay + ofDay;
                minutes_.set(static_cast<std::size_t>(ofWeek % kMinutesPerWeek));
            };
            for (const TimeRange& range : user.times[day]) {
                at(range.startHour, range.startMinute, 0);
                // Whether the last minute belongs to the range is the library's to say.
                at(range.endHour, range.endMinute, 0);
                at(range.endHour, range.endMinute, 1);
            }
        }
    }
}

bool ScheduleTurns::LieBetween(std::int64_t one, std::int64_t other) const {
    const auto [from, to] = std::minmax(one, other);
    if (to - from >= kMinutesPerWeek) return minutes_.any();
    for (std::int64_t minute = from + 1; minute <= to; ++minute) {
        const std::int64_t ofWeek = (minute - kFirstSunday) % kMinutesPerWeek;
        if (minutes_[static_cast<std::size_t>(ofWeek < 0 ? ofWeek + kMinutesPerWeek : ofWeek)]) return true;
    }
    return false;
}

bool CaptureClock::MoveTo(std::uint64_t nanoseconds) {
    const std::uint64_t second = nanoseconds / kNanosecondsPerSecond;
    if (nanoseconds == 0 || second == second_) return true;
    second_ = second;
    const std::optional<TarnSystemTime> now = LocalTimeOf(nanoseconds);
    if (!now) return true;
    if (!minute_) minute_ = MinutesOf(environment_.LocalTime());  // by which the library started
    library_.SetClock(*now);
    const std::int64_t before = *minute_;
    minute_ = MinutesOf(*now);
    // The library starts its schedule anew with the settings of parental control.
    return !turns_.LieBetween(before, *minute_) || library_.SettingsChanged(TARN_SETTINGS_PARENTAL_CONTROL);
}

std::optional<TarnSystemTime> CaptureClock::LocalTimeOf(std::uint64_t nanoseconds) {
    const std::uint64_t second = nanoseconds / kNanosecondsPerSecond;
    if (!asked_ || second / kSecondsPerMinute != askedMinute_) {
        asked_ = environment_.LocalTimeOf(nanoseconds);
        askedMinute_ = second / kSecondsPerMinute;
        return asked_;
    }
    asked_->second = static_cast<std::uint16_t>(second % kSecondsPerMinute);
    asked_->milliseconds = static_cast<std::uint16_t>(nanoseconds / 1000000 % 1000);
    return asked_;
}

}  // namespace tarn::host
