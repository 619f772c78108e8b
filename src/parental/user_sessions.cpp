#include "parental/user_sessions.h"

#include <algorithm>
#include <cstring>

#include "machine/local_time.h"

namespace tarn::parental {
namespace {

UserSessionRecord NewAccount(const LogonEvent& event, const SettingsCopy& settings, const TarnSystemTime& now) {
    UserSessionRecord record;
    std::memcpy(record.sid.data(), event.sid, sizeof event.sid);
    record.accountTag = event.accountTag;
    SetUserName(record.userName, &event.userName);
    record.firstSeen = now;
    record.lastUpdate = now;
    MatchUserSettings(record, settings);
    return record;
}

// Logged on or off, the session, the day's use.
bool ApplyEvent(const LogonEvent& event, const TarnSystemTime& now, UserSessionRecord& record) {
    record.lastEvent = event.eventCode;
    record.sessionId = event.sessionId;
    const LoggedOn loggedOn = RuleOf(event.eventCode).loggedOn;
    if (loggedOn != LoggedOn::kUnchanged) record.loggedOn = loggedOn == LoggedOn::kYes ? 1 : 0;

    // QUIRK: an account that the saved state knows without a time stays without one: its day change is never known,
    // and each of its events fails.  Test: AccountWithoutATimeFailsForGood
    // QUIRK: both midnights are taken without daylight saving: a day of 23 hours is a whole day, one of 25 hours is
    // one day.  Test: DayChange_ClockChangesCountAsOneDay
    const auto days = machine::DaysBetween(record.lastUpdate, now);
    if (!days) return false;
    // QUIRK: the first tick of a day resets the usage and is not counted itself.
    // Test: FirstTickAfterMidnightIsNotCounted
    if (*days != 0)
        record.usageTicks = 0;
    else if (event.eventCode == TARN_EVENT_TICK)
        ++record.usageTicks;
    record.lastUpdate = now;
    return true;
}

}  // namespace

UserSessionRecord* UserSessionTable::Find(std::span<const std::uint8_t> sid) {
    const auto found = std::ranges::find_if(
        records_, [&](const UserSessionRecord& record) { return EqualIdentifiers(sid, record.sid); });
    return found == records_.end() ? nullptr : &*found;
}

bool MatchUserSettings(UserSessionRecord& record, const SettingsCopy& settings) {
    const std::span<const PcUserEntry> entries = settings.Entries();
    const auto found = settings.mode == TARN_PC_ONE_FOR_ALL
                           ? entries.begin()
                           : std::ranges::find_if(entries, [&](const PcUserEntry& entry) {
                                 return EqualIdentifiers(record.sid, entry.leading.sid);
                             });
    if (found == entries.end()) {
        record.controlled = 0;
        return false;
    }
    const PcUserLeading& leading = found->leading;
    record.controlled = leading.controlled;
    record.exempt = leading.exempt;
    record.scheduleMode = leading.scheduleMode;
    std::memcpy(record.hourGrid.data(), &leading.hourGrid, sizeof leading.hourGrid);
    std::memcpy(record.dailyAllowance.data(), &leading.dailyAllowance, sizeof leading.dailyAllowance);
    return true;
}

bool RecordSessionEvent(const LogonEvent& event, UserSessionTable& table, const SettingsCopy& settings,
                        const TarnSystemTime& now) {
    if (!IsValidIdentifier(event.sid)) return false;
    if (UserSessionRecord* known = table.Find(event.sid); known != nullptr) return ApplyEvent(event, now, *known);
    if (!RuleOf(event.eventCode).addsAccount) return false;
    UserSessionRecord added = NewAccount(event, settings, now);
    if (!ApplyEvent(event, now, added)) return false;
    table.Append(added);
    return true;
}

void SetUserName(std::array<char16_t, 260>& name, const void* field) {
    std::memcpy(name.data(), field, sizeof name);
    name.back() = u'\0';
}

}  // namespace tarn::parental
