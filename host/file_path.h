// Between paths of files and the UTF-8 of the commands.
#ifndef TARN_HOST_FILE_PATH_H
#define TARN_HOST_FILE_PATH_H

#include <filesystem>
#include <string>

namespace tarn::host {

inline std::filesystem::path ToPath(const std::string& utf8) {
    return {std::u8string(utf8.begin(), utf8.end())};
}

inline std::string FromPath(const std::filesystem::path& path) {
    const std::u8string utf8 = path.u8string();
    return {utf8.begin(), utf8.end()};
}

}  // namespace tarn::host

#endif
