// Which folder is the suite's install folder; every file the library touches lies in it or in the host executable's.
// Pure decisions on paths that the system gave.
#ifndef TARN_MACHINE_INSTALL_FOLDER_H
#define TARN_MACHINE_INSTALL_FOLDER_H

#include <optional>
#include <string_view>

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

}  // namespace tarn::machine

#endif
