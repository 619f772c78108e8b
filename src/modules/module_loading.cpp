#include "machine/os_version.h"
#include "machine/system_code.h"
#include "modules/categorisation.h"
#include "modules/module_calls.h"

namespace tarn::modules {

bool HttpsInspectionMayRun(const machine::HttpsInspectionFacts& facts) {
    if (!facts.baselineKnown || facts.olderThanBaseline) return false;
    if (facts.classification == machine::system_code::k52WorkstationX64) return false;
    return facts.productTypeKnown && facts.productType != machine::kDomainController &&
           facts.productType != machine::kServer;
}

bool PacketSignatures::Start(ModuleCalls& calls) {
    return calls.Call(PKSInit, &calls.PacketContext(), &calls.Error()) != 0;
}
void PacketSignatures::Stop(ModuleCalls& calls) {
    calls.Call(PKSDeinit, calls.PacketContext(), &calls.Error());
}

bool Categorisation::Start(ModuleCalls& calls) {
    const bool online = OnlineLookupAllowed(calls);
    return calls.Call(SCInit, online ? 1 : 0, &calls.Error()) != 0;
}
void Categorisation::Stop(ModuleCalls& calls) {
    calls.Call(SCDeinit, &calls.Error());
}

bool HttpsInspection::Start(ModuleCalls& calls) {
    return calls.Call(IntializeSSL) != 0;
}
void HttpsInspection::Stop(ModuleCalls& calls) {
    calls.Call(DeIntializeSSL);
}

bool UrlPatterns::Start(ModuleCalls& calls) {
    return calls.Call(WSInitUrlsig) != 0;
}
void UrlPatterns::Stop(ModuleCalls& calls) {
    calls.Call(WSDeInitUrlsig, &calls.Error());
}

bool ModuleCalls::LoadAll() {
    base::PathBuffer folder;
    if (!system_.InstallFolder(folder)) return false;
    base::ScopeExit undo([this]() noexcept { UnloadAll(); });
    if (!Load<SettingsReader>(folder)) return false;
    if (!Load<StatusReader>(folder)) return false;
    if (!Load<PacketSignatures>(folder)) return false;
    if (!Load<Categorisation>(folder)) return false;
    undo.Dismiss();
    if (HttpsInspectionMayRun(system_.HttpsFacts())) Load<HttpsInspection>(folder);
    Load<UrlPatterns>(folder);
    return true;
}

void ModuleCalls::UnloadAll() noexcept {
    End<UrlPatterns>();
    End<HttpsInspection>();
    End<Categorisation>();
    End<PacketSignatures>();
    End<StatusReader>();
    End<SettingsReader>();
}

}  // namespace tarn::modules
