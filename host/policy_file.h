// The text of a policy file, and who its accounts are.
// What it says is read by policy/policy_reader.h.
#ifndef TARN_HOST_POLICY_FILE_H
#define TARN_HOST_POLICY_FILE_H

#include <optional>
#include <string>

#include "host/judge.h"
#include "policy/parental_reader.h"

namespace tarn::host {

// The policy that stands in folder, which ends with a separator.
std::string PolicyPath(const std::string& folder);

// Nothing when it cannot be read.
std::optional<std::string> ReadPolicyText(const std::string& file);

// The identifiers of the accounts that environment knows.
policy::FindSid SidsOf(Environment& environment);

}  // namespace tarn::host

#endif
