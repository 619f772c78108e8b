#include "api/settings_change.h"

#include "api/settings_load.h"
#include "modules/module_calls.h"

namespace tarn::api {
namespace {

using modules::ModuleCalls;

bool ReloadCategorisation(ModuleCalls& calls) {
    calls.Unload<modules::Categorisation>();
    base::PathBuffer folder;
    return calls.System().InstallFolder(folder) && calls.Load<modules::Categorisation>(folder);
}

bool ChangeAntiPhishingStatus(Library& library, ModuleCalls& calls) {
    modules::SettingsState& settings = library.settings;
    return calls.ReadAPStatus(settings.apStatus) && calls.ReadAPReportPromptStatus(settings.apPrompt) &&
           ReloadCategorisation(calls);
}

bool ChangeBrowsingProtectionStatus(Library& library, ModuleCalls& calls) {
    modules::SettingsState& settings = library.settings;
    return calls.ReadBPStatus(settings.bpStatus) && calls.ReadBPReportPromptStatus(settings.bpPrompt) &&
           ReloadCategorisation(calls);
}

bool ChangeUserWhiteList(Library& library, ModuleCalls& calls) {
    library.lists.user.Clear();
    calls.ReleaseBPUserWhiteList(library.settings.bpUserWhiteList);
    return LoadUserWhiteList(library, calls);
}

bool RestartWorker(Library& library, ModuleCalls& calls) {
    library.scheduleWorker.Stop();
    return library.scheduleWorker.Start(library.parental.Settings(), calls.Error());
}

bool ChangeParentalControl(Library& library, ModuleCalls& calls) {
    library.parental.SaveAndClearSessions(calls, library.machine);
    if (!library.parental.Load(calls)) return false;
    if (!RestartWorker(library, calls)) {
        library.parental.Free();
        return false;
    }
    if (!ReloadCategorisation(calls)) return false;
    library.parental.RebuildSessions(calls, library.machine);
    return true;
}

bool ChangeIdsIpsSettings(Library& library, ModuleCalls& calls) {
    modules::SettingsState& settings = library.settings;
    if (calls.ReadIDSIPSSettings(settings.idsIpsFlags, settings.idsIpsExtra)) return true;
    // QUIRK: a failed read of the IDS settings also turns the IDS status off.
    // Test: IdsSettings_ReadFails_TurnsStatusOff
    settings.idsIpsStatus = 0;
    return false;
}

bool ChangeHttpsInspection(ModuleCalls& calls) {
    const bool mayRun = modules::HttpsInspectionMayRun(calls.System().HttpsFacts());
    if (mayRun) calls.Unload<modules::HttpsInspection>();
    if (!ReloadCategorisation(calls)) return false;
    base::PathBuffer folder;
    if (mayRun && calls.System().InstallFolder(folder)) calls.Load<modules::HttpsInspection>(folder);
    return true;
}

bool ChangeEverything(Library& library, ModuleCalls& calls) {
    if (!ReleaseSettings(library, calls)) return false;
    if (!LoadSettings(library, calls, TARN_START_RESTART)) return false;
    if (RestartWorker(library, calls) && ReloadCategorisation(calls)) return true;
    ReleaseSettings(library, calls);
    return false;
}

void ReloadBrowsingProtectionSettings(Library& library, ModuleCalls& calls) {
    library.lists.malicious.Clear();
    calls.ReleaseBPSettings(library.settings.bpSettings);
    LoadBrowsingProtectionSettings(library, calls);
}

void ReloadIdsRules(Library& library, ModuleCalls& calls) {
    calls.ReleaseIDSSettings(library.settings.idsRules);
    LoadIdsRules(library, calls);
}

}  // namespace

bool ChangeSettings(Library& library, std::uint32_t kind, const modules::PassedValues& passed) {
    std::uint32_t error = 0;
    ModuleCalls calls = library.Calls(error, passed);
    switch (kind) {
        case TARN_SETTINGS_ANTI_PHISHING:
            return ChangeAntiPhishingStatus(library, calls);
        case TARN_SETTINGS_BROWSING_PROTECTION:
            return ChangeBrowsingProtectionStatus(library, calls);
        case TARN_SETTINGS_IDS_STATUS:
            return calls.ReadIDSIPSStatus(library.settings.idsIpsStatus);
        case TARN_SETTINGS_USER_WHITE_LIST:
            return ChangeUserWhiteList(library, calls);
        case TARN_SETTINGS_PARENTAL_CONTROL:
            return ChangeParentalControl(library, calls);
        case TARN_SETTINGS_IDS_SETTINGS:
            return ChangeIdsIpsSettings(library, calls);
        case TARN_SETTINGS_HTTPS_INSPECTION:
        case TARN_SETTINGS_HTTPS_INSPECTION_TOO:
            return ChangeHttpsInspection(calls);
        case TARN_SETTINGS_EVERYTHING:
            return ChangeEverything(library, calls);
    }
    return false;
}

bool ReloadUpdated(Library& library, std::uint32_t updated) {
    std::uint32_t error = 0;
    ModuleCalls calls = library.Calls(error);
    base::PathBuffer folder;
    if (!calls.System().InstallFolder(folder)) return false;
    const auto has = [updated](std::uint32_t bit) { return (updated & bit) != 0; };

    if (has(TARN_UPDATED_BROWSING_PROTECTION)) ReloadBrowsingProtectionSettings(library, calls);
    if (has(TARN_UPDATED_CATEGORISATION | TARN_UPDATED_CATEGORISATION_TOO) && !ReloadCategorisation(calls))
        return false;
    if (has(TARN_UPDATED_URL_PATTERNS)) calls.Reload<modules::UrlPatterns>(folder);
    if (has(TARN_UPDATED_PACKET_SIGNATURES) && !calls.Reload<modules::PacketSignatures>(folder)) return false;
    if (has(TARN_UPDATED_SETTINGS_READER) && !calls.Reload<modules::SettingsReader>(folder)) return false;
    // QUIRK: unlike at start-up nobody asks whether HTTPS inspection may run on this system.
    // Test: UpdatedHttpsInspection_IsLoadedWhateverTheSystem
    if (has(TARN_UPDATED_HTTPS_INSPECTION) && !calls.Reload<modules::HttpsInspection>(folder)) return false;
    if (has(TARN_UPDATED_STATUS_READER) && !calls.Reload<modules::StatusReader>(folder)) return false;
    if (has(TARN_UPDATED_IDS_RULES)) ReloadIdsRules(library, calls);
    return true;
}

}  // namespace tarn::api
