// What the session tests build with: identifiers, events, settings entries, and a clock that stands where it is set.
#ifndef TARN_TESTS_PARENTAL_SESSION_BUILDERS_H
#define TARN_TESTS_PARENTAL_SESSION_BUILDERS_H

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "tarn/companions.h"
#include "tarn/records.h"

#include "base/bounded_text.h"
#include "machine/local_time.h"
#include "parental/account_identifier.h"
#include "parental/settings_copy.h"

namespace tarn::parental {

inline constexpr std::uint8_t kPerUser = 2;

// S-1-5-21-...-relativeId with that many sub-authorities, cut to 68 bytes.
inline std::array<std::uint8_t, 68> LongSid(std::uint8_t relativeId, std::uint8_t subAuthorities = 5) {
    std::array<std::uint8_t, 68> sid{};
    sid[0] = 1;
    sid[1] = subAuthorities;
    sid[7] = 5;
    for (std::size_t i = 0; i < subAuthorities && 8 + 4 * i < sid.size(); ++i)
        sid[8 + 4 * i] = i + 1 == subAuthorities ? relativeId : static_cast<std::uint8_t>(21 + i);
    return sid;
}

inline AccountSid Sid(std::uint8_t relativeId, std::uint8_t subAuthorities = 5) {
    const auto whole = LongSid(relativeId, subAuthorities);
    AccountSid sid;
    std::memcpy(sid.data(), whole.data(), sid.size());
    return sid;
}

inline LogonEvent Event(std::uint32_t code, const AccountSid& sid, std::uint32_t sessionId = 3,
                        std::uint32_t accountTag = 77, std::u16string_view name = u"Anna") {
    LogonEvent event{};
    event.eventCode = code;
    event.sessionId = sessionId;
    std::memcpy(event.sid, sid.data(), sid.size());
    event.accountTag = accountTag;
    std::memcpy(&event.userName, name.data(), name.size() * sizeof(char16_t));
    return event;
}

// A controlled account that may never use the machine, until allowances or hours are given.
struct Entry {
    PcUserLeading leading{};

    explicit Entry(const AccountSid& sid, std::uint8_t scheduleMode = 0) {
        std::memcpy(leading.sid, sid.data(), sid.size());
        leading.controlled = 1;
        leading.scheduleMode = scheduleMode;
    }
    Entry& Allow(std::size_t weekday, std::uint16_t hours) {
        std::memcpy(reinterpret_cast<std::uint8_t*>(&leading.dailyAllowance) + 2 * weekday, &hours, sizeof hours);
        return *this;
    }
    Entry& AllowAllDays(std::uint16_t hours) {
        for (std::size_t day = 0; day < 7; ++day) Allow(day, hours);
        return *this;
    }
    Entry& AllowHour(std::size_t weekday, std::size_t hour) {
        leading.hourGrid[hour * 7 + weekday] = 1;
        return *this;
    }
};

inline SettingsCopy Settings(const std::vector<Entry>& entries, std::uint8_t mode = kPerUser) {
    SettingsCopy settings;
    settings.loaded = settings.entries.Allocate(entries.size(), {});
    settings.mode = mode;
    for (std::size_t i = 0; i < settings.entries.size(); ++i) settings.entries[i].leading = entries[i].leading;
    return settings;
}

// Local times of a zone one hour ahead of UTC, in summer two: 2026-03-29 to 2026-10-25, changing at 01:00 UTC.
class FakeClock final : public machine::LocalClock {
 public:
    FakeClock() { Set(2026, 11, 21, 12); }

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

inline bool SameTime(const TarnSystemTime& a, const TarnSystemTime& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace tarn::parental

#endif
