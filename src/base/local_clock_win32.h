// The system's local time.
// Kept apart so that those who only read the clock never see a Windows type.
#ifndef TARN_BASE_LOCAL_CLOCK_WIN32_H
#define TARN_BASE_LOCAL_CLOCK_WIN32_H

#include "base/local_clock.h"

namespace tarn::base {

class WindowsLocalClock final : public LocalClock {
 public:
    bool Now(TarnSystemTime& now) override;
};

}  // namespace tarn::base

#endif
