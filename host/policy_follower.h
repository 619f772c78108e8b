// Follows a policy file while the library runs: tells the library what has changed, and people what came of it.
// When to look at the file is left to the caller; no scan may run meanwhile.
#ifndef TARN_HOST_POLICY_FOLLOWER_H
#define TARN_HOST_POLICY_FOLLOWER_H

#include <ostream>
#include <string>
#include <vector>

#include "host/judge.h"
#include "host/policy_changes.h"
#include "policy/policy_reader.h"

namespace tarn::host {

class PolicyFollower {
 public:
    PolicyFollower(std::string file, policy::FindSid findSid, std::ostream& out, bool json)
        : file_(std::move(file)), findSid_(std::move(findSid)), out_(out), json_(json) {}

    // Before the library starts: the policy that it will read. False with the reason when there is none to start with.
    bool Begin(std::string& mistake);

    // True when the library was told about a change. A policy with mistakes changes nothing.
    bool Follow(Judge& library);

 private:
    struct SentNotice {
        std::string call;
        bool succeeded;
    };

    void PrintMistakes(const std::vector<policy::Mistake>& mistakes);
    void PrintChanges(const PolicyChanges& changes, const std::vector<SentNotice>& notices);
    void PrintUnreadable();

    std::string file_;
    policy::FindSid findSid_;
    std::ostream& out_;
    bool json_;
    std::string used_;  // the text that the library works by
    std::string seen_;  // the text that was looked at last
    bool isReadable_ = true;
};

}  // namespace tarn::host

#endif
