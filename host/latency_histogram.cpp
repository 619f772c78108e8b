#include "host/latency_histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tarn::host {

namespace {

constexpr unsigned kKeptBits = 6;  // of a figure; the lower ones are left out

}  // namespace

void LatencyHistogram::Add(std::uint64_t nanoseconds) {
    const auto bits = static_cast<unsigned>(std::bit_width(nanoseconds));
    const unsigned leftOut = bits > kKeptBits ? bits - kKeptBits : 0;
    ++counters_[leftOut * kSteps + (nanoseconds >> leftOut)];
    ++count_;
    max_ = std::max(max_, nanoseconds);
}

std::uint64_t LatencyHistogram::Percentile(double percent) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(static_cast<double>(count_) * percent / 100));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < counters_.size() && count_ != 0; ++i) {
        seen += counters_[i];
        if (seen == 0 || seen < wanted) continue;
        const std::size_t leftOut = i < 2 * kSteps ? 0 : i / kSteps - 1;
        const std::uint64_t kept = i - leftOut * kSteps;
        return std::min(max_, ((kept + 1) << leftOut) - 1);
    }
    return max_;
}

}  // namespace tarn::host
