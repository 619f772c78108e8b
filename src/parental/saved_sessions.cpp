#include "parental/saved_sessions.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tarn/companions.h"

#include "modules/settings.h"

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

bool LoadUserSessions(UserSessionTable& table, const SettingsCopy& settings, const modules::Companions& companions,
                      const machine::LocalClock& clock, std::uint32_t& error) {
    modules::ReadPCSystemControlSettings(companions, error, [&](const PcSystemControlRecord& state) {
        if (state.records == nullptr) return true;
        for (std::size_t i = 0; i < state.count; ++i) {
            UserSessionRecord record = FromSaved(state.records[i], clock);
            MatchUserSettings(record, settings);
            table.Append(record);
        }
        return true;
    });
    return true;
}

bool SaveUserSessions(const UserSessionTable& table, const modules::Companions& companions,
                      const machine::LocalClock& clock, std::uint32_t& error, modules::PassThrough* passed,
                      const CopyMemory& memory) {
    const std::span<const UserSessionRecord> records = table.Records();
    OwnedArray<SavedSessionRecord> saved;
    if (!saved.Allocate(records.size(), memory)) return false;
    std::ranges::transform(records, saved.begin(),
                           [&](const UserSessionRecord& record) { return ToSaved(record, clock); });
    const PcSystemControlRecord state{static_cast<std::uint32_t>(saved.size()), saved.data()};
    return modules::WritePCSystemControlSettings(companions, state, error, passed);
}

bool RebuildUserSessions(UserSessionTable& table, const SettingsCopy& settings, const modules::Companions& companions,
                         machine::LiveSessionSource& live, const machine::LocalClock& clock, std::uint32_t& error) {
    table.StartRebuild();
    return LoadUserSessions(table, settings, companions, clock, error) &&
           EnumerateLiveSessions(table, settings, live, clock);
}

bool SaveAndClearUserSessions(UserSessionTable& table, const modules::Companions& companions,
                              const machine::LocalClock& clock, std::uint32_t& error, modules::PassThrough* passed,
                              const CopyMemory& memory) {
    if (!table.IsWorthSaving()) return true;
    const bool saved = SaveUserSessions(table, companions, clock, error, passed, memory);
    table.Forget();
    return saved;
}

}  // namespace tarn::parental
