#include "modules/settings.h"

namespace tarn::modules {
namespace {

template <class Module, class Read, class Out>
bool Ask(const Companion<Module>& module, Read read, Out& out, std::uint32_t& error, PassThrough* passed = nullptr) {
    out = {};
    if (!module.loaded || read == nullptr) return false;
    if (CallPassing(passed, read, 0, &out, &error) != 0) return true;
    out = {};
    return false;
}

template <class Module, class Release, class Record>
void GiveBack(const Companion<Module>& module, Release release, Record& record, PassThrough* passed = nullptr) {
    if (module.loaded && release != nullptr) CallPassing(passed, release, &record);
    record = {};
}

}  // namespace

bool ReadBPStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error, PassThrough* passed) {
    return Ask(companions.statusReader, companions.statusReader.functions.ReadBPStatus, status, error, passed);
}

bool ReadAPStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error, PassThrough* passed) {
    return Ask(companions.statusReader, companions.statusReader.functions.ReadAPStatus, status, error, passed);
}

bool ReadIDSIPSStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error, PassThrough* passed) {
    const auto& module = companions.statusReader;
    IdsIpsStatus record;
    const bool read = Ask(module, module.functions.ReadIDSIPSStatus, record, error, passed);
    status = record.enabled;
    return read;
}

bool ReadBPReportPromptStatus(const Companions& companions, PromptBytes& prompt, std::uint32_t& error) {
    return Ask(companions.statusReader, companions.statusReader.functions.ReadBPReportPromptStatus, prompt, error);
}

bool ReadAPReportPromptStatus(const Companions& companions, PromptBytes& prompt, std::uint32_t& error) {
    return Ask(companions.statusReader, companions.statusReader.functions.ReadAPReportPromptStatus, prompt, error);
}

void ReadWebSecCloudStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error) {
    const auto& module = companions.statusReader;
    status = 1;
    if (!module.loaded || module.functions.ReadWebSecCloudStatus == nullptr) return;
    std::uint8_t answer = 1;
    if (module.functions.ReadWebSecCloudStatus(0, &answer, &error) != 0) status = answer;
}

bool ReadIDSIPSSettings(const Companions& companions, std::uint32_t& flags, std::uint8_t& extra, std::uint32_t& error,
                        PassThrough* passed) {
    const auto& module = companions.statusReader;
    flags = 0;
    extra = 0;
    const auto keep = [&](const IdsIpsSettings& record) {
        flags = record.flags;
        extra = record.extra;
        return true;
    };
    return ReadUseRelease<StatusReader, IdsIpsSettings>(module, module.functions.ReadIDSIPSSettings,
                                                        module.functions.ReleaseIDSIPSSettings, error, keep, passed);
}

bool ReadEPSServerIP(const Companions& companions, std::array<char16_t, 260>& address, std::uint32_t& error) {
    address.fill(u'\0');
    const auto& module = companions.statusReader;
    if (!module.loaded || module.functions.ReadEPSServerIP == nullptr) return false;
    const bool read =
        module.functions.ReadEPSServerIP(address.data(), static_cast<std::uint32_t>(address.size()), &error) != 0;
    if (!read) address.fill(u'\0');
    return read;
}

bool ResetBPUserWhitelist(const Companions& companions, std::uint32_t& error) {
    const auto& module = companions.statusReader;
    if (!module.loaded || module.functions.ResetBPUserWhitelist == nullptr) return false;
    return module.functions.ResetBPUserWhitelist(0, &error) != 0;
}

bool ReadPCModeUnreleased(const Companions& companions, std::uint8_t& mode, std::uint32_t& error) {
    // QUIRK: the record is not handed to ReleasePCSettings.  Test: ParentalRecord_IsNotReleased
    PcSettingsRecord record;
    const bool read = Ask(companions.statusReader, companions.statusReader.functions.ReadPCSettings, record, error);
    mode = record.mode;
    return read;
}

bool ReadBPSettings(const Companions& companions, ThreatSiteList& record, std::uint32_t& error) {
    return Ask(companions.settingsReader, companions.settingsReader.functions.ReadBPSettings, record, error);
}

void ReleaseBPSettings(const Companions& companions, ThreatSiteList& record) {
    GiveBack(companions.settingsReader, companions.settingsReader.functions.ReleaseBPSettings, record);
}

bool ReadBPUserWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error) {
    return Ask(companions.statusReader, companions.statusReader.functions.ReadBPUserWhiteList, record, error);
}

void ReleaseBPUserWhiteList(const Companions& companions, UrlListRecord& record, PassThrough* passed) {
    GiveBack(companions.statusReader, companions.statusReader.functions.ReleaseBPUserWhiteList, record, passed);
}

bool ReadBPInternalWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error) {
    return Ask(companions.settingsReader, companions.settingsReader.functions.ReadBPInternalWhiteList, record, error);
}

bool ReadWSInternalWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error) {
    return Ask(companions.settingsReader, companions.settingsReader.functions.ReadWSInternalWhiteList, record, error);
}

void ReleaseWSInternalWhiteList(const Companions& companions, UrlListRecord& record, PassThrough* passed) {
    GiveBack(companions.settingsReader, companions.settingsReader.functions.ReleaseWSInternalWhiteList, record, passed);
}

bool ReadIDSSettings(const Companions& companions, std::uint32_t classification, IdsRuleTable& table,
                     std::uint32_t& error) {
    table.Clear();
    const std::uint8_t system = IdsSystemOf(classification);
    if (system == 0) return false;
    const auto& module = companions.settingsReader;
    IdsSettingsRecord record;
    if (!Ask(module, module.functions.ReadIDSSettings, record, error)) return false;
    if (record.ruleCount == 0) {
        table.Keep(record);
        return true;
    }
    const bool copied = table.CopySelected(record, system);
    GiveBack(module, module.functions.ReleaseIDSSettings, record);
    return copied;
}

void ReleaseIDSSettings(const Companions& companions, IdsRuleTable& table) {
    const auto& module = companions.settingsReader;
    // The library's own copies never reach the module: it gets the record that was kept as it stood, or a zeroed one.
    IdsSettingsRecord record = table.KeptRecord();
    table.Clear();
    GiveBack(module, module.functions.ReleaseIDSSettings, record);
}

bool WriteDNSCacheSettings(const Companions& companions, const DnsCacheRecord& record, std::uint32_t& error) {
    const auto& module = companions.statusReader;
    if (!module.loaded || module.functions.WriteDNSCacheSettings == nullptr) return false;
    return module.functions.WriteDNSCacheSettings(0, &record, &error) != 0;
}

bool WritePCSystemControlSettings(const Companions& companions, const PcSystemControlRecord& record,
                                  std::uint32_t& error, PassThrough* passed) {
    const auto& module = companions.statusReader;
    if (!module.loaded || module.functions.WritePCSystemControlSettings == nullptr) return false;
    return CallPassing(passed, module.functions.WritePCSystemControlSettings, 0, &record, &error) != 0;
}

}  // namespace tarn::modules
