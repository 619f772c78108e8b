#include "machine/local_time_win32.h"

#include <bit>
#include <windows.h>

namespace tarn::machine {

// The conversions are the system's, not the C run-time's: that one would follow a TZ variable in the host's
// environment, which the clock does not.

TarnSystemTime WindowsLocalClock::Now() const {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return std::bit_cast<TarnSystemTime>(now);
}

std::optional<std::int64_t> WindowsLocalClock::ToSeconds(const TarnSystemTime& local) const {
    const auto from = std::bit_cast<SYSTEMTIME>(local);
    SYSTEMTIME utc;
    if (TzSpecificLocalTimeToSystemTime(nullptr, &from, &utc) == 0) return std::nullopt;
    return SecondsFromUtc(std::bit_cast<TarnSystemTime>(utc));
}

std::optional<TarnSystemTime> WindowsLocalClock::ToLocal(std::int64_t seconds) const {
    const auto utc = UtcFromSeconds(seconds);
    if (!utc) return std::nullopt;
    const auto from = std::bit_cast<SYSTEMTIME>(*utc);
    SYSTEMTIME local;
    if (SystemTimeToTzSpecificLocalTime(nullptr, &from, &local) == 0) return std::nullopt;
    return std::bit_cast<TarnSystemTime>(local);
}

}  // namespace tarn::machine
