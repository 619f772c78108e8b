// The install folder that the registry names, as the library takes it: with its last backslash.
#ifndef TARN_HOST_REGISTERED_FOLDER_H
#define TARN_HOST_REGISTERED_FOLDER_H

#include <string>
#include <string_view>

namespace tarn::host {

// Why the library finds no module in this folder, and what to do about it; empty for one that it can use. The library
// puts the names of its modules right behind the registered value; any other folder has its backslash.
std::string RegisteredFolderMistake(std::string_view folder);

}  // namespace tarn::host

#endif
