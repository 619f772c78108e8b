// The machine of a script: an install folder with scripted modules, a private registry, a clock that stands, and the
// calls of the system that a script decides. All of it is seen by the loaded tarn.dll alone.
#ifndef TARN_TESTS_MODEL_DRIVER_MACHINE_WIN32_H
#define TARN_TESTS_MODEL_DRIVER_MACHINE_WIN32_H

#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>
#include <windows.h>

#include "model/driver/line.h"
#include "system/import_patch_win32.h"
#include "system/loaded_tarn_win32.h"
#include "system/private_registry_win32.h"

namespace tarn::model {

class Machine {
 public:
    explicit Machine(const std::filesystem::path& library);
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // The library is loaded afresh, with nothing of an earlier load.
    void Load();
    void Unload();
    // A library that is not loaded is loaded for it.
    const system_test::Exports& Library();

    void WriteFile(const std::string& name, const Bytes& bytes);
    void RemoveFile(const std::string& name);
    void SetInstalled(bool isThere);
    void RegisterAgent(const std::string& executable);
    // Files of the last script, refusals and the agent are gone, the folder is registered.
    void Reset();

    // ---- What the system answers to the library ----
    static void SetClock(const SYSTEMTIME& time);
    static void RefuseFile(const std::string& name);
    static void HideFunction(const std::string& name);
    static void SetService(bool isThere);

    // ---- The library's schedule thread, which waits for as long as the script wants ----
    // Returns when the thread waits or has ended: "none", "waits MILLISECONDS" or "ended CODE".
    static std::string Worker();
    // The wait times out.
    static void WakeWorker();

 private:
    system_test::PrivateRegistry registry_;
    std::filesystem::path path_;
    std::filesystem::path folder_;
    std::unique_ptr<system_test::LoadedTarn> library_;
    std::deque<system_test::ImportPatch> patches_;
    std::vector<std::string> files_;
};

}  // namespace tarn::model

#endif
