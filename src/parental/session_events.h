// The host's session events by their codes, and what each means for an account and for the logon check.
// Constants and a pure function: any thread may call.
#ifndef TARN_PARENTAL_SESSION_EVENTS_H
#define TARN_PARENTAL_SESSION_EVENTS_H

#include <cstdint>

#include "tarn/records.h"

namespace tarn::parental {

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
        case TARN_EVENT_TICK:
            return {false, LoggedOn::kUnchanged, EventCheck::kSchedule};
        case TARN_EVENT_LOGON:
        case TARN_EVENT_LOGON_4:
        case TARN_EVENT_LOGON_5:
        case TARN_EVENT_LOGON_7:
            return {true, LoggedOn::kYes, EventCheck::kSchedule};
        case TARN_EVENT_DISCONNECT:
        case TARN_EVENT_LOGOFF:
            return {false, LoggedOn::kNo, EventCheck::kUnblocked};
        case TARN_EVENT_ALLOWED_6:
        case TARN_EVENT_ALLOWED_8:
            return {false, LoggedOn::kYes, EventCheck::kAllowed};
        case TARN_EVENT_JUDGED_9:
            return {false, LoggedOn::kYes, EventCheck::kSchedule};
        default:
            return {false, LoggedOn::kUnchanged, EventCheck::kAllowed};
    }
}

}  // namespace tarn::parental

#endif
