// The quarantine module, loaded from the install folder for one action and freed at its end.
// Every action owns its own load, so that the end of one never takes the module from another thread's.
#ifndef TARN_MODULES_QUARANTINE_H
#define TARN_MODULES_QUARANTINE_H

#include "machine/module_system.h"
#include "modules/companion_table.h"
#include "modules/loaded_module.h"

namespace tarn::modules {

class QuarantineCall {
 public:
    explicit QuarantineCall(machine::ModuleSystem& system);

    // The module is there and bound.
    [[nodiscard]] bool Ready() const { return static_cast<bool>(module_); }
    // The module's answer; false when it is not ready.
    bool Quarantine(const char16_t* path, const QuarantineRequest& request);

 private:
    LoadedModule<modules::Quarantine> module_;
};

}  // namespace tarn::modules

#endif
