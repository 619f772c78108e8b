// Whether a weekly schedule of the policy lets the web be used at a time, and when it does so next.
#ifndef TARN_HOST_EXPLAIN_WEEK_TIMES_H
#define TARN_HOST_EXPLAIN_WEEK_TIMES_H

#include <cstdint>
#include <optional>

#include "tarn/records.h"

#include "policy/policy.h"

namespace tarn::host {

// Times of a day that are not in ascending order count as docs/policy.md warns: some are lost.
bool IsAllowedTime(const policy::ParentalUser& user, const TarnSystemTime& now);

// 0 at an allowed time; nothing when the schedule has none.
std::optional<std::uint32_t> MinutesUntilAllowed(const policy::ParentalUser& user, const TarnSystemTime& now);

}  // namespace tarn::host

#endif
