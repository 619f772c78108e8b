// What the session tests build with: identifiers, events and settings entries.
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
#include "fakes/clocks.h"
#include "parental/account_identifier.h"
#include "parental/settings_copy.h"

namespace tarn::parental {

using fakes::SummerTimeClock;

inline constexpr std::uint8_t kPerUser = 2;
inline constexpr std::uint32_t kLogon = TARN_EVENT_LOGON_5;

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

inline bool SameTime(const TarnSystemTime& a, const TarnSystemTime& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace tarn::parental

#endif
