// Loads one module file and binds its functions in the table's order, all or nothing.
// Initialisers and what a failure zeroes beyond that belong to the loader of each module.
#ifndef TARN_MODULES_BINDING_H
#define TARN_MODULES_BINDING_H

#include <string_view>
#include <tuple>
#include <type_traits>

#include "machine/module_system.h"
#include "modules/companion_table.h"

namespace tarn::modules {

// Install folder and file name within capacity units, the NUL included. False when either cannot be had.
inline bool InstallFilePath(machine::ModuleSystem& system, std::u16string_view file, base::PathBuffer& path,
                            std::size_t capacity = base::kPathCapacity) {
    base::PathBuffer folder;
    return system.InstallFolder(folder) &&
           base::Succeeded(base::CopyText(path.data(), capacity, base::FieldText(folder))) &&
           base::Succeeded(base::AppendText(path.data(), capacity, file));
}

// Stores each pointer as it comes; the first missing one ends the binding.
template <class Functions>
bool BindAll(machine::ModuleSystem& system, void* module, Functions& functions) {
    const auto bindOne = [&](const auto& import) {
        auto& slot = functions.*(import.slot);
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(system.Find(module, import.name));
        return slot != nullptr || !import.tested;
    };
    return std::apply([&](const auto&... imports) { return (bindOne(imports) && ...); }, Functions::Imports());
}

// Leaves loaded false; the caller sets it when the initialiser has succeeded too.
template <class Functions>
bool LoadAndBind(machine::ModuleSystem& system, const char16_t* path, Companion<Functions>& companion) {
    companion.loaded = false;
    companion.handle = system.Load(path);
    if (companion.handle == nullptr) return false;
    if (BindAll(system, companion.handle, companion.functions)) return true;
    system.Free(companion.handle);
    return false;
}

template <class Functions>
void FreeCompanion(machine::ModuleSystem& system, Companion<Functions>& companion) {
    if (!companion.loaded) return;
    companion.loaded = false;
    system.Free(companion.handle);
}

}  // namespace tarn::modules

#endif
