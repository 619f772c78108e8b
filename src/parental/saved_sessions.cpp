#include "parental/saved_sessions.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tarn/companions.h"

#include "base/scope_exit.h"

namespace tarn::parental {
namespace {

UserSessionRecord FromSaved(const SavedSessionRecord& saved, const machine::LocalClock& clock) {
    UserSessionRecord record;
    std::memcpy(record.sid.data(), saved.sid, sizeof saved.sid);
    record.accountTag = saved.accountTag;
    SetUserName(record.userName, &saved.userName);
    if (saved.lastUpdate > 0) record.lastUpdate = clock.ToLocal(saved.lastUpdate).value_or(TarnSystemTime{});
    record.usageTicks = saved.usageTicks;
    record.blocked = saved.blocked;
    return record;
}

SavedSessionRecord ToSaved(const UserSessionRecord& record, const machine::LocalClock& clock) {
    SavedSessionRecord saved{};
    std::memcpy(saved.sid, record.sid.data(), sizeof saved.sid);
    saved.accountTag = record.accountTag;
    std::memcpy(&saved.userName, record.userName.data(), sizeof saved.userName);
    saved.lastUpdate = clock.ToSeconds(record.lastUpdate).value_or(0);
    saved.usageTicks = record.usageTicks;
    saved.blocked = record.blocked;
    return saved;
}

}  // namespace

void LoadUserSessions(UserSessionTable& table, const SettingsCopy& settings, modules::ModuleCalls& calls,
                      const machine::LocalClock& clock) {
    calls.ReadPCSystemControlSettings([&](const PcSystemControlRecord& state) {
        if (state.records == nullptr) return true;
        for (std::size_t i = 0; i < state.count; ++i) {
            UserSessionRecord record = FromSaved(state.records[i], clock);
            MatchUserSettings(record, settings);
            table.Append(record);
        }
        return true;
    });
}

bool SaveUserSessions(const UserSessionTable& table, modules::ModuleCalls& calls, const machine::LocalClock& clock,
                      const CopyMemory& memory) {
    const std::span<const UserSessionRecord> records = table.Records();
    OwnedArray<SavedSessionRecord> saved;
    if (!saved.Allocate(records.size(), memory)) return false;
    std::ranges::transform(records, saved.begin(),
                           [&](const UserSessionRecord& record) { return ToSaved(record, clock); });
    const PcSystemControlRecord state{static_cast<std::uint32_t>(saved.size()), saved.data()};
    return calls.WritePCSystemControlSettings(state);
}

void RebuildUserSessions(UserSessionTable& table, const SettingsCopy& settings, modules::ModuleCalls& calls,
                         machine::LiveSessionSource& live, const machine::LocalClock& clock) {
    base::ScopeExit forget([&]() noexcept { table.Forget(); });
    table.StartRebuild();
    LoadUserSessions(table, settings, calls, clock);
    EnumerateLiveSessions(table, settings, live, clock);
    forget.Dismiss();
}

bool SaveAndClearUserSessions(UserSessionTable& table, modules::ModuleCalls& calls, const machine::LocalClock& clock,
                              const CopyMemory& memory) {
    if (!table.IsWorthSaving()) return true;
    const base::ScopeExit forget([&]() noexcept { table.Forget(); });
    return SaveUserSessions(table, calls, clock, memory);
}

}  // namespace tarn::parental
