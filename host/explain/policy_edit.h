// Takes one entry out of the text of a policy file. Blanks take its place, so every other entry keeps its line.
#ifndef TARN_HOST_EXPLAIN_POLICY_EDIT_H
#define TARN_HOST_EXPLAIN_POLICY_EDIT_H

#include <optional>
#include <string>

#include "host/explain/policy_entry.h"
#include "host/explain/policy_variant.h"

namespace tarn::host {

struct EditedPolicy {
    PolicyVariant variant;
    policy::Policy says;  // what stands in it
};

// policy: what the variant says. Nothing, with the reason, when the text is written so that the entry cannot be taken
// out alone: the result was read again and lacks exactly that entry. A schedule is switched off. Of an included list
// the whole line goes, and what it hid further down counts then.
std::optional<EditedPolicy> WithoutEntry(const PolicyVariant& variant, const policy::Policy& policy,
                                         const EntryRef& entry, const policy::FindSid& findSid, std::string& whyNot);

}  // namespace tarn::host

#endif
