// The entries of a policy that name a site or address, whether they match what is asked or not.
#ifndef TARN_HOST_EXPLAIN_NAMED_ENTRIES_H
#define TARN_HOST_EXPLAIN_NAMED_ENTRIES_H

#include <vector>

#include "host/explain/asked_address.h"
#include "host/explain/policy_entry.h"

namespace tarn::host {

// In the order of the lists.
std::vector<EntryRef> FindNamed(const policy::Policy& policy, const AskedAddress& asked);

}  // namespace tarn::host

#endif
