#include "api/parental_load.h"

#include <utility>

#include "modules/settings.h"
#include "parental/saved_sessions.h"

namespace tarn::api {
namespace {

void Replace(Library& library, parental::SettingsCopy copy, lists::PublishedProfiles profiles) {
    const base::WriteHold hold(library.parentalLock);
    library.profiles = std::move(profiles);
    library.parental = std::move(copy);
}

}  // namespace

bool LoadParentalControl(Library& library, std::uint32_t& error, modules::PassThrough* passed) {
    FreeParentalControl(library);
    parental::SettingsCopy copy;
    const bool copied = modules::ReadPCSettings(
        library.companions, error,
        [&](const PcSettingsRecord& record) { return parental::CopyPcSettings(record, copy); }, passed);
    if (!copied) return false;
    lists::PublishedProfiles profiles = lists::PublishProfiles(copy);
    Replace(library, std::move(copy), std::move(profiles));
    return true;
}

void FreeParentalControl(Library& library) {
    Replace(library, {}, {});
}

bool RebuildUserSessions(Library& library, std::uint32_t& error) {
    const base::WriteHold hold(library.parentalLock);
    return parental::RebuildUserSessions(library.sessions, library.parental, library.companions,
                                         library.platform.LiveSessions(), library.platform.Clock(), error);
}

bool SaveAndClearUserSessions(Library& library, std::uint32_t& error, modules::PassThrough* passed) {
    const base::WriteHold hold(library.parentalLock);
    return parental::SaveAndClearUserSessions(library.sessions, library.companions, library.platform.Clock(), error,
                                              passed);
}

}  // namespace tarn::api
