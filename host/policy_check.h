// Reads a policy file of the reference companion modules and collects what is wrong with it.
#ifndef TARN_HOST_POLICY_CHECK_H
#define TARN_HOST_POLICY_CHECK_H

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "host/event.h"
#include "policy/policy_reader.h"

namespace tarn::host {

// kind: "mistake" or "warning".
Event MistakeEvent(const char* kind, const std::string& file, const policy::Mistake& mistake);

// With the lists that it includes. Nothing when the file cannot be read. Without findSid the names of accounts are not
// checked. progress: a terminal that is told how much of long lists has been read.
std::optional<policy::ReadPolicy> ReadPolicyFile(const std::string& file, const policy::FindSid& findSid = {},
                                                 std::ostream* progress = nullptr);

// The same, read once for all who hold it as long as neither the file nor a list changes. Null when it cannot be read.
// With findSid it is one of this machine's accounts.
std::shared_ptr<const policy::ReadPolicy> SharePolicyFile(const std::string& file, const policy::FindSid& findSid = {},
                                                          std::ostream* progress = nullptr);

// One line for each mistake in the policy, and what to do about them; empty for a policy without mistakes and for a
// file that cannot be read: not every module reads one.
std::string DescribePolicyMistakes(const std::string& file, const policy::FindSid& findSid = {},
                                   std::ostream* progress = nullptr);

}  // namespace tarn::host

#endif
