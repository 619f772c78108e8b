// Takes one entry out of the text of a policy file. Blanks take its place, so every other entry keeps its line.
#ifndef TARN_HOST_EXPLAIN_POLICY_EDIT_H
#define TARN_HOST_EXPLAIN_POLICY_EDIT_H

#include <optional>
#include <string>

#include "host/explain/policy_entry.h"
#include "policy/parental_reader.h"

namespace tarn::host {

// policy: what the text says. Nothing, with the reason, when the entry stands elsewhere or the text is written so that
// it cannot be taken out alone: the result was read again and lacks exactly that entry. A schedule is switched off.
std::optional<std::string> WithoutEntry(const std::string& text, const policy::Policy& policy, const EntryRef& entry,
                                        const policy::FindSid& findSid, std::string& whyNot);

}  // namespace tarn::host

#endif
