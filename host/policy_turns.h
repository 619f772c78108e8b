// The times at which the schedules of the policy in use begin or end to allow.
#ifndef TARN_HOST_POLICY_TURNS_H
#define TARN_HOST_POLICY_TURNS_H

#include "host/capture_clock.h"
#include "host/judge.h"

namespace tarn::host {

// None for a policy that cannot be read or has mistakes.
ScheduleTurns TurnsOfPolicy(Environment& environment, const LibraryOptions& options);

}  // namespace tarn::host

#endif
