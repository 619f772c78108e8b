// Reads the parental-control part of a policy: users, schedules, site rules, allowed sites.
// The rest of the file is policy_reader's.
#ifndef TARN_COMPANIONS_POLICY_PARENTAL_READER_H
#define TARN_COMPANIONS_POLICY_PARENTAL_READER_H

#include "policy/policy.h"
#include "policy/section.h"

namespace tarn::policy {

void ReadParental(Section& section, Parental& parental);

}  // namespace tarn::policy

#endif
