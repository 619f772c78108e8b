// How long calls of one kind took.
#ifndef TARN_HOST_REPORT_LATENCIES_H
#define TARN_HOST_REPORT_LATENCIES_H

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tarn::host::report {

struct LatencySummary {
    std::size_t count = 0;
    std::uint64_t half = 0;  // so many nanoseconds or fewer took 50, 90, 99 and 99.9 of 100
    std::uint64_t p90 = 0;
    std::uint64_t p99 = 0;
    std::uint64_t p999 = 0;
    std::uint64_t most = 0;
};

class Latencies {
 public:
    void Add(std::uint64_t nanoseconds) { values_.push_back(nanoseconds); }
    [[nodiscard]] bool Empty() const { return values_.empty(); }

    // By the nearest rank: each figure is one that was measured.
    [[nodiscard]] LatencySummary Summary() const {
        if (values_.empty()) return {};
        std::vector<std::uint64_t> sorted = values_;
        std::sort(sorted.begin(), sorted.end());
        const auto at = [&](std::size_t perMille) {
            const std::size_t rank = (sorted.size() * perMille + 999) / 1000;
            return sorted[std::max<std::size_t>(rank, 1) - 1];
        };
        return {sorted.size(), at(500), at(900), at(990), at(999), sorted.back()};
    }

 private:
    std::vector<std::uint64_t> values_;
};

}  // namespace tarn::host::report

#endif
