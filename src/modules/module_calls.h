// The calls into the modules of one start, end or change of the library: loads, reads, writes, releases, unloads. Scans
// call their modules through Companions.
// Made on the stack of a settings export, for its thread alone; it owns none of what it refers to.
#ifndef TARN_MODULES_MODULE_CALLS_H
#define TARN_MODULES_MODULE_CALLS_H

#include <array>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

#include "base/scope_exit.h"
#include "machine/module_system.h"
#include "modules/companions.h"
#include "modules/ids_rules.h"
#include "modules/module_exceptions.h"

namespace tarn::modules {

// Three values of the host that travel behind the own arguments of the first module call of a settings change.
struct PassedValues {
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::uint64_t c = 0;
};

class ModuleCalls {
 public:
    // error is the cell that every module call is handed, at this address.
    ModuleCalls(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error,
                std::optional<PassedValues> passed = std::nullopt)
        : companions_(companions), system_(system), error_(error), passed_(passed) {}
    ModuleCalls(const ModuleCalls&) = delete;
    ModuleCalls& operator=(const ModuleCalls&) = delete;

    [[nodiscard]] machine::ModuleSystem& System() { return system_; }
    [[nodiscard]] std::uint32_t& Error() { return error_; }
    [[nodiscard]] void*& PacketContext() { return companions_.packetContext; }

    // ---- Loading ----

    // All long-lived modules, none of which may be loaded. False when a needed one fails, with the ones before it
    // unloaded again; HTTPS inspection and URL patterns may be missing.
    bool LoadAll();
    // Everything that is loaded, the last first; a module whose end throws is freed all the same. Safe at any time.
    void UnloadAll() noexcept;
    // One module, which may not be loaded, from the install folder. All or nothing: a missing function or a failed
    // start unloads it again.
    template <class Module>
    bool Load(const base::PathBuffer& folder);
    // Calls nothing when the module is not loaded. Frees it also when its end throws.
    template <class Module>
    void Unload();
    template <class Module>
    bool Reload(const base::PathBuffer& folder) {
        Unload<Module>();
        return Load<Module>(folder);
    }

    // Calls function, the first time with the host's values behind its arguments. On x86-64 the caller cleans up, so a
    // function that declares fewer parameters ignores the rest.
    template <class Result, class... Parameters>
    Result Call(Result(TARN_CALL* function)(Parameters...), std::type_identity_t<Parameters>... arguments) {
        if (!passed_) return Contained([&] { return function(arguments...); });
        const PassedValues values = *std::exchange(passed_, std::nullopt);
        using Extended = Result(TARN_CALL*)(Parameters..., std::uint64_t, std::uint64_t, std::uint64_t);
        const auto extended = reinterpret_cast<Extended>(reinterpret_cast<void (*)()>(function));
        return Contained([&] { return extended(arguments..., values.a, values.b, values.c); });
    }

    // ---- Reads ----
    // Each gives false, with its output zeroed, when the module is not loaded, the function is missing or the call
    // fails.

    bool ReadBPStatus(std::uint8_t& status);
    bool ReadAPStatus(std::uint8_t& status);
    bool ReadIDSIPSStatus(std::uint8_t& status);
    bool ReadBPReportPromptStatus(PromptBytes& prompt);
    bool ReadAPReportPromptStatus(PromptBytes& prompt);
    // Preset to 1; a failed read leaves the preset.
    void ReadWebSecCloudStatus(std::uint8_t& status);
    // What is kept of the record: its first number and the byte behind it.
    bool ReadIDSIPSSettings(std::uint32_t& flags, std::uint8_t& extra);
    bool ReadEPSServerIP(std::array<char16_t, 260>& address);
    // The mode byte alone.
    bool ReadPCModeUnreleased(std::uint8_t& mode);
    // The agent status byte, asked of a module that is loaded for the one call.
    bool ReadAgentStatus(std::uint8_t& status);
    // The disabled-features record of a managed client, likewise.
    bool ReadDisabledFeatures(DisabledFeatures& features);

    bool ResetBPUserWhitelist();
    bool WriteDNSCacheSettings(const DnsCacheRecord& record);
    bool WritePCSystemControlSettings(const PcSystemControlRecord& record);
    // False, with nothing called, when the module or its function is not there.
    bool SaveCategoryCache(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d);

    // ---- Records that are kept until they are handed back ----
    // A release forgets the record, also when the module is not there to take it back or throws.

