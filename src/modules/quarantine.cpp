#include "modules/quarantine.h"

#include "modules/install_file.h"
#include "modules/module_exceptions.h"

namespace tarn::modules {

QuarantineCall::QuarantineCall(machine::ModuleSystem& system) {
    base::PathBuffer path;
    if (InstallFilePath(system, modules::Quarantine::kFile, path)) module_ = {system, path.data()};
}

bool QuarantineCall::Quarantine(const char16_t* path, const QuarantineRequest& request) {
    if (!module_) return false;
    std::uint64_t out1 = 0;
    std::uint32_t out2 = 0;
    return Contained([&] { return module_->ZRQuarantineFile(path, 0, &request, 0, 0, 0, &out1, &out2); }) != 0;
}

}  // namespace tarn::modules
