#include "modules/companion_loader.h"

#include "modules/binding.h"
#include "modules/categorisation.h"

namespace tarn::modules {
namespace {

constexpr std::uint32_t kXp64Workstation = 50013;
constexpr std::uint8_t kDomainController = 2;
constexpr std::uint8_t kServer = 3;

bool ModulePath(const base::PathBuffer& folder, std::u16string_view file, base::PathBuffer& path) {
    return base::Succeeded(base::FormatText(path, {base::FieldText(folder), file}));
}

template <class Functions>
bool LoadFrom(machine::ModuleSystem& system, const base::PathBuffer& folder, Companion<Functions>& companion) {
    base::PathBuffer path;
    ModulePath(folder, Functions::kFile, path);  // a path that was cut simply does not load
    return LoadAndBind(system, path.data(), companion);
}

// Undoes the loads that came before a failing one, the last first.
class LoadGuard {
 public:
    LoadGuard(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error)
        : companions_(companions), system_(system), error_(error) {}
    ~LoadGuard() {
        if (!kept_) UnloadAll(companions_, system_, error_);
    }
    LoadGuard(const LoadGuard&) = delete;
    LoadGuard& operator=(const LoadGuard&) = delete;
    void Keep() { kept_ = true; }

 private:
    Companions& companions_;
    machine::ModuleSystem& system_;
    std::uint32_t& error_;
    bool kept_ = false;
};

// Loads a module, asks it once and unloads it on every path.
template <class Functions, class Ask>
bool AskOnce(machine::ModuleSystem& system, std::size_t pathCapacity, Ask&& ask) {
    base::PathBuffer path;
    if (!InstallFilePath(system, Functions::kFile, path, pathCapacity)) return false;
    Companion<Functions> companion;
    if (!LoadAndBind(system, path.data(), companion)) return false;
    const bool answered = ask(companion.functions);
    system.Free(companion.handle);
    return answered;
}

}  // namespace

bool HttpsInspectionMayRun(const machine::HttpsInspectionFacts& facts) {
    if (!facts.baselineKnown || facts.olderThanBaseline) return false;
    if (facts.classification == kXp64Workstation) return false;
    return facts.productTypeKnown && facts.productType != kDomainController && facts.productType != kServer;
}

bool LoadSettingsReader(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder) {
    return companions.settingsReader.loaded = LoadFrom(system, folder, companions.settingsReader);
}

void UnloadSettingsReader(Companions& companions, machine::ModuleSystem& system) {
    FreeCompanion(system, companions.settingsReader);
}

bool LoadStatusReader(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder) {
    return companions.statusReader.loaded = LoadFrom(system, folder, companions.statusReader);
}

void UnloadStatusReader(Companions& companions, machine::ModuleSystem& system) {
    FreeCompanion(system, companions.statusReader);
}

bool LoadPacketSignatures(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder,
                          std::uint32_t& error) {
    Companion<PacketSignatures>& module = companions.packetSignatures;
    if (!LoadFrom(system, folder, module)) return false;
    if (module.functions.PKSInit(&companions.packetContext, &error) == 0) {
        system.Free(module.handle);
        return false;
    }
    return module.loaded = true;
}

void UnloadPacketSignatures(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error) {
    Companion<PacketSignatures>& module = companions.packetSignatures;
    if (module.loaded) module.functions.PKSDeinit(companions.packetContext, &error);
    FreeCompanion(system, module);
}

bool LoadCategorisation(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder,
                        std::uint32_t& error) {
    Companion<Categorisation>& module = companions.categorisation;
    if (!LoadFrom(system, folder, module)) {
        module.handle = nullptr;
        return false;
    }
    const bool online = OnlineLookupAllowed(companions, system, error);
    if (module.functions.SCInit(online ? 1 : 0, &error) == 0) {
        system.Free(module.handle);
        module.handle = nullptr;
        return false;
    }
    return module.loaded = true;
}

void UnloadCategorisation(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error,
                          PassThrough* passed) {
    Companion<Categorisation>& module = companions.categorisation;
    if (module.loaded) CallPassing(passed, module.functions.SCDeinit, &error);
    FreeCompanion(system, module);
    module.handle = nullptr;
}

bool LoadHttpsInspection(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder) {
    Companion<HttpsInspection>& module = companions.httpsInspection;
    module = {};
    if (!LoadFrom(system, folder, module)) {
        module = {};
        return false;
    }
    if (module.functions.IntializeSSL() == 0) {
        system.Free(module.handle);
        module = {};
        return false;
    }
    return module.loaded = true;
}

void UnloadHttpsInspection(Companions& companions, machine::ModuleSystem& system, PassThrough* passed) {
    Companion<HttpsInspection>& module = companions.httpsInspection;
    if (module.loaded) CallPassing(passed, module.functions.DeIntializeSSL);
    FreeCompanion(system, module);
    module.handle = nullptr;
}

bool LoadUrlPatterns(Companions& companions, machine::ModuleSystem& system, const base::PathBuffer& folder) {
    Companion<UrlPatterns>& module = companions.urlPatterns;
    module.loaded = false;
    base::PathBuffer path;
    if (!ModulePath(folder, UrlPatterns::kFile, path)) return false;
    if (!LoadAndBind(system, path.data(), module)) return false;
    if (module.functions.WSInitUrlsig() == 0) {
        system.Free(module.handle);
        return false;
    }
    return module.loaded = true;
}

void UnloadUrlPatterns(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error) {
    Companion<UrlPatterns>& module = companions.urlPatterns;
    if (module.loaded) module.functions.WSDeInitUrlsig(&error);
    FreeCompanion(system, module);
}

bool LoadAll(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error) {
    base::PathBuffer folder;
    if (!system.InstallFolder(folder)) return false;
    LoadGuard guard(companions, system, error);
    if (!LoadSettingsReader(companions, system, folder)) return false;
    if (!LoadStatusReader(companions, system, folder)) return false;
    if (!LoadPacketSignatures(companions, system, folder, error)) return false;
    if (!LoadCategorisation(companions, system, folder, error)) return false;
    guard.Keep();
    if (HttpsInspectionMayRun(system.HttpsFacts())) LoadHttpsInspection(companions, system, folder);
    LoadUrlPatterns(companions, system, folder);
    return true;
}

void UnloadAll(Companions& companions, machine::ModuleSystem& system, std::uint32_t& error) {
    UnloadUrlPatterns(companions, system, error);
    UnloadHttpsInspection(companions, system);
    UnloadCategorisation(companions, system, error);
    UnloadPacketSignatures(companions, system, error);
    UnloadStatusReader(companions, system);
    UnloadSettingsReader(companions, system);
}

bool ReadAgentStatus(machine::ModuleSystem& system, std::uint8_t& status) {
    status = 0;
    const bool read = AskOnce<AgentStatusReader>(system, base::kPathCapacity, [&](const AgentStatusReader& module) {
        return module.GetYALStatus(&status) != 0;
    });
    if (!read) status = 0;
    return read;
}

bool ReadDisabledFeatures(machine::ModuleSystem& system, DisabledFeatures& features, std::uint32_t& error) {
    constexpr std::size_t kPathUnits = 256;  // this module's path is built in a shorter buffer than the others'
    features = {};
    return AskOnce<DisabledFeaturesReader>(system, kPathUnits, [&](const DisabledFeaturesReader& module) {
        return module.ReadDisableFeaturesSettings(0, &features, &error) != 0;
    });
}

}  // namespace tarn::modules
