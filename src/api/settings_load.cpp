#include "api/settings_load.h"

#include "api/ini_settings.h"
#include "api/parental_load.h"
#include "modules/companion_loader.h"

namespace tarn::api {
namespace {

void RestoreDnsAnswers(Library& library, std::uint32_t& error) {
    modules::ReadDNSCacheSettings(library.companions, error, [&](const DnsCacheRecord& saved) {
        if (saved.count < 1 || saved.count > TARN_DNS_RING_SLOTS || saved.entries == nullptr) return false;
        library.dnsRing.Restore({saved.entries, saved.count}, saved.writeIndex);
        return true;
    });
}

void LoadStatuses(Library& library, std::uint32_t& error) {
    modules::SettingsState& settings = library.settings;
    LoadUserWhiteList(library, error);
    modules::ReadBPStatus(library.companions, settings.bpStatus, error);
    modules::ReadIDSIPSStatus(library.companions, settings.idsIpsStatus, error);
    modules::ReadIDSIPSSettings(library.companions, settings.idsIpsFlags, settings.idsIpsExtra, error);
    modules::ReadAPStatus(library.companions, settings.apStatus, error);
    LoadBrowsingProtectionSettings(library, error);
}

void LoadLists(Library& library, std::uint32_t& error) {
    modules::SettingsState& settings = library.settings;
    if (modules::ReadBPInternalWhiteList(library.companions, settings.bpInternalWhiteList, error))
        library.lists.browsingProtectionInternal.Publish(settings.bpInternalWhiteList);
    if (modules::ReadWSInternalWhiteList(library.companions, settings.wsInternalWhiteList, error))
        library.lists.webSecurityInternal.Publish(settings.wsInternalWhiteList);
    modules::ReadAPSettings(library.companions, error, [&](const PhishingSiteList& record) {
        library.lists.phishing.Publish(record);
        return true;
    });
    modules::ReadBPReportPromptStatus(library.companions, settings.bpPrompt, error);
    modules::ReadAPReportPromptStatus(library.companions, settings.apPrompt, error);
}

// The settings state without what it owns of the modules; those records are handed back or forgotten before.
void ZeroSettings(Library& library) {
    modules::SettingsState& settings = library.settings;
    settings.bpStatus = settings.apStatus = settings.idsIpsStatus = settings.idsIpsExtra = settings.agentStatus = 0;
    settings.bpPrompt = settings.apPrompt = {};
    settings.idsIpsFlags = 0;
    settings.socialReminderDue = false;
    settings.bpSettings = {};
    settings.bpUserWhiteList = settings.bpInternalWhiteList = settings.wsInternalWhiteList = {};
    settings.idsRules.Clear();
    library.lists = {};
    FreeParentalControl(library);
    library.dnsRing.Free();
}

}  // namespace

bool LoadUserWhiteList(Library& library, std::uint32_t& error) {
    UrlListRecord& record = library.settings.bpUserWhiteList;
    library.lists.user.Clear();
    if (!modules::ReadBPUserWhiteList(library.companions, record, error)) return false;
    library.lists.user.Publish(record);
    return true;
}

void LoadBrowsingProtectionSettings(Library& library, std::uint32_t& error) {
    ThreatSiteList& record = library.settings.bpSettings;
    library.lists.malicious.Clear();
    if (modules::ReadBPSettings(library.companions, record, error)) library.lists.malicious.Publish(record);
}

void LoadIdsRules(Library& library, std::uint32_t& error) {
    modules::ReadIDSSettings(library.companions, library.platform.Modules().SystemClassification(),
                             library.settings.idsRules, error);
}

bool LoadSettings(Library& library, std::uint8_t mode, std::uint32_t& error) {
    ZeroSettings(library);
    if (!library.dnsRing.Allocate()) return false;
    library.settings.socialReminderDue = ReadSocialReminder(library.platform);
    if (mode == kModeRestart) RestoreDnsAnswers(library, error);
    if (mode == kModeFreshStart && !library.managedClient.installed)
        modules::ResetBPUserWhitelist(library.companions, error);
    LoadStatuses(library, error);
    LoadParentalControl(library, error);
    RebuildUserSessions(library, error);
    LoadLists(library, error);
    modules::ReadAgentStatus(library.platform.Modules(), library.settings.agentStatus);
    LoadIdsRules(library, error);
    return true;
}

void ReleaseSettings(Library& library, std::uint32_t& error, modules::PassThrough* passed) {
    modules::SettingsState& settings = library.settings;
    const modules::Companions& companions = library.companions;
    library.lists = {};  // nothing may be asked of a record that is handed back
    modules::ReleaseWSInternalWhiteList(companions, settings.wsInternalWhiteList, passed);
    error = 0;
    modules::WriteDNSCacheSettings(companions, library.dnsRing.Saved(), error);
    library.dnsRing.Free();
    SaveAndClearUserSessions(library, error);
    FreeParentalControl(library);
    modules::ReleaseBPSettings(companions, settings.bpSettings);
    modules::ReleaseBPUserWhiteList(companions, settings.bpUserWhiteList);
    modules::ReleaseIDSSettings(companions, settings.idsRules);
    // QUIRK: the browsing-protection internal white list is forgotten, not released.
    // Test: SettingsRelease_BrowsingProtectionInternalList_IsNotReleased
    settings.bpInternalWhiteList = {};
    ZeroSettings(library);
}

}  // namespace tarn::api
