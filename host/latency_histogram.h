// How long calls took: counts by size, in little memory however many there are.
#ifndef TARN_HOST_LATENCY_HISTOGRAM_H
#define TARN_HOST_LATENCY_HISTOGRAM_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::host {

class LatencyHistogram {
 public:
    void Add(std::uint64_t nanoseconds);

    [[nodiscard]] std::uint64_t Count() const { return count_; }
    [[nodiscard]] std::uint64_t Max() const { return max_; }
    // What so many of a hundred calls did not exceed: up to 1/32 above the exact figure, never above the largest.
    // 0 without calls.
    [[nodiscard]] std::uint64_t Percentile(double percent) const;

 private:
    // Figures below 64 have a counter each; above, each doubling has 32.
    static constexpr std::size_t kSteps = 32;
    static constexpr std::size_t kCounters = 60 * kSteps;

    std::array<std::uint64_t, kCounters> counters_{};
    std::uint64_t count_ = 0;
    std::uint64_t max_ = 0;
};

}  // namespace tarn::host

#endif
