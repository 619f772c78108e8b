// The path of a file in the install folder.
#ifndef TARN_MODULES_INSTALL_FILE_H
#define TARN_MODULES_INSTALL_FILE_H

#include <string_view>

#include "machine/module_system.h"

namespace tarn::modules {

// Install folder and file name within capacity units, the NUL included. False when either cannot be had.
inline bool InstallFilePath(machine::ModuleSystem& system, std::u16string_view file, base::PathBuffer& path,
                            std::size_t capacity = base::kPathCapacity) {
    base::PathBuffer folder;
    return system.InstallFolder(folder) &&
           base::Succeeded(base::CopyText(path.data(), capacity, base::FieldText(folder))) &&
           base::Succeeded(base::AppendText(path.data(), capacity, file));
}

}  // namespace tarn::modules

#endif
