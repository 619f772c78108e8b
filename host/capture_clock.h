// Lets the library live in the time of a capture: moves its clock from frame to frame, and has it judge the weekly
// schedule again when the clock passes one of the schedule's times.
#ifndef TARN_HOST_CAPTURE_CLOCK_H
#define TARN_HOST_CAPTURE_CLOCK_H

#include <bitset>
#include <cstdint>
#include <optional>

#include "host/judge.h"
#include "policy/policy.h"

namespace tarn::host {

inline constexpr std::int64_t kMinutesPerDay = std::int64_t{24} * 60;
inline constexpr std::int64_t kMinutesPerWeek = 7 * kMinutesPerDay;

// The minutes of the week, from Sunday 00:00, in which a schedule may begin or end to allow.
class ScheduleTurns {
 public:
    ScheduleTurns() = default;
    explicit ScheduleTurns(const policy::Parental& parental);

    // Whether one lies behind the earlier of the two times and not behind the later one (minutes since 1970).
    [[nodiscard]] bool LieBetween(std::int64_t one, std::int64_t other) const;

 private:
    std::bitset<kMinutesPerWeek> minutes_;
};

class CaptureClock {
 public:
    CaptureClock(Judge& library, Environment& environment, ScheduleTurns turns)
        : library_(library), environment_(environment), turns_(turns) {}

    // The time of the next frame; 0, for a frame without one, leaves the clock alone. False when the library could not
    // read its parental settings again, which switches them off.
    bool MoveTo(std::uint64_t nanoseconds);

 private:
    Judge& library_;
    Environment& environment_;
    ScheduleTurns turns_;
    // Asks the environment once for each minute of the capture: within one only the seconds differ.
    std::optional<TarnSystemTime> LocalTimeOf(std::uint64_t nanoseconds);

    std::uint64_t second_ = 0;  // of the capture
    std::uint64_t askedMinute_ = 0;
    std::optional<TarnSystemTime> asked_;
    std::optional<std::int64_t> minute_;
};

}  // namespace tarn::host

#endif
