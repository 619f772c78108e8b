#include "api/settings_change.h"

#include "api/parental_load.h"
#include "api/settings_load.h"
#include "modules/companion_loader.h"
#include "modules/settings.h"

namespace tarn::api {
namespace {

using modules::PassThrough;

bool ReloadCategorisation(Library& library, std::uint32_t& error, PassThrough* passed = nullptr) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadCategorisation(library.companions, system, error, passed);
    base::PathBuffer folder;
    return system.InstallFolder(folder) && modules::LoadCategorisation(library.companions, system, folder, error);
}

bool ChangeAntiPhishingStatus(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    modules::SettingsState& settings = library.settings;
    return modules::ReadAPStatus(library.companions, settings.apStatus, error, &passed) &&
           modules::ReadAPReportPromptStatus(library.companions, settings.apPrompt, error) &&
           ReloadCategorisation(library, error);
}

bool ChangeBrowsingProtectionStatus(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    modules::SettingsState& settings = library.settings;
    return modules::ReadBPStatus(library.companions, settings.bpStatus, error, &passed) &&
           modules::ReadBPReportPromptStatus(library.companions, settings.bpPrompt, error) &&
           ReloadCategorisation(library, error);
}

bool ChangeIdsIpsStatus(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    return modules::ReadIDSIPSStatus(library.companions, library.settings.idsIpsStatus, error, &passed);
}

bool ChangeUserWhiteList(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    library.lists.user.Clear();
    modules::ReleaseBPUserWhiteList(library.companions, library.settings.bpUserWhiteList, &passed);
    return LoadUserWhiteList(library, error);
}

bool ChangeParentalControl(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    SaveAndClearUserSessions(library, error, &passed);
    if (!LoadParentalControl(library, error, &passed)) return false;
    library.scheduleWorker.Stop();
    if (!library.scheduleWorker.Start(library.parental, error)) {
        FreeParentalControl(library);
        return false;
    }
    return ReloadCategorisation(library, error) && RebuildUserSessions(library, error);
}

bool ChangeIdsIpsSettings(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    modules::SettingsState& settings = library.settings;
    if (modules::ReadIDSIPSSettings(library.companions, settings.idsIpsFlags, settings.idsIpsExtra, error, &passed))
        return true;
    // QUIRK: a failed read of the IDS settings also turns the IDS status off.
    // Test: IdsSettings_ReadFails_TurnsStatusOff
    settings.idsIpsStatus = 0;
    return false;
}

bool ChangeHttpsInspection(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    machine::ModuleSystem& system = library.platform.Modules();
    const bool mayRun = modules::HttpsInspectionMayRun(system.HttpsFacts());
    if (mayRun) modules::UnloadHttpsInspection(library.companions, system, &passed);
    if (!ReloadCategorisation(library, error, &passed)) return false;
    base::PathBuffer folder;
    if (mayRun && system.InstallFolder(folder)) modules::LoadHttpsInspection(library.companions, system, folder);
    return true;
}

bool ChangeEverything(Library& library, PassThrough& passed) {
    std::uint32_t error = 0;
    ReleaseSettings(library, error, &passed);
    if (!LoadSettings(library, kModeRestart, error)) return false;
    library.scheduleWorker.Stop();
    if (library.scheduleWorker.Start(library.parental, error) && ReloadCategorisation(library, error)) return true;
    ReleaseSettings(library, error);
    return false;
}

void ReloadUrlPatterns(Library& library, const base::PathBuffer& folder, std::uint32_t& error) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadUrlPatterns(library.companions, system, error);
    modules::LoadUrlPatterns(library.companions, system, folder);
}

bool ReloadPacketSignatures(Library& library, const base::PathBuffer& folder, std::uint32_t& error) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadPacketSignatures(library.companions, system, error);
    return modules::LoadPacketSignatures(library.companions, system, folder, error);
}

bool ReloadSettingsReader(Library& library, const base::PathBuffer& folder) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadSettingsReader(library.companions, system);
    return modules::LoadSettingsReader(library.companions, system, folder);
}

// QUIRK: unlike at start-up nobody asks whether HTTPS inspection may run on this system.
// Test: UpdatedHttpsInspection_IsLoadedWhateverTheSystem
bool ReloadHttpsInspection(Library& library, const base::PathBuffer& folder) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadHttpsInspection(library.companions, system);
    return modules::LoadHttpsInspection(library.companions, system, folder);
}

bool ReloadStatusReader(Library& library, const base::PathBuffer& folder) {
    machine::ModuleSystem& system = library.platform.Modules();
    modules::UnloadStatusReader(library.companions, system);
    return modules::LoadStatusReader(library.companions, system, folder);
}

void ReloadBrowsingProtectionSettings(Library& library, std::uint32_t& error) {
    library.lists.malicious.Clear();
    modules::ReleaseBPSettings(library.companions, library.settings.bpSettings);
    LoadBrowsingProtectionSettings(library, error);
}

void ReloadIdsRules(Library& library, std::uint32_t& error) {
    modules::ReleaseIDSSettings(library.companions, library.settings.idsRules);
    LoadIdsRules(library, error);
}

}  // namespace

bool ChangeSettings(Library& library, SettingsKind kind, PassThrough& passed) {
    switch (kind) {
        case SettingsKind::kAntiPhishingStatus:
            return ChangeAntiPhishingStatus(library, passed);
        case SettingsKind::kBrowsingProtectionStatus:
            return ChangeBrowsingProtectionStatus(library, passed);
        case SettingsKind::kIdsIpsStatus:
            return ChangeIdsIpsStatus(library, passed);
        case SettingsKind::kUserWhiteList:
            return ChangeUserWhiteList(library, passed);
        case SettingsKind::kParentalControl:
            return ChangeParentalControl(library, passed);
        case SettingsKind::kIdsIpsSettings:
            return ChangeIdsIpsSettings(library, passed);
        case SettingsKind::kHttpsInspection:
        case SettingsKind::kHttpsInspectionToo:
            return ChangeHttpsInspection(library, passed);
        case SettingsKind::kEverything:
            return ChangeEverything(library, passed);
    }
    return false;
}

bool ReloadUpdated(Library& library, std::uint32_t updated) {
    std::uint32_t error = 0;
    base::PathBuffer folder;
    if (!library.platform.Modules().InstallFolder(folder)) return false;
    const auto has = [updated](std::uint32_t bit) { return (updated & bit) != 0; };

    if (has(kUpdatedBrowsingProtection)) ReloadBrowsingProtectionSettings(library, error);
    if (has(kUpdatedCategorisation | kUpdatedCategorisationToo) && !ReloadCategorisation(library, error)) return false;
    if (has(kUpdatedUrlPatterns)) ReloadUrlPatterns(library, folder, error);
    if (has(kUpdatedPacketSignatures) && !ReloadPacketSignatures(library, folder, error)) return false;
    if (has(kUpdatedSettingsReader) && !ReloadSettingsReader(library, folder)) return false;
    if (has(kUpdatedHttpsInspection) && !ReloadHttpsInspection(library, folder)) return false;
    if (has(kUpdatedStatusReader) && !ReloadStatusReader(library, folder)) return false;
    if (has(kUpdatedIdsSettings)) ReloadIdsRules(library, error);
    return true;
}

}  // namespace tarn::api
