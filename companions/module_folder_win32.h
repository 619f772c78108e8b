// The files that stand beside a reference module.
#ifndef TARN_COMPANIONS_MODULE_FOLDER_WIN32_H
#define TARN_COMPANIONS_MODULE_FOLDER_WIN32_H

#include <string_view>

#include "base/bounded_text.h"

namespace tarn::policy {

// A file in the folder of the module that holds this code. False when its path is too
// long.
bool PathBesideModule(std::u16string_view name, base::PathBuffer& path);

}  // namespace tarn::policy

#endif
