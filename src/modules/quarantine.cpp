#include "modules/quarantine.h"

#include "modules/binding.h"

namespace tarn::modules {

QuarantineCall::QuarantineCall(machine::ModuleSystem& system) : system_(system) {
    base::PathBuffer path;
    if (!InstallFilePath(system, modules::Quarantine::kFile, path)) return;
    module_.loaded = LoadAndBind(system, path.data(), module_);
    if (!module_.loaded) module_ = {};
}

QuarantineCall::~QuarantineCall() {
    FreeCompanion(system_, module_);
}

bool QuarantineCall::Quarantine(const char16_t* path, const QuarantineRequest& request) {
    if (!module_.loaded || module_.functions.ZRQuarantineFile == nullptr) return false;
    std::uint64_t out1 = 0;
    std::uint32_t out2 = 0;
    return module_.functions.ZRQuarantineFile(path, 0, &request, 0, 0, 0, &out1, &out2) != 0;
}

}  // namespace tarn::modules
