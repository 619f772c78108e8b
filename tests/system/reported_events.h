// The events that most tests report.
#ifndef TARN_TESTS_SYSTEM_REPORTED_EVENTS_H
#define TARN_TESTS_SYSTEM_REPORTED_EVENTS_H

#include <cstdint>

#include "tarn/records.h"

namespace tarn::system_test {

inline constexpr std::uint32_t kTick = TARN_EVENT_TICK;
inline constexpr std::uint32_t kLogon = TARN_EVENT_LOGON_5;

}  // namespace tarn::system_test

#endif
