// All thirteen exports over one library, in any order: each step of an input is a call, or a change of the world.
// After each call what the contract says of it is held against what the caller's records, the modules and the library
// show. One world at a time.
#ifndef TARN_FUZZ_EXPORTS_EXPORTS_WORLD_H
#define TARN_FUZZ_EXPORTS_EXPORTS_WORLD_H

#include <memory>
#include <vector>

#include "tarn/tarn.h"

#include "api/library.h"
#include "exports/exports_machine.h"
#include "exports/exports_modules.h"
#include "making/smb_conversation.h"
#include "target.h"

namespace tarn::fuzz {

class ExportsWorld {
 public:
    ExportsWorld();
    ~ExportsWorld();
    ExportsWorld(const ExportsWorld&) = delete;
    ExportsWorld& operator=(const ExportsWorld&) = delete;

    void Step(Pieces& pieces);
    // Ends the library, as every host has to.
    void End();

 private:
    // ---- Start, end, changes (exports_life.cpp) ----
    void Init(Pieces& pieces);
    void Deinit(bool hasCell);
    void ShutDown(Pieces& pieces);
    void ChangeSettings(Pieces& pieces);
    void Update(Pieces& pieces);
    void ChangeWorld(Pieces& pieces);
    void ChangeModules(Pieces& pieces);
    void ChangeClock(Pieces& pieces);
    void RequireAtRest();

    // ---- Scans (exports_scans.cpp) ----
    void ScanUrl(Pieces& pieces, bool isReported);
    void FeatureStatus(bool isNull);
    void ScanPacket(Pieces& pieces);
    void ScanSmb(Pieces& pieces);
    void Drop(Pieces& pieces);
    void BlockAddress(Pieces& pieces);
    void LogOn(Pieces& pieces);

    ExportsMachine machine_;
    ModuleAnswers answers_;
    std::unique_ptr<api::Library> library_;
    bool isOff_ = true;     // nothing was loaded since the last end or failed start: no feature may be on
    bool mayLose_ = false;  // a module was missing or refused to start: what it gave cannot go back
    std::vector<MadeSmbFrame> conversation_;  // whose next frame is to be scanned
    std::size_t nextFrame_ = 0;
};

}  // namespace tarn::fuzz

#endif
