// Follows a policy file while the library runs: tells the library what has changed, and people what came of it.
// No scan may run meanwhile. A file that is still being written, has mistakes, is missing or lost everything changes
// nothing.
#ifndef TARN_HOST_POLICY_FOLLOWER_H
#define TARN_HOST_POLICY_FOLLOWER_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "host/judge.h"
#include "host/policy_changes.h"
#include "policy/policy_lint.h"

namespace tarn::host {

class PolicyFollower {
 public:
    using Pause = std::function<void(std::chrono::milliseconds)>;

    // How long the file must have stayed the same, and how often that is waited for.
    static constexpr std::chrono::milliseconds kRest{500};
    static constexpr int kMaxPauses = 10;

    PolicyFollower(std::string file, policy::FindSid findSid, Pause pause, std::ostream& out, bool json)
        : file_(std::move(file)), findSid_(std::move(findSid)), pause_(std::move(pause)), out_(out), json_(json) {}

    // Called before something is printed.
    void BeforeText(std::function<void()> call) { beforeText_ = std::move(call); }

    // How the linter converts host names.
    void UseAsciiHost(policy::AsciiHost asciiHost) { asciiHost_ = std::move(asciiHost); }

    // Before the library starts: the policy that it will read. False with the reason when there is none to start with.
    bool Begin(std::string& mistake);

    // True when the library was told about a change.
    bool Follow(Judge& library);

    // Where the lists stand that the policy includes.
    [[nodiscard]] std::vector<std::string> ListFolders() const;
    // What the library works by.
    [[nodiscard]] std::shared_ptr<const policy::Policy> Used() const { return {used_, &used_->policy}; }
    // Its text.
    [[nodiscard]] const std::string& UsedText() const { return usedText_; }

 private:
    struct SentNotice {
        std::string call;
        bool succeeded;
    };

    // What there is to read: the policy, and the lists that it includes by their sizes and times.
    struct Look {
        std::optional<std::string> text;  // nothing for a file that cannot be read
        std::string lists;
        bool operator==(const Look&) const = default;
    };

    [[nodiscard]] Look LookNow() const;
    // False when it never rested.
    bool ReadAtRest(Look& look) const;
    [[nodiscard]] policy::ReadPolicy Parse(const std::string& text) const;
    [[nodiscard]] std::string FileName() const;
    // Something else than a change, which leaves what was read before.
    void PrintKept(const char* why, const char* text);
    void PrintMistakes(const std::vector<policy::Mistake>& mistakes);
    void PrintChanges(const PolicyChanges& changes, const std::vector<SentNotice>& notices);
    // What the policy that is used now surely does not mean, and the one before did not have.
    void PrintNewFindings(const policy::ReadPolicy& before);

    std::string file_;
    policy::FindSid findSid_;
    policy::AsciiHost asciiHost_;
    Pause pause_;
    std::ostream& out_;
    bool json_;
    std::function<void()> beforeText_ = [] {};
    std::string usedText_;  // that the library works by
    std::shared_ptr<const policy::ReadPolicy> used_;
    std::optional<std::set<std::string>> usedFindings_;  // from the first change on
    Look seen_;                                          // what was looked at last
    std::vector<std::string> patterns_;                  // of the lists that it includes
    bool isReadable_ = true;
};

}  // namespace tarn::host

#endif
