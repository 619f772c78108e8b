// Tells a folder from a link to one, which may lead out of the folder it stands in, or back into it.
#ifndef TARN_HOST_FOLDER_LINK_H
#define TARN_HOST_FOLDER_LINK_H

#include <filesystem>

namespace tarn::host {

// Symbolic links and, on Windows, junctions and mount points.
[[nodiscard]] bool IsLink(const std::filesystem::path& path);

}  // namespace tarn::host

#endif
