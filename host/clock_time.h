// Local times as the command line names them, and their order.
#ifndef TARN_HOST_CLOCK_TIME_H
#define TARN_HOST_CLOCK_TIME_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "tarn/records.h"

namespace tarn::host {

// "2026-03-07T21:30", or "21:30" on the day of today; seconds may follow (":15"). Nothing for any other text and for a
// day that no calendar has.
std::optional<TarnSystemTime> ParseClockTime(std::string_view text, const TarnSystemTime& today);

// Minutes since 1970, as if no clock had ever been put forward or back. The date must be one of the calendar.
std::int64_t MinutesOf(const TarnSystemTime& time);

}  // namespace tarn::host

#endif
