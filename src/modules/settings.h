// Reads and releases the settings records through the two reader modules, each with its failure behaviour.
// In which order they are read, and what is published of them, is the caller's business.
#ifndef TARN_MODULES_SETTINGS_H
#define TARN_MODULES_SETTINGS_H

#include <array>
#include <cstdint>

#include "modules/companion_table.h"
#include "modules/ids_rules.h"
#include "modules/pass_through.h"

namespace tarn::modules {

// What is kept of the settings; all zero means every feature off and every list empty. The kept records belong to the
// module that made them and are only handed to its release.
struct SettingsState {
    std::uint8_t bpStatus = 0;
    std::uint8_t apStatus = 0;
    std::uint8_t idsIpsStatus = 0;
    PromptBytes bpPrompt{};
    PromptBytes apPrompt{};
    std::uint32_t idsIpsFlags = 0;  // the third byte is the alert byte of the packet scan
    std::uint8_t idsIpsExtra = 0;
    std::uint8_t agentStatus = 0;
    bool socialReminderDue = false;  // nothing in the library reads it

    ThreatSiteList bpSettings{};
    UrlListRecord bpUserWhiteList{};
    UrlListRecord bpInternalWhiteList{};
    UrlListRecord wsInternalWhiteList{};
    IdsRuleTable idsRules;
};

// Every read gives false, with its output zeroed, when the module is not loaded, the function is missing or the call
// fails; error is the module's cell. passed: what the host hands on to the first module call of a settings change.
bool ReadBPStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error,
                  PassThrough* passed = nullptr);
bool ReadAPStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error,
                  PassThrough* passed = nullptr);
bool ReadIDSIPSStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error,
                      PassThrough* passed = nullptr);
bool ReadBPReportPromptStatus(const Companions& companions, PromptBytes& prompt, std::uint32_t& error);
bool ReadAPReportPromptStatus(const Companions& companions, PromptBytes& prompt, std::uint32_t& error);
// Preset to 1; a failed read leaves the preset.
void ReadWebSecCloudStatus(const Companions& companions, std::uint8_t& status, std::uint32_t& error);
// What is kept of the record: its first number and the byte behind it.
bool ReadIDSIPSSettings(const Companions& companions, std::uint32_t& flags, std::uint8_t& extra, std::uint32_t& error,
                        PassThrough* passed = nullptr);
bool ReadEPSServerIP(const Companions& companions, std::array<char16_t, 260>& address, std::uint32_t& error);
bool ResetBPUserWhitelist(const Companions& companions, std::uint32_t& error);
// The mode byte alone.
bool ReadPCModeUnreleased(const Companions& companions, std::uint8_t& mode, std::uint32_t& error);

// Kept records. A release forgets the record, also when the module is not there to take it back.
bool ReadBPSettings(const Companions& companions, ThreatSiteList& record, std::uint32_t& error);
void ReleaseBPSettings(const Companions& companions, ThreatSiteList& record);
bool ReadBPUserWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error);
void ReleaseBPUserWhiteList(const Companions& companions, UrlListRecord& record, PassThrough* passed = nullptr);
bool ReadBPInternalWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error);
bool ReadWSInternalWhiteList(const Companions& companions, UrlListRecord& record, std::uint32_t& error);
void ReleaseWSInternalWhiteList(const Companions& companions, UrlListRecord& record, PassThrough* passed = nullptr);

bool ReadIDSSettings(const Companions& companions, std::uint32_t classification, IdsRuleTable& table,
                     std::uint32_t& error);
void ReleaseIDSSettings(const Companions& companions, IdsRuleTable& table);

bool WriteDNSCacheSettings(const Companions& companions, const DnsCacheRecord& record, std::uint32_t& error);
bool WritePCSystemControlSettings(const Companions& companions, const PcSystemControlRecord& record,
                                  std::uint32_t& error, PassThrough* passed = nullptr);

// Reads whose record is used at once: use(record) runs between a successful read and its release.
template <class Module, class Record, class ReadFn, class ReleaseFn, class Use>
bool ReadUseRelease(const Companion<Module>& module, ReadFn read, ReleaseFn release, std::uint32_t& error, Use&& use,
                    PassThrough* passed = nullptr) {
    if (!module.loaded || read == nullptr) return false;
    Record record{};
    if (CallPassing(passed, read, 0, &record, &error) == 0) return false;
    // Released also when the use raises an error.
    struct Releaser {
        ReleaseFn release;
        Record& record;
        ~Releaser() {
            if (release != nullptr) release(&record);
        }
    } releaser{release, record};
    return use(record);
}

// use returns whether it could take the record over; the result is false also when it could not.
template <class Use>
bool ReadAPSettings(const Companions& companions, std::uint32_t& error, Use&& use) {
    const auto& module = companions.settingsReader;
    return ReadUseRelease<SettingsReader, PhishingSiteList>(module, module.functions.ReadAPSettings,
                                                            module.functions.ReleaseAPSettings, error, use);
}
template <class Use>
bool ReadPCSettings(const Companions& companions, std::uint32_t& error, Use&& use, PassThrough* passed = nullptr) {
    const auto& module = companions.statusReader;
    return ReadUseRelease<StatusReader, PcSettingsRecord>(module, module.functions.ReadPCSettings,
                                                          module.functions.ReleasePCSettings, error, use, passed);
}
template <class Use>
bool ReadPCSystemControlSettings(const Companions& companions, std::uint32_t& error, Use&& use) {
    const auto& module = companions.statusReader;
    return ReadUseRelease<StatusReader, PcSystemControlRecord>(module, module.functions.ReadPCSystemControlSettings,
                                                               module.functions.ReleasePCSystemControlSettings, error,
                                                               use);
}
template <class Use>
bool ReadDNSCacheSettings(const Companions& companions, std::uint32_t& error, Use&& use) {
    const auto& module = companions.statusReader;
    return ReadUseRelease<StatusReader, DnsCacheRecord>(module, module.functions.ReadDNSCacheSettings,
                                                        module.functions.ReleaseDNSCacheSettings, error, use);
}

}  // namespace tarn::modules

#endif
