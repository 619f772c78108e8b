#include "api/lifecycle.h"

#include "api/ini_settings.h"
#include "api/settings_load.h"
#include "base/scope_exit.h"

namespace tarn::api {
namespace {

using modules::ModuleCalls;

void ClearSmbTables(Library& library) {
    smb::Smb2TablesClear(library.smbTables);
    smb::Smb1TablesClear(library.smbTables);
}

void DetectManagedClient(Library& library, ModuleCalls& calls) {
    library.managedClient = {};
    library.managedClient.installed = library.machine.Modules().ManagedClientInstalled();
    if (library.managedClient.installed) calls.ReadEPSServerIP(library.managedClient.serverAddress);
}

// What a settings change left running or loaded of a library that is not ready. Nothing is released or written.
void DropLeftovers(Library& library, ModuleCalls& calls) {
    library.scheduleWorker.Stop();
    calls.UnloadAll();
    library.companions.packetContext = nullptr;
    ForgetSettings(library);
}

}  // namespace

bool Start(Library& library, std::uint8_t mode, std::uint32_t& error) {
    ModuleCalls calls = library.Calls(error);
    if (library.ready) Stop(library, error);
    DropLeftovers(library, calls);
    library.dnsBlockSwitch = 0;
    library.managedClient = {};
    library.idsBlockedList.Clear();

    // The undoing of a step is registered before it, or behind it where the step undoes itself when it fails. What is
    // registered runs, the last first, unless the library gets ready.
    const auto unlessReady = [&library](auto undo) {
        return base::ScopeExit([&library, undo]() noexcept(noexcept(undo())) {
            if (!library.ready) undo();
        });
    };
    const auto clearExclusions = unlessReady([&]() noexcept { library.browsingProtection.Clear(); });
    library.browsingProtection.Reset(ReadBrowserExclusions(library.machine));
    if (!calls.LoadAll()) return false;
    const auto unload = unlessReady([&]() noexcept { calls.UnloadAll(); });
    DetectManagedClient(library, calls);
    if (!LoadSettings(library, calls, mode)) return false;
    const auto release = unlessReady([&]() noexcept { ReleaseSettings(library, calls); });
    const auto stopWorker = unlessReady([&]() noexcept { library.scheduleWorker.Stop(); });
    if (!library.scheduleWorker.Start(library.parental.Settings(), error)) return false;
    const auto clearTables = unlessReady([&]() noexcept { ClearSmbTables(library); });
    smb::SmbTablesReset(library.smbTables);
    library.ready = ReadDnsBlockSwitch(library.machine, library.dnsBlockSwitch);
    return library.ready;
}

void Stop(Library& library, std::uint32_t& error) {
    ModuleCalls calls = library.Calls(error);
    library.ready = false;
    library.idsBlockedList.Clear();
    ClearSmbTables(library);
    library.scheduleWorker.Stop();
    ReleaseSettings(library, calls);
    calls.UnloadAll();
    library.relics.connectionBuffer.reset();
    library.browsingProtection.Clear();
}

void SaveForShutDown(Library& library, std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    std::uint32_t error = 0;
    ModuleCalls calls = library.Calls(error);
    bool asked = true;
    modules::RunStep([&] { asked = calls.SaveCategoryCache(a, b, c, d); });
    if (!asked) return;
    modules::RunStep([&] { library.parental.SaveAndClearSessions(calls, library.machine); });
    library.relics.connectionBuffer.reset();
    library.browsingProtection.Clear();
}

}  // namespace tarn::api
