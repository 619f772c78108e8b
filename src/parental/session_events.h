// The host's session events by their codes, and what each means for an account and for the logon check.
// Constants and a pure function: any thread may call.
#ifndef TARN_PARENTAL_SESSION_EVENTS_H
#define TARN_PARENTAL_SESSION_EVENTS_H

#include <cstdint>

namespace tarn::parental {

// The codes that have a name; what 4 to 9 stand for is the host's own.
inline constexpr std::uint32_t kTickEvent = 0;
inline constexpr std::uint32_t kLogonEvent = 1;
inline constexpr std::uint32_t kDisconnectEvent = 2;
inline constexpr std::uint32_t kLogoffEvent = 3;

enum class LoggedOn : std::uint8_t { kUnchanged, kYes, kNo };

enum class EventCheck : std::uint8_t {
    kAllowed,    // whatever the schedule says
    kUnblocked,  // allowed, and an earlier refusal is taken back
    kSchedule,
};

struct SessionEventRule {
    bool addsAccount;  // whether an account that is not in the table comes in
    LoggedOn loggedOn;
    EventCheck check;
};

constexpr SessionEventRule RuleOf(std::uint32_t eventCode) {
    switch (eventCode) {
        case kTickEvent:
            return {false, LoggedOn::kUnchanged, EventCheck::kSchedule};
        case kLogonEvent:
        case 4:
        case 5:
        case 7:
            return {true, LoggedOn::kYes, EventCheck::kSchedule};
        case kDisconnectEvent:
        case kLogoffEvent:
            return {false, LoggedOn::kNo, EventCheck::kUnblocked};
        case 6:
        case 8:
            return {false, LoggedOn::kYes, EventCheck::kAllowed};
        case 9:
            return {false, LoggedOn::kYes, EventCheck::kSchedule};
        default:
            return {false, LoggedOn::kUnchanged, EventCheck::kAllowed};
    }
}

}  // namespace tarn::parental

#endif
