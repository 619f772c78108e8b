// What the library wants of each companion module, and what it does without it. The names are those of the public list.
#ifndef TARN_HOST_COMPANION_KIT_MODULE_FACTS_H
#define TARN_HOST_COMPANION_KIT_MODULE_FACTS_H

#include <span>
#include <string_view>

namespace tarn::host {

struct ModuleFacts {
    std::string_view file;
    bool isNeeded;             // without it the library does not start
    bool staysLoaded;          // from the start on; the others are loaded for each use
    std::string_view without;  // what the library does without it
    std::span<const std::string_view> functions;
};

// In the order in which the library loads them, those for single uses last.
std::span<const ModuleFacts> AllModules();
// Null for a name that no module has; letters count as Windows compares file names.
const ModuleFacts* FindModuleFacts(std::string_view file);
// Whether the module is taken without this export.
bool MayBeMissing(std::string_view function);

}  // namespace tarn::host

#endif
