#include "parental/logon_check.h"

#include <algorithm>
#include <cstring>

#include "base/bounded_text.h"
#include "parental/session_events.h"

namespace tarn::parental {
namespace {

constexpr std::uint32_t kTicksPerHour = 60;
constexpr std::size_t kDaysPerWeek = 7;
constexpr std::size_t kUserNameCapacity = 260;

// Whole hours used, rounded down, are held against the allowance.
bool ScheduleAllows(const UserSessionRecord& record, const TarnSystemTime& now) {
    if (record.scheduleMode == TARN_SCHEDULE_HOUR_GRID)
        return record.hourGrid[now.hour * kDaysPerWeek + now.dayOfWeek] != 0;
    return record.dailyAllowance[now.dayOfWeek] > record.usageTicks / kTicksPerHour;
}

void Refuse(const UserSessionRecord& record, LogonVerdict& verdict) {
    verdict.reason = TARN_REASON_PARENTAL_CONTROL;
    verdict.action = TARN_BLOCK;
    verdict.reserved8 = 0;
    // QUIRK: a name that fills all its units is emptied, not cut.  Test: NameWithoutItsNulIsEmptied
    const bool fits = std::ranges::find(record.userName, u'\0') != record.userName.end();
    base::StoreField<kUserNameCapacity>(&verdict.userName, fits ? base::FieldText(record.userName) : u"");
    std::memcpy(verdict.sid, record.sid.data(), sizeof verdict.sid);
    verdict.accountTag = record.accountTag;
}

}  // namespace

bool ScanLogonEvent(const LogonEvent& event, LogonVerdict& verdict, UserSessionTable& table,
                    const SettingsCopy& settings, const machine::LocalClock& clock) {
    verdict.action = TARN_ALLOW;
    verdict.reason = TARN_REASON_PARENTAL_CONTROL;
    verdict.sessionId = event.sessionId;

    // One reading for the whole call, so that the day that is counted is the day that is judged.
    const TarnSystemTime now = clock.Now();
    if (!RecordSessionEvent(event, table, settings, now)) return false;
    UserSessionRecord* const record = table.Find(event.sid);
    if (record == nullptr) return false;

    const EventCheck check = RuleOf(event.eventCode).check;
    if (check == EventCheck::kUnblocked) record->blocked = 0;
    if (check != EventCheck::kSchedule || record->controlled == 0 || record->exempt == 1) return true;
    if (ScheduleAllows(*record, now)) return true;
    record->blocked = 1;
    Refuse(*record, verdict);
    return true;
}

}  // namespace tarn::parental
