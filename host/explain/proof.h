// Proves an explanation by asking the library again with the deciding entry taken out of the policy, and then the one
// that decides next, too. The library reads each such policy from a temporary file.
#ifndef TARN_HOST_EXPLAIN_PROOF_H
#define TARN_HOST_EXPLAIN_PROOF_H

#include <functional>
#include <string>
#include <vector>

#include "host/explain/explanation.h"
#include "host/explain/policy_variant.h"

namespace tarn::host {

// What the library says to the question with that policy; nothing, with the reason, when it cannot be asked.
using AskWithPolicy = std::function<std::optional<Outcome>(const PolicyVariant& policy, std::string& whyNot)>;

// index: of what the policy says.
std::vector<Proof> Prove(PolicyVariant policy, const PolicyIndex& index, const ScanQuestion& question,
                         const policy::FindSid& findSid, const AskWithPolicy& ask);

}  // namespace tarn::host

#endif
