// Finds an entry of a policy in the tree of its text.
#ifndef TARN_HOST_EXPLAIN_ENTRY_NODE_H
#define TARN_HOST_EXPLAIN_ENTRY_NODE_H

#include <toml++/toml.h>

#include "host/explain/policy_entry.h"

namespace tarn::host {

// policy: what the text of root says. Null for an entry that stands in another file; of a schedule its switch.
const toml::node* FindNode(const toml::table& root, const policy::Policy& policy, const EntryRef& entry);

}  // namespace tarn::host

#endif
