#include "base/local_clock_win32.h"

#include <cstring>
#include <windows.h>

namespace tarn::base {

bool WindowsLocalClock::Now(TarnSystemTime& now) {
    SYSTEMTIME time;
    GetLocalTime(&time);
    static_assert(sizeof time == sizeof now);
    std::memcpy(&now, &time, sizeof now);
    return true;
}

}  // namespace tarn::base
