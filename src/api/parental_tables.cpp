#include "api/parental_tables.h"

#include <utility>

#include "parental/saved_sessions.h"

namespace tarn::api {

bool ParentalControl::Load(modules::ModuleCalls& calls) {
    Free();
    parental::SettingsCopy settings;
    const bool copied = calls.ReadPCSettings(
        [&](const PcSettingsRecord& record) { return parental::CopyPcSettings(record, settings); });
    if (!copied) return false;
    lists::PublishedProfiles profiles = lists::PublishProfiles(settings);
    Replace(std::move(settings), std::move(profiles));
    return true;
}

void ParentalControl::Free() {
    Replace({}, {});
}

void ParentalControl::RebuildSessions(modules::ModuleCalls& calls, machine::Machine& machine) {
    tables_.Write([&](ParentalTables& tables) {
        parental::RebuildUserSessions(tables.sessions, tables.settings, calls, machine.LiveSessions(), machine.Clock());
    });
}

bool ParentalControl::SaveAndClearSessions(modules::ModuleCalls& calls, machine::Machine& machine) {
    return tables_.Write([&](ParentalTables& tables) {
        return parental::SaveAndClearUserSessions(tables.sessions, calls, machine.Clock());
    });
}

void ParentalControl::Replace(parental::SettingsCopy settings, lists::PublishedProfiles profiles) {
    tables_.Write([&](ParentalTables& tables) {
        tables.profiles = std::move(profiles);
        tables.settings = std::move(settings);
    });
}

}  // namespace tarn::api
