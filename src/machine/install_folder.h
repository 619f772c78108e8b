// Finds the suite's install folder and the folder of the host executable; every file the library touches lies in one.
// The decision works on facts; fetching them from the registry and the file system is the edge's.
#ifndef TARN_MACHINE_INSTALL_FOLDER_H
#define TARN_MACHINE_INSTALL_FOLDER_H

#include <optional>
#include <string_view>

#include "base/bounded_text.h"

namespace tarn::machine {

// The text up to and with its last backslash; empty when there is none.
std::u16string_view FolderOf(std::u16string_view path);

// Which spelling of the install folder counts: the host folder's own when the registered one differs only in letter
// case, else its long form when that equals the registered one, else the registered one. longForm is nothing when the
// system could not give it, which fails the search unless the host folder equals already.
// equal compares two paths as the system does, ignoring case.
using PathsEqual = bool (*)(std::u16string_view a, std::u16string_view b);
std::optional<std::u16string_view> ChooseInstallFolder(std::u16string_view hostFolder, std::u16string_view registered,
                                                       std::optional<std::u16string_view> longForm, PathsEqual equal);

// As file names compare: each unit in the system's upper case. At most 32767 units. Edge.
bool EqualPaths(std::u16string_view a, std::u16string_view b);

// Both end with a backslash. Edge.
bool GetHostFolder(base::PathBuffer& folder);
bool GetInstallFolder(base::PathBuffer& folder);

// Install folder and file name in 260 units. Edge.
bool GetInstallFile(base::PathBuffer& path, std::u16string_view fileName);

}  // namespace tarn::machine

#endif
