#include "host/list_files.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/file_path.h"

namespace tarn::host {

namespace fs = std::filesystem;

ListFilesOnDisk::ListFilesOnDisk(const std::string& policyFile, std::ostream* progress, host::Progress::Now now)
    : folder_(ToPath(policyFile).parent_path()) {
    if (progress != nullptr) progress_ = std::make_unique<host::Progress>(*progress, 0, std::move(now));
}

fs::path ListFilesOnDisk::PathOf(const std::string& name) const {
    return folder_ / ToPath(name);
}

std::vector<std::string> ListFilesOnDisk::Names(const std::string& pattern) {
    const policy::NamePattern parts = policy::SplitPattern(pattern);
    fs::path folder = PathOf(parts.folder);
    if (folder.empty()) folder = ".";
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code ignored;
        const std::string name = FromPath(at->path().filename());
        if (policy::MatchesName(name, parts.name) && at->is_regular_file(ignored)) names.push_back(parts.folder + name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool ListFilesOnDisk::Read(const std::string& name, std::string& text, std::string& whyNot) {
    const fs::path path = PathOf(name);
    std::error_code error;
    const auto size = fs::file_size(path, error);
    if (!error && size > policy::kMaxListBytes) {
        whyNot = fmt::format("has {} bytes; allowed: {}", size, policy::kMaxListBytes);
        return false;
    }
    std::ifstream input(path, std::ios::binary);
    text.resize(error ? 0 : static_cast<std::size_t>(size));
    if (!error && input) input.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (error || !input) {
        whyNot = fmt::format("cannot be read; a list is looked for in {}",
                             FromPath(fs::absolute(path.parent_path(), error)));
        return false;
    }
    return true;
}

void ListFilesOnDisk::Progress(std::uint64_t bytes) {
    if (progress_) progress_->Update(bytes);
}

std::string ListFilesOnDisk::StateOf(const std::vector<std::string>& patterns) {
    std::string state;
    for (const std::string& pattern : patterns) {
        const auto names = policy::IsPattern(pattern) ? Names(pattern) : std::vector<std::string>{pattern};
        for (const std::string& name : names) {
            std::error_code error;
            const auto size = fs::file_size(PathOf(name), error);
            const auto written = fs::last_write_time(PathOf(name), error).time_since_epoch().count();
            state += error ? fmt::format("{}: missing\n", name) : fmt::format("{}: {} {}\n", name, size, written);
        }
    }
    return state;
}

std::vector<std::string> ListFilesOnDisk::FoldersOf(const std::vector<std::string>& patterns) const {
    std::vector<std::string> folders;
    for (const std::string& pattern : patterns) {
        std::error_code error;
        folders.push_back(FromPath(fs::absolute(PathOf(policy::SplitPattern(pattern).folder), error)));
    }
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    return folders;
}

}  // namespace tarn::host
