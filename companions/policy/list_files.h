// The files that a policy includes, as its reader sees them.
#ifndef TARN_COMPANIONS_POLICY_LIST_FILES_H
#define TARN_COMPANIONS_POLICY_LIST_FILES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::policy {

inline constexpr std::uint64_t kMaxListBytes = std::uint64_t{256} * 1024 * 1024;

class ListFiles {
 public:
    virtual ~ListFiles() = default;
    // The files that a pattern with "*" or "?" in its last part names, sorted, in the form of the pattern.
    virtual std::vector<std::string> Names(const std::string& pattern) = 0;
    // False with the reason, such as "cannot be read (error 2)".
    virtual bool Read(const std::string& name, std::string& text, std::string& whyNot) = 0;
    // Now and then: how much of all texts has been taken in.
    virtual void Progress(std::uint64_t /*bytes*/) {}
};

// Finds every file, and nothing in it: for whoever asks only for what stands in the policy itself.
class PassedOverLists : public ListFiles {
 public:
    std::vector<std::string> Names(const std::string& /*pattern*/) override { return {}; }
    bool Read(const std::string& /*name*/, std::string& text, std::string& /*whyNot*/) override {
        text.clear();
        return true;
    }
};

// Reads each file of another one once, and says the same again whatever stands there meanwhile.
class RememberedLists : public ListFiles {
 public:
    explicit RememberedLists(ListFiles& files) : files_(files) {}
    std::vector<std::string> Names(const std::string& pattern) override {
        const auto [known, isNew] = names_.try_emplace(pattern);
        if (isNew) known->second = files_.Names(pattern);
        return known->second;
    }
    bool Read(const std::string& name, std::string& text, std::string& whyNot) override {
        const auto [known, isNew] = texts_.try_emplace(name);
        if (isNew) known->second.isRead = files_.Read(name, known->second.text, known->second.whyNot);
        text = known->second.text;
        whyNot = known->second.whyNot;
        return known->second.isRead;
    }
    void Progress(std::uint64_t bytes) override { files_.Progress(bytes); }

 private:
    struct Text {
        bool isRead = false;
        std::string text;
        std::string whyNot;
    };
    ListFiles& files_;
    std::map<std::string, std::vector<std::string>> names_;
    std::map<std::string, Text> texts_;
};

// "lists/*.txt" is the folder "lists/" and the name "*.txt".
struct NamePattern {
    std::string folder;  // with the separator at its end; empty for that of the policy
    std::string name;
};
NamePattern SplitPattern(std::string_view pattern);
// Whether the last part of the text is a pattern.
bool IsPattern(std::string_view text);
// "*" is any run of characters, "?" one byte; letter case does not count.
bool MatchesName(std::string_view name, std::string_view pattern);

}  // namespace tarn::policy

#endif
