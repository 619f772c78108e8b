#include "host/scan_clock.h"

#if defined(__x86_64__)
#include <cpuid.h>
#include <x86intrin.h>
#endif

namespace tarn::host {

namespace {

#if defined(__x86_64__)
// Whether the counter runs at one rate in all states of the processor.
bool HasEvenCounter() {
    constexpr unsigned int kPowerManagement = 0x80000007;
    constexpr unsigned int kInvariant = 1U << 8;
    unsigned int a = 0;
    unsigned int b = 0;
    unsigned int c = 0;
    unsigned int d = 0;
    return __get_cpuid(kPowerManagement, &a, &b, &c, &d) != 0 && (d & kInvariant) != 0;
}

std::uint64_t Ticks() {
    return __rdtsc();
}
#else
bool HasEvenCounter() {
    return false;
}

std::uint64_t Ticks() {
    return 0;
}
#endif

}  // namespace

ScanClock::ScanClock() : hasCounter_(HasEvenCounter()), begin_(Steady::now()), beginTicks_(Ticks()) {}

std::uint64_t ScanClock::Now() {
    if (nanosecondsPerTick_ == 0) return SteadyNow();
    return static_cast<std::uint64_t>(static_cast<double>(Ticks() - beginTicks_) * nanosecondsPerTick_);
}

std::uint64_t ScanClock::SteadyNow() {
    const Steady::duration passed = Steady::now() - begin_;
    const std::uint64_t ticks = Ticks() - beginTicks_;
    const auto nanoseconds =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(passed).count());
    if (hasCounter_ && passed >= kCalibration && ticks != 0)
        nanosecondsPerTick_ = static_cast<double>(nanoseconds) / static_cast<double>(ticks);
    return nanoseconds;
}

}  // namespace tarn::host
