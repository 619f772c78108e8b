// Reads the parental-control part of a policy: users, schedules, site rules, allowed sites.
#ifndef TARN_COMPANIONS_POLICY_PARENTAL_READER_H
#define TARN_COMPANIONS_POLICY_PARENTAL_READER_H

#include <functional>
#include <vector>

#include "policy/policy.h"
#include "policy/section.h"

namespace tarn::policy {

// The identifier of an account by its name; false when the machine has none. An empty function takes every name, for
// where there are no accounts to ask.
using FindSid = std::function<bool(const std::string& name, std::array<std::uint8_t, 68>& sid)>;

// What stands there and is no part of the policy.
struct ParentalNotes {
    std::vector<ParentalUser> leftOut;  // entries whose accounts this machine does not have
    Place mode{};                       // of the two keys
    Place strictness{};
};

// An entry whose account findSid does not know is left out, with a warning.
void ReadParental(Section& section, Parental& parental, const FindSid& findSid, std::vector<Mistake>& warnings,
                  ParentalNotes& notes);

}  // namespace tarn::policy

#endif
