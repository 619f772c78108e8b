// The real ModuleSystem.
// Kept apart so that the loader never sees a Windows type.
#ifndef TARN_MODULES_MODULE_SYSTEM_WIN32_H
#define TARN_MODULES_MODULE_SYSTEM_WIN32_H

#include "modules/module_system.h"

namespace tarn::modules {

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

}  // namespace tarn::modules

#endif
