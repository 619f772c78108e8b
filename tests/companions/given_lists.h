// Lists that a test gives to the policy's reader in place of files.
#ifndef TARN_TESTS_COMPANIONS_GIVEN_LISTS_H
#define TARN_TESTS_COMPANIONS_GIVEN_LISTS_H

#include <map>
#include <string>
#include <vector>

#include "policy/list_files.h"

namespace tarn::policy {

class GivenLists : public ListFiles {
 public:
    explicit GivenLists(std::map<std::string, std::string> files) : files_(std::move(files)) {}
    std::vector<std::string> Names(const std::string& pattern) override {
        const NamePattern parts = SplitPattern(pattern);
        std::vector<std::string> names;
        for (const auto& [name, text] : files_)
            if (name.starts_with(parts.folder) && MatchesName(name.substr(parts.folder.size()), parts.name))
                names.push_back(name);
        return names;
    }
    bool Read(const std::string& name, std::string& text, std::string& whyNot) override {
        const auto found = files_.find(name);
        whyNot = "cannot be read";
        if (found == files_.end()) return false;
        text = found->second;
        return true;
    }

 private:
    std::map<std::string, std::string> files_;
};

}  // namespace tarn::policy

#endif
