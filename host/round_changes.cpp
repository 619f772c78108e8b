#include "host/round_changes.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

#include "host/printable_text.h"

namespace tarn::host {

void RoundChanges::Add(std::string_view state, const std::string& decider, const std::string& deciderBefore) {
    std::string by = decider;
    if (by.empty()) by = deciderBefore.empty() ? "no rule" : fmt::format("no rule, before by {}", deciderBefore);
    ++counts_[{std::string(state), by}];
}

std::string RoundChanges::Take() {
    std::vector<std::pair<std::pair<std::string, std::string>, std::uint64_t>> sorted(counts_.begin(), counts_.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& left, const auto& right) { return left.second > right.second; });
    std::uint64_t all = gone_;
    for (const auto& one : sorted) all += one.second;
    std::string text;
    if (all != 0) text = fmt::format("  {} verdict{} changed:\n", all, all == 1 ? "" : "s");
    for (const auto& [what, count] : sorted)
        text += fmt::format("{:>7}  {} by {}\n", count, what.first, Printable(what.second));
    if (gone_ != 0) text += fmt::format("{:>7}  no longer found\n", gone_);
    counts_.clear();
    gone_ = 0;
    return text;
}

}  // namespace tarn::host
