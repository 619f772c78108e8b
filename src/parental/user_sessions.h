// The table of accounts that have logged on: their state, their use of today, their schedule; and what an event
// changes. The owner holds the write side of the parental-control lock around every use.
#ifndef TARN_PARENTAL_USER_SESSIONS_H
#define TARN_PARENTAL_USER_SESSIONS_H

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "tarn/records.h"

#include "parental/account_identifier.h"
#include "parental/session_events.h"
#include "parental/settings_copy.h"

namespace tarn::parental {

struct UserSessionRecord {
    std::uint32_t lastEvent = 0;  // 0 for an account that comes from the saved state
    std::uint32_t sessionId = 0;  // terminal-services session
    AccountSid sid{};
    std::uint32_t accountTag = 0;          // the host's own; handed back when a logon is refused
    std::array<char16_t, 260> userName{};  // always terminated
    std::uint8_t loggedOn = 0;
    TarnSystemTime firstSeen{};    // local; zero for an account that comes from the saved state
    TarnSystemTime lastUpdate{};   // local; zero when the saved state does not know it
    std::uint32_t usageTicks = 0;  // ticks of the day of lastUpdate, 60 to the hour
    std::uint8_t blocked = 0;      // since a refused logon, until a disconnect
    std::uint8_t controlled = 0;   // from here on: the account's settings entry
    std::uint8_t exempt = 0;
    std::uint8_t scheduleMode = 0;                  // TARN_SCHEDULE_...
    std::array<std::uint8_t, 168> hourGrid{};       // hour x 7 + weekday, 0 = Sunday; non-zero = use allowed
    std::array<std::uint16_t, 7> dailyAllowance{};  // hours, Sunday first
};

// The accounts in the order in which they were first seen.
class UserSessionTable {
 public:
    [[nodiscard]] std::span<UserSessionRecord> Records() { return records_; }
    [[nodiscard]] std::span<const UserSessionRecord> Records() const { return records_; }

    // The first record with this identifier; null when there is none or the identifier is invalid. The record stays
    // where it is until the next Append.
    [[nodiscard]] UserSessionRecord* Find(std::span<const std::uint8_t> sid);
    void Append(const UserSessionRecord& record) {
        records_.push_back(record);
        isWorthSaving_ = true;
    }

    // Empties the table for a rebuild. What the rebuild leaves is to be saved, also when it is nothing.
    void StartRebuild() {
        records_ = {};
        isWorthSaving_ = true;
    }
    // Empties the table after a save.
    void Forget() {
        records_ = {};
        isWorthSaving_ = false;
    }
    // False from the start, and after a save until something comes in: what was saved last is then still good.
    [[nodiscard]] bool IsWorthSaving() const { return isWorthSaving_; }

 private:
    std::vector<UserSessionRecord> records_;
    bool isWorthSaving_ = false;
};

// Copies the schedule of the account's settings entry into the record: of the first entry when one schedule serves all
// users, else of the first one with the record's identifier. False, with controlled 0, when there is none.
bool MatchUserSettings(UserSessionRecord& record, const SettingsCopy& settings);

// Enters a session event of an account; now is the local time. False when the identifier is invalid, when an account
// that is not in the table does not come in with this event, or when the day change cannot be decided: today's date or
// that of the account's last event is no date.
bool RecordSessionEvent(const LogonEvent& event, UserSessionTable& table, const SettingsCopy& settings,
                        const TarnSystemTime& now);

// Copies a name of 260 units at any address, terminated or not, into a record's.
void SetUserName(std::array<char16_t, 260>& name, const void* field);

}  // namespace tarn::parental

#endif
