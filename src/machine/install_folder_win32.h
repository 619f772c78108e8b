// The two folders that files are looked for in, as this process finds them now. Any thread may ask.
// Whatever fails, the buffers are left terminated.
#ifndef TARN_MACHINE_INSTALL_FOLDER_WIN32_H
#define TARN_MACHINE_INSTALL_FOLDER_WIN32_H

#include <string_view>

#include "base/bounded_text.h"

namespace tarn::machine {

// As file names compare: each unit in the system's upper case. At most 32767 units.
bool EqualPaths(std::u16string_view a, std::u16string_view b);

// The folders of the host executable and of the suite; both end with a backslash.
bool GetHostFolder(base::PathBuffer& folder);
bool GetInstallFolder(base::PathBuffer& folder);

// Install folder and file name in 260 units.
bool GetInstallFile(base::PathBuffer& path, std::u16string_view fileName);

}  // namespace tarn::machine

#endif
