// One action's hold on the quarantine module: loaded from the install folder for the action, freed at its end.
// What is quarantined, and how the request is filled, is the caller's business.
#ifndef TARN_MODULES_QUARANTINE_H
#define TARN_MODULES_QUARANTINE_H

#include "machine/module_system.h"
#include "modules/companion_table.h"

namespace tarn::modules {

// Every action has its own, so that the end of one never takes the module from another thread's.
class QuarantineCall {
 public:
    explicit QuarantineCall(machine::ModuleSystem& system);
    ~QuarantineCall();
    QuarantineCall(const QuarantineCall&) = delete;
    QuarantineCall& operator=(const QuarantineCall&) = delete;

    // The module is there and bound.
    [[nodiscard]] bool Ready() const { return module_.loaded; }
    // The module's answer; false when it is not ready.
    bool Quarantine(const char16_t* path, const QuarantineRequest& request);

 private:
    machine::ModuleSystem& system_;
    Companion<modules::Quarantine> module_;
};

}  // namespace tarn::modules

#endif
