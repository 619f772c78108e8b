// Has one companion module checked by a process of its own, which may crash or hang.
#ifndef TARN_HOST_COMPANION_KIT_COMPANION_RUN_WIN32_H
#define TARN_HOST_COMPANION_KIT_COMPANION_RUN_WIN32_H

#include <vector>

#include "host/companion_kit/finding.h"

namespace tarn::host {

// Waits for the end of the check; a process that does not answer in time is ended.
std::vector<CompanionFinding> RunCompanionCheck(const CompanionCheck& check);

}  // namespace tarn::host

#endif
