// The long-lived companion modules. The quarantine module is loaded for each action, two readers for each question.
// The library owns them; scans on any thread read them, settings exports replace them while no scan runs.
#ifndef TARN_MODULES_COMPANIONS_H
#define TARN_MODULES_COMPANIONS_H

#include <tuple>

#include "modules/companion_table.h"
#include "modules/loaded_module.h"

namespace tarn::modules {

// In the order in which they are loaded; they are unloaded from the last to the first.
struct Companions {
    LoadedModule<SettingsReader> settingsReader;
    LoadedModule<StatusReader> statusReader;
    LoadedModule<PacketSignatures> packetSignatures;
    LoadedModule<Categorisation> categorisation;
    LoadedModule<HttpsInspection> httpsInspection;
    LoadedModule<UrlPatterns> urlPatterns;
    void* packetContext = nullptr;  // filled by PKSInit; a reload of the module finds it as it was

    [[nodiscard]] static auto Tie(auto& self) {
        return std::tie(self.settingsReader, self.statusReader, self.packetSignatures, self.categorisation,
                        self.httpsInspection, self.urlPatterns);
    }
    template <class Module>
    [[nodiscard]] LoadedModule<Module>& Get() {
        return std::get<LoadedModule<Module>&>(Tie(*this));
    }
    [[nodiscard]] bool AnyLoaded() const {
        return std::apply([](const auto&... modules) { return (static_cast<bool>(modules) || ...); }, Tie(*this));
    }
};

}  // namespace tarn::modules

#endif
