// What the host's notices of changed settings and updated files set off: which records are read again, which modules
// reloaded, what is rebuilt from them. Runs on the thread of the export, while no scan runs.
#ifndef TARN_API_SETTINGS_CHANGE_H
#define TARN_API_SETTINGS_CHANGE_H

#include <cstdint>

#include "tarn/values.h"

#include "api/library.h"
#include "modules/module_calls.h"

namespace tarn::api {

// Reads one kind of setting again, TARN_SETTINGS_...; false for any other. passed goes to the first module call that is
// made.
bool ChangeSettings(Library& library, std::uint32_t kind, const modules::PassedValues& passed);

// Reloads the modules and records whose TARN_UPDATED_... bits are set, in a fixed order. A module that does not load
// ends it with false: those before it stay reloaded, those behind it untouched.
bool ReloadUpdated(Library& library, std::uint32_t updated);

}  // namespace tarn::api

#endif
