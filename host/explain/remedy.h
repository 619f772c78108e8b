// What to write into a policy so that an address is allowed, or blocked.
#ifndef TARN_HOST_EXPLAIN_REMEDY_H
#define TARN_HOST_EXPLAIN_REMEDY_H

#include <optional>

#include "host/explain/explanation.h"

namespace tarn::host {

// Allows what is blocked, blocks what is let pass: the first way of which the policy foretells that it works.
std::optional<Remedy> FindRemedy(const PolicyIndex& index, const ScanQuestion& question, const Foretold& foretold);

}  // namespace tarn::host

#endif
