#include "host/folder_link.h"

namespace tarn::host {

bool IsLink(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_symlink(path, ignored);
}

}  // namespace tarn::host
