// The real ModuleSystem.
// Kept apart so that the loader never sees a Windows type.
#ifndef TARN_MACHINE_MODULE_SYSTEM_WIN32_H
#define TARN_MACHINE_MODULE_SYSTEM_WIN32_H

#include "machine/module_system.h"

namespace tarn::machine {

class WindowsModuleSystem final : public ModuleSystem {
 public:
    void* Load(const char16_t* path) override;
    void* Find(void* module, const char* function) override;
    void Free(void* module) override;
    bool InstallFolder(base::PathBuffer& folder) override;
    bool HostExecutableKnown() override;
    bool ManagedClientInstalled() override;
    FileStart ReadFileStart(const base::PathBuffer& path) override;
    std::uint32_t SystemClassification() override;
    HttpsInspectionFacts HttpsFacts() override;
};

}  // namespace tarn::machine

#endif