    bool ReadBPSettings(ThreatSiteList& record);
    void ReleaseBPSettings(ThreatSiteList& record);
    bool ReadBPUserWhiteList(UrlListRecord& record);
    void ReleaseBPUserWhiteList(UrlListRecord& record);
    bool ReadBPInternalWhiteList(UrlListRecord& record);
    bool ReadWSInternalWhiteList(UrlListRecord& record);
    void ReleaseWSInternalWhiteList(UrlListRecord& record);
    bool ReadIDSSettings(std::uint32_t classification, IdsRuleTable& table);
    void ReleaseIDSSettings(IdsRuleTable& table);

    // ---- Records that are used at once ----
    // use(record) runs between a successful read and its release, and says whether it could take the record over; the
    // result is false also when it could not. The record is released once, also when use throws.

    template <class Use>
    bool ReadAPSettings(Use&& use) {
        return ReadUseRelease<PhishingSiteList>(companions_.settingsReader, &SettingsReader::ReadAPSettings,
                                                &SettingsReader::ReleaseAPSettings, use);
    }
    template <class Use>
    bool ReadPCSettings(Use&& use) {
        return ReadUseRelease<PcSettingsRecord>(companions_.statusReader, &StatusReader::ReadPCSettings,
                                                &StatusReader::ReleasePCSettings, use);
    }
    template <class Use>
    bool ReadPCSystemControlSettings(Use&& use) {
        return ReadUseRelease<PcSystemControlRecord>(companions_.statusReader,
                                                     &StatusReader::ReadPCSystemControlSettings,
                                                     &StatusReader::ReleasePCSystemControlSettings, use);
    }
    template <class Use>
    bool ReadDNSCacheSettings(Use&& use) {
        return ReadUseRelease<DnsCacheRecord>(companions_.statusReader, &StatusReader::ReadDNSCacheSettings,
                                              &StatusReader::ReleaseDNSCacheSettings, use);
    }

 private:
    template <class Module>
    void End() noexcept {
        RunStep([this] { Unload<Module>(); });
    }
    template <class Module, class ReadFn, class Out>
    bool Read(const LoadedModule<Module>& module, ReadFn Module::*read, Out& out) {
        out = {};
        if (!module || module.operator->()->*read == nullptr) return false;
        if (Call(module.operator->()->*read, 0, &out, &error_) != 0) return true;
        out = {};
        return false;
    }
    template <class Module, class ReleaseFn, class Record>
    void Release(const LoadedModule<Module>& module, ReleaseFn Module::*release, Record& record) {
        const base::ScopeExit forget([&]() noexcept { record = {}; });
        if (module && module.operator->()->*release != nullptr) Call(module.operator->()->*release, &record);
    }
    template <class Record, class Module, class ReadFn, class ReleaseFn, class Use>
    bool ReadUseRelease(const LoadedModule<Module>& module, ReadFn Module::*read, ReleaseFn Module::*release,
                        Use&& use) {
        Record record{};
        if (!Read(module, read, record)) return false;
        base::ScopeExit handBack([&]() noexcept { RunStep([&] { Release(module, release, record); }); });
        const bool taken = use(std::as_const(record));
        handBack.Dismiss();
        Release(module, release, record);
        return taken;
    }

    Companions& companions_;
    machine::ModuleSystem& system_;
    std::uint32_t& error_;
    std::optional<PassedValues> passed_;
};

template <class Module>
bool ModuleCalls::Load(const base::PathBuffer& folder) {
    TARN_ASSERT(!companions_.Get<Module>());
    base::PathBuffer path;
    const bool whole = base::Succeeded(base::FormatText(path, {base::FieldText(folder), Module::kFile}));
    if (!whole && requires { Module::kNeedsWholePath; }) return false;
    LoadedModule<Module> loading(system_, path.data());
    if (!loading) return false;
    if constexpr (requires { loading->Start(*this); })
        if (!loading->Start(*this)) return false;
    companions_.Get<Module>() = std::move(loading);
    return true;
}

template <class Module>
void ModuleCalls::Unload() {
    LoadedModule<Module>& module = companions_.Get<Module>();
    const base::ScopeExit free([&]() noexcept { module = {}; });
    if constexpr (requires { module->Stop(*this); })
        if (module) module->Stop(*this);
}

// The system is not older than the service-pack baseline, is not the 64-bit workstation of version 5.2, and is no
// server. A query without an answer forbids it.
bool HttpsInspectionMayRun(const machine::HttpsInspectionFacts& facts);

}  // namespace tarn::modules

#endif
