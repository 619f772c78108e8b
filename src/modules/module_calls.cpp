#include "modules/module_calls.h"

#include "modules/install_file.h"

namespace tarn::modules {

bool ModuleCalls::ReadBPStatus(std::uint8_t& status) {
    return Read(companions_.statusReader, &StatusReader::ReadBPStatus, status);
}

bool ModuleCalls::ReadAPStatus(std::uint8_t& status) {
    return Read(companions_.statusReader, &StatusReader::ReadAPStatus, status);
}

bool ModuleCalls::ReadIDSIPSStatus(std::uint8_t& status) {
    IdsIpsStatus record;
    const bool read = Read(companions_.statusReader, &StatusReader::ReadIDSIPSStatus, record);
    status = record.enabled;
    return read;
}

bool ModuleCalls::ReadBPReportPromptStatus(PromptBytes& prompt) {
    return Read(companions_.statusReader, &StatusReader::ReadBPReportPromptStatus, prompt);
}

bool ModuleCalls::ReadAPReportPromptStatus(PromptBytes& prompt) {
    return Read(companions_.statusReader, &StatusReader::ReadAPReportPromptStatus, prompt);
}

void ModuleCalls::ReadWebSecCloudStatus(std::uint8_t& status) {
    const auto& module = companions_.statusReader;
    status = 1;
    if (!module || module->ReadWebSecCloudStatus == nullptr) return;
    std::uint8_t answer = 1;
    if (Call(module->ReadWebSecCloudStatus, 0, &answer, &error_) != 0) status = answer;
}

bool ModuleCalls::ReadIDSIPSSettings(std::uint32_t& flags, std::uint8_t& extra) {
    flags = 0;
    extra = 0;
    return ReadUseRelease<IdsIpsSettings>(companions_.statusReader, &StatusReader::ReadIDSIPSSettings,
                                          &StatusReader::ReleaseIDSIPSSettings, [&](const IdsIpsSettings& record) {
                                              flags = record.flags;
                                              extra = record.extra;
                                              return true;
                                          });
}

bool ModuleCalls::ReadEPSServerIP(std::array<char16_t, 260>& address) {
    address.fill(u'\0');
    const auto& module = companions_.statusReader;
    if (!module || module->ReadEPSServerIP == nullptr) return false;
    const auto capacity = static_cast<std::uint32_t>(address.size());
    if (Call(module->ReadEPSServerIP, address.data(), capacity, &error_) != 0) return true;
    address.fill(u'\0');
    return false;
}

bool ModuleCalls::ReadPCModeUnreleased(std::uint8_t& mode) {
    // QUIRK: the record is not handed to ReleasePCSettings.  Test: ParentalRecord_IsNotReleased
    PcSettingsRecord record;
    const bool read = Read(companions_.statusReader, &StatusReader::ReadPCSettings, record);
    mode = record.mode;
    return read;
}

bool ModuleCalls::ReadAgentStatus(std::uint8_t& status) {
    status = 0;
    base::PathBuffer path;
    if (!InstallFilePath(system_, AgentStatusReader::kFile, path)) return false;
    const LoadedModule<AgentStatusReader> module(system_, path.data());
    if (module && Call(module->GetYALStatus, &status) != 0) return true;
    status = 0;
    return false;
}

bool ModuleCalls::ReadDisabledFeatures(DisabledFeatures& features) {
    constexpr std::size_t kPathUnits = 256;  // this module's path is built in a shorter buffer than the others'
    features = {};
    base::PathBuffer path;
    if (!InstallFilePath(system_, DisabledFeaturesReader::kFile, path, kPathUnits)) return false;
    const LoadedModule<DisabledFeaturesReader> module(system_, path.data());
    return Read(module, &DisabledFeaturesReader::ReadDisableFeaturesSettings, features);
}

bool ModuleCalls::ResetBPUserWhitelist() {
    const auto& module = companions_.statusReader;
    if (!module || module->ResetBPUserWhitelist == nullptr) return false;
    return Call(module->ResetBPUserWhitelist, 0, &error_) != 0;
}

bool ModuleCalls::WriteDNSCacheSettings(const DnsCacheRecord& record) {
    const auto& module = companions_.statusReader;
    if (!module || module->WriteDNSCacheSettings == nullptr) return false;
    return Call(module->WriteDNSCacheSettings, 0, &record, &error_) != 0;
}

bool ModuleCalls::WritePCSystemControlSettings(const PcSystemControlRecord& record) {
    const auto& module = companions_.statusReader;
    if (!module || module->WritePCSystemControlSettings == nullptr) return false;
    return Call(module->WritePCSystemControlSettings, 0, &record, &error_) != 0;
}

bool ModuleCalls::SaveCategoryCache(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    const auto& module = companions_.categorisation;
    if (!module || module->SCSaveCacheFile == nullptr) return false;
    Call(module->SCSaveCacheFile, a, b, c, d);
    return true;
}

bool ModuleCalls::ReadBPSettings(ThreatSiteList& record) {
    return Read(companions_.settingsReader, &SettingsReader::ReadBPSettings, record);
}

void ModuleCalls::ReleaseBPSettings(ThreatSiteList& record) {
    Release(companions_.settingsReader, &SettingsReader::ReleaseBPSettings, record);
}

bool ModuleCalls::ReadBPUserWhiteList(UrlListRecord& record) {
    return Read(companions_.statusReader, &StatusReader::ReadBPUserWhiteList, record);
}

void ModuleCalls::ReleaseBPUserWhiteList(UrlListRecord& record) {
    Release(companions_.statusReader, &StatusReader::ReleaseBPUserWhiteList, record);
}

bool ModuleCalls::ReadBPInternalWhiteList(UrlListRecord& record) {
    return Read(companions_.settingsReader, &SettingsReader::ReadBPInternalWhiteList, record);
}

bool ModuleCalls::ReadWSInternalWhiteList(UrlListRecord& record) {
    return Read(companions_.settingsReader, &SettingsReader::ReadWSInternalWhiteList, record);
}

void ModuleCalls::ReleaseWSInternalWhiteList(UrlListRecord& record) {
    Release(companions_.settingsReader, &SettingsReader::ReleaseWSInternalWhiteList, record);
}

bool ModuleCalls::ReadIDSSettings(std::uint32_t classification, IdsRuleTable& table) {
    table.Clear();
    const std::uint8_t system = IdsSystemOf(classification);
    if (system == 0) return false;
    IdsSettingsRecord record;
    if (!Read(companions_.settingsReader, &SettingsReader::ReadIDSSettings, record)) return false;
    if (record.ruleCount == 0) {
        table.Keep(record);
        return true;
    }
    const bool copied = table.CopySelected(record, system);
    Release(companions_.settingsReader, &SettingsReader::ReleaseIDSSettings, record);
    return copied;
}

void ModuleCalls::ReleaseIDSSettings(IdsRuleTable& table) {
    // The library's own copies never reach the module: it gets the record that was kept as it stood, or a zeroed one.
    IdsSettingsRecord record = table.KeptRecord();
    table.Clear();
    Release(companions_.settingsReader, &SettingsReader::ReleaseIDSSettings, record);
}

}  // namespace tarn::modules
