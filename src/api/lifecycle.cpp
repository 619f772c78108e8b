#include "api/lifecycle.h"

#include <array>
#include <cstddef>

#include "api/ini_settings.h"
#include "api/parental_load.h"
#include "api/settings_load.h"
#include "modules/companion_loader.h"

namespace tarn::api {
namespace {

using UndoStep = void (*)(Library& library, std::uint32_t& error);

// The steps that a failing start-up undoes, in reverse order.
class UndoList {
 public:
    UndoList(Library& library, std::uint32_t& error) : library_(library), error_(error) {}
    ~UndoList() {
        while (count_ > 0) steps_[--count_](library_, error_);
    }
    UndoList(const UndoList&) = delete;
    UndoList& operator=(const UndoList&) = delete;

    void Add(UndoStep step) { steps_[count_++] = step; }
    void Forget() { count_ = 0; }

 private:
    Library& library_;
    std::uint32_t& error_;
    std::array<UndoStep, 8> steps_{};
    std::size_t count_ = 0;
};

void UnloadModules(Library& library, std::uint32_t& error) {
    modules::UnloadAll(library.companions, library.platform.Modules(), error);
}

void StopWorker(Library& library, std::uint32_t& /*error*/) {
    library.scheduleWorker.Stop();
}

void ReleaseLoadedSettings(Library& library, std::uint32_t& error) {
    ReleaseSettings(library, error);
}

void ClearSmbTables(Library& library, std::uint32_t& /*error*/) {
    smb::Smb2TablesClear(library.smbTables);
    smb::Smb1TablesClear(library.smbTables);
}

// A settings change may load modules of a library that is not ready.
bool HasLoadedModules(const modules::Companions& companions) {
    return companions.settingsReader.loaded || companions.statusReader.loaded || companions.categorisation.loaded ||
           companions.packetSignatures.loaded || companions.httpsInspection.loaded || companions.urlPatterns.loaded;
}

void ClearBrowsingProtection(Library& library, std::uint32_t& /*error*/) {
    library.browsingProtection.Clear();
}

void DetectManagedClient(Library& library, std::uint32_t& error) {
    library.managedClient = {};
    library.managedClient.installed = library.platform.Modules().ManagedClientInstalled();
    if (library.managedClient.installed)
        modules::ReadEPSServerIP(library.companions, library.managedClient.serverAddress, error);
}

}  // namespace

bool Start(Library& library, std::uint8_t mode, std::uint32_t& error) {
    if (library.ready || HasLoadedModules(library.companions)) Stop(library, error);
    library.dnsBlockSwitch = 0;
    library.managedClient = {};
    library.companions = {};
    library.idsBlockedList.Clear();
    library.browsingProtection.Reset(ReadBrowserExclusions(library.platform));

    UndoList undo(library, error);
    undo.Add(ClearBrowsingProtection);
    if (!modules::LoadAll(library.companions, library.platform.Modules(), error)) return false;
    undo.Add(UnloadModules);
    DetectManagedClient(library, error);
    if (!LoadSettings(library, mode, error)) return false;
    undo.Add(ReleaseLoadedSettings);
    if (!library.scheduleWorker.Start(library.parental, error)) return false;
    undo.Add(StopWorker);
    smb::SmbTablesReset(library.smbTables);
    undo.Add(ClearSmbTables);
    if (!ReadDnsBlockSwitch(library.platform, library.dnsBlockSwitch)) return false;
    undo.Forget();
    library.ready = true;
    return true;
}

void Stop(Library& library, std::uint32_t& error) {
    library.ready = false;
    library.idsBlockedList.Clear();
    ClearSmbTables(library, error);
    library.scheduleWorker.Stop();
    ReleaseSettings(library, error);
    UnloadModules(library, error);
    library.connectionBuffer.reset();
    library.browsingProtection.Clear();
}

void SaveForShutDown(Library& library, std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    const auto& categorisation = library.companions.categorisation;
    if (!categorisation.loaded || categorisation.functions.SCSaveCacheFile == nullptr) return;
    categorisation.functions.SCSaveCacheFile(a, b, c, d);
    std::uint32_t error = 0;
    SaveAndClearUserSessions(library, error);
    library.connectionBuffer.reset();
    library.browsingProtection.Clear();
}

}  // namespace tarn::api
