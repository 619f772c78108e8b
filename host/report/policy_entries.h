// All entries of a policy that can decide something, and which of them never did.
#ifndef TARN_HOST_REPORT_POLICY_ENTRIES_H
#define TARN_HOST_REPORT_POLICY_ENTRIES_H

#include <vector>

#include "host/deciding_entry.h"
#include "policy/policy.h"

namespace tarn::host::report {

std::vector<DecidingEntry> EntriesOf(const policy::Policy& policy);

// What of all is not among those that decided. An entry is known by its list and text; where a text is listed several
// times, by the line too, unless the line is that of an older state of the policy.
std::vector<DecidingEntry> NeverDecided(const std::vector<DecidingEntry>& all,
                                        const std::vector<DecidingEntry>& decided);

}  // namespace tarn::host::report

#endif
