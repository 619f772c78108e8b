// A file that is gone when the test ends.
// Its object owns it.
#ifndef TARN_TESTS_HOST_TEMPORARY_FILE_H
#define TARN_TESTS_HOST_TEMPORARY_FILE_H

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace tarn::host {

class TemporaryFile {
 public:
    TemporaryFile(const std::string& name, const std::string& content) {
        std::random_device random;
        folder_ = std::filesystem::temp_directory_path() / ("tarnhost-test-" + std::to_string(random()));
        std::filesystem::create_directories(folder_);
        path_ = folder_ / name;
        Write(content);
    }
    TemporaryFile(const std::string& name, const std::vector<std::uint8_t>& content)
        : TemporaryFile(name, std::string(content.begin(), content.end())) {}
    ~TemporaryFile() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    void Write(const std::string& content) const { std::ofstream(path_, std::ios::binary) << content; }
    [[nodiscard]] std::string Path() const { return path_.string(); }
    [[nodiscard]] std::string Folder() const { return folder_.string(); }

 private:
    std::filesystem::path folder_;
    std::filesystem::path path_;
};

}  // namespace tarn::host

#endif
