// The text of a policy file, and who its accounts are.
#ifndef TARN_HOST_POLICY_FILE_H
#define TARN_HOST_POLICY_FILE_H

#include <optional>
#include <string>

#include "host/judge.h"
#include "policy/parental_reader.h"

namespace tarn::host {

// Names to the reference modules the file to read in the place of the one beside them.
inline constexpr const char* kPolicyVariable = "TARN_POLICY_FILE";

// Set: they say nothing of the policy on the error output.
inline constexpr const char* kPolicyQuietVariable = "TARN_POLICY_QUIET";

// The file that the reference modules read: the one that the options name, else that of the variable, else the one
// beside the modules.
std::string PolicyPath(const Environment& environment, const LibraryOptions& options);

// Nothing when it cannot be read.
std::optional<std::string> ReadPolicyText(const std::string& file);

// The identifiers of the accounts that environment knows.
policy::FindSid SidsOf(Environment& environment);

}  // namespace tarn::host

#endif
