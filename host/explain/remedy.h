// What to write into a policy so that an address is allowed, or blocked.
#ifndef TARN_HOST_EXPLAIN_REMEDY_H
#define TARN_HOST_EXPLAIN_REMEDY_H

#include <optional>

#include "host/explain/explanation.h"
#include "host/explain/policy_variant.h"

namespace tarn::host {

// Allows what is blocked, blocks what is let pass: the first way that, written into the text, is a policy without
// mistakes which foretells that it works. index: of what the policy says. Lists are read again only for an entry that
// lets pass.
std::optional<Remedy> FindRemedy(const PolicyVariant& policy, const PolicyIndex& index, const ScanQuestion& question,
                                 const Foretold& foretold, const policy::FindSid& findSid);

}  // namespace tarn::host

#endif
