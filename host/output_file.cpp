#include "host/output_file.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <utility>

#include "host/file_path.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

namespace fs = std::filesystem;

bool Write(const fs::path& path, std::string_view text) {
    std::ofstream output(path, std::ios::binary);
    output << text;
    output.close();
    return !output.fail();
}

}  // namespace

bool WriteWholeFile(const std::string& file, std::string_view text) {
    std::error_code error;
    fs::path path = ToPath(file);
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) return Write(path, text);
    // What a link names, not the link.
    if (fs::path named = fs::exists(status) ? fs::canonical(path, error) : fs::path(); !error && !named.empty())
        path = std::move(named);
    fs::path part = path;
    part += ".new";
    for (int number = 2; fs::exists(fs::symlink_status(part, error)); ++number) {
        part = path;
        part += ".new" + std::to_string(number);
    }
    const bool isWritten = Write(part, text);
    if (isWritten) fs::rename(part, path, error);
    if (isWritten && !error) return true;
    fs::remove(part, error);
    return false;
}

std::string CannotWrite(std::string_view option, std::string_view file) {
    return fmt::format("{} {}: cannot be written; may you write there, and is there room?", option, Printable(file));
}

bool IsOneOf(const std::string& file, const std::vector<std::string>& names) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        std::error_code ignored;
        return fs::equivalent(ToPath(name), ToPath(file), ignored);
    });
}

}  // namespace tarn::host
