// What a module throws ends where it was called: its code may be gone before whoever catches it is done.
#ifndef TARN_MODULES_MODULE_EXCEPTIONS_H
#define TARN_MODULES_MODULE_EXCEPTIONS_H

namespace tarn::modules {

// Thrown in the place of a module's exception.
struct ModuleThrew {};

// Runs a call of a module.
template <class ModuleCall>
auto Contained(ModuleCall&& call) -> decltype(call()) {
    try {
        return call();
    } catch (...) {
    }
    throw ModuleThrew{};
}

// Runs a step that others follow, whatever a module throws. False when it threw.
template <class Step>
bool RunStep(Step&& step) noexcept {
    try {
        step();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace tarn::modules

#endif
