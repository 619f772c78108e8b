// A clock for what takes nanoseconds: the processor's time stamp counter where that runs evenly, otherwise the steady
// clock, whose reading costs Windows programs 200 ns under Wine and is exact to 100 ns.
// Used by one thread.
#ifndef TARN_HOST_SCAN_CLOCK_H
#define TARN_HOST_SCAN_CLOCK_H

#include <chrono>
#include <cstdint>

namespace tarn::host {

class ScanClock {
 public:
    // For so long the steady clock answers; then the rate of the counter is known.
    static constexpr std::chrono::milliseconds kCalibration{2};

    ScanClock();

    // Nanoseconds since some moment.
    [[nodiscard]] std::uint64_t Now();

    [[nodiscard]] bool CountsTicks() const { return nanosecondsPerTick_ != 0; }

 private:
    using Steady = std::chrono::steady_clock;

    // Learns the rate once enough time has passed.
    std::uint64_t SteadyNow();

    bool hasCounter_;
    Steady::time_point begin_;
    std::uint64_t beginTicks_;
    double nanosecondsPerTick_ = 0;  // 0 until it is known
};

}  // namespace tarn::host

#endif
