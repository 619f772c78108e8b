// The lists that a policy file includes, as they stand on the disk beside it.
// What is in them is read by policy/list_reader.h.
#ifndef TARN_HOST_LIST_FILES_H
#define TARN_HOST_LIST_FILES_H

#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "host/progress.h"
#include "policy/list_files.h"

namespace tarn::host {

class ListFilesOnDisk : public policy::ListFiles {
 public:
    // progress: where to say how much has been read, on a terminal; null for nowhere.
    explicit ListFilesOnDisk(const std::string& policyFile, std::ostream* progress = nullptr,
                             host::Progress::Now now = host::Progress::Clock::now);

    std::vector<std::string> Names(const std::string& pattern) override;
    bool Read(const std::string& name, std::string& text, std::string& whyNot) override;
    void Progress(std::uint64_t bytes) override;

    // Equal for what has not changed: the files that the patterns name, with their sizes and times.
    [[nodiscard]] std::string StateOf(const std::vector<std::string>& patterns);
    // Where these patterns look, each folder once.
    [[nodiscard]] std::vector<std::string> FoldersOf(const std::vector<std::string>& patterns) const;

 private:
    [[nodiscard]] std::filesystem::path PathOf(const std::string& name) const;

    std::filesystem::path folder_;  // of the policy
    std::unique_ptr<host::Progress> progress_;
};

}  // namespace tarn::host

#endif
