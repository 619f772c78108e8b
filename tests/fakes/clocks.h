// Local clocks that stand where the test puts them. They differ in the zone that they know.
#ifndef TARN_TESTS_FAKES_CLOCKS_H
#define TARN_TESTS_FAKES_CLOCKS_H

#include <mutex>
#include <optional>

#include "machine/local_time.h"

namespace tarn::fakes {

// No zone: local times cannot be converted.
class FixedClock final : public machine::LocalClock {
 public:
    FixedClock() = default;
    explicit FixedClock(const TarnSystemTime& now) : time(now) {}

    [[nodiscard]] TarnSystemTime Now() const override { return time; }
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime&) const override { return std::nullopt; }
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t) const override { return std::nullopt; }

    TarnSystemTime time{2026, 3, 4, 5, 6, 7, 8, 9};
};

// Local time is UTC here. It may be read and set from several threads.
class UtcClock final : public machine::LocalClock {
 public:
    [[nodiscard]] TarnSystemTime Now() const override {
        const std::lock_guard hold(mutex_);
        return now_;
    }
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const override {
        return machine::SecondsFromUtc(local);
    }
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const override {
        return machine::UtcFromSeconds(seconds);
    }
    void Set(const TarnSystemTime& now) {
        const std::lock_guard hold(mutex_);
        now_ = now;
    }

 private:
    mutable std::mutex mutex_;
    TarnSystemTime now_{2026, 3, 0, 1, 12, 0, 0, 0};  // a Sunday noon
};

// Local times of a zone one hour ahead of UTC, in summer two: 2026-03-29 to 2026-10-25, changing at 01:00 UTC.
class SummerTimeClock final : public machine::LocalClock {
 public:
    SummerTimeClock() { Set(2026, 11, 21, 12); }

    void Set(std::uint16_t year, std::uint16_t month, std::uint16_t day, std::uint16_t hour = 0,
             std::uint16_t minute = 0, std::uint16_t second = 0) {
        now_ = {};
        now_.year = year;
        now_.month = month;
        now_.day = day;
        now_.hour = hour;
        now_.minute = minute;
        now_.second = second;
        if (const auto days = machine::DaysSince1970(now_); days && *days >= 0)
            now_.dayOfWeek = static_cast<std::uint16_t>((*days + 4) % 7);
    }
    // Sets the clock to a UTC time.
    void SetSeconds(std::int64_t seconds) { now_ = ToLocal(seconds).value_or(TarnSystemTime{}); }
    void Set(const TarnSystemTime& now) { now_ = now; }

    [[nodiscard]] TarnSystemTime Now() const override { return now_; }
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const override {
        const auto asUtc = machine::SecondsFromUtc(local);
        if (!asUtc) return std::nullopt;
        const std::int64_t winter = *asUtc - 3600;
        return IsSummer(winter - 3600) ? winter - 3600 : winter;
    }
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const override {
        if (!machine::UtcFromSeconds(seconds)) return std::nullopt;
        return machine::UtcFromSeconds(seconds + (IsSummer(seconds) ? 7200 : 3600));
    }

    static constexpr std::int64_t kSummerStarts = 1774746000;  // 2026-03-29 01:00 UTC
    static constexpr std::int64_t kSummerEnds = 1792890000;    // 2026-10-25 01:00 UTC

 private:
    static bool IsSummer(std::int64_t seconds) { return seconds >= kSummerStarts && seconds < kSummerEnds; }

    TarnSystemTime now_{};
};

}  // namespace tarn::fakes

#endif
