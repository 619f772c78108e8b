#include "machine/install_folder.h"

namespace tarn::machine {

std::u16string_view FolderOf(std::u16string_view path) {
    const std::size_t last = path.rfind(u'\\');
    return last == std::u16string_view::npos ? std::u16string_view{} : path.substr(0, last + 1);
}

std::optional<std::u16string_view> ChooseInstallFolder(std::u16string_view hostFolder, std::u16string_view registered,
                                                       std::optional<std::u16string_view> longForm, PathsEqual equal) {
    if (equal(registered, hostFolder)) return hostFolder;
    if (!longForm) return std::nullopt;
    return equal(registered, *longForm) ? *longForm : registered;
}

}  // namespace tarn::machine
