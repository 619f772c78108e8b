// Everything that the parental-control lock guards: the copy of the settings, its published form, the user sessions.
// Loading, replacing and saving them runs on the thread of a settings export.
#ifndef TARN_API_PARENTAL_TABLES_H
#define TARN_API_PARENTAL_TABLES_H

#include "base/guarded.h"
#include "lists/published_lists.h"
#include "machine/machine.h"
#include "modules/module_calls.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::api {

struct ParentalTables {
    parental::SettingsCopy settings;
    lists::PublishedProfiles profiles;  // one for each entry of the settings
    parental::UserSessionTable sessions;
};

class ParentalControl {
 public:
    // Reads the settings and replaces the copy and its published form. False, with both empty, when the read or the
    // copy fails.
    bool Load(modules::ModuleCalls& calls);
    void Free();

    // The account sessions. The module is called while the write side is held, unlike in every other module call.
    void RebuildSessions(modules::ModuleCalls& calls, machine::Machine& machine);
    bool SaveAndClearSessions(modules::ModuleCalls& calls, machine::Machine& machine);

    // The session tables with the settings, under the write side of the lock.
    template <class Use>
    decltype(auto) Write(Use&& use) {
        return tables_.Write(use);
    }
    // Unlocked: settings exports, which alone replace them, never run beside scans or each other.
    [[nodiscard]] const parental::SettingsCopy& Settings() const { return tables_.Unlocked().settings; }
    [[nodiscard]] const lists::PublishedProfiles& Profiles() const { return tables_.Unlocked().profiles; }

 private:
    void Replace(parental::SettingsCopy settings, lists::PublishedProfiles profiles);

    base::Guarded<ParentalTables> tables_;
};

}  // namespace tarn::api

#endif
