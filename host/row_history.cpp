#include "host/row_history.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tarn::host {

namespace {

// How far a row is looked for behind rows that are gone.
constexpr std::size_t kMaxGone = 1000;

}  // namespace

void RowHistory::BeginRound() {
    isUsed_ = true;
    before_ = std::exchange(now_, {});
}

void RowHistory::BeginCapture() {
    if (isUsed_) now_.emplace_back();
}

RowHistory::News RowHistory::Add(std::string_view what, std::string_view said, std::string_view state,
                                 std::uint32_t decider) {
    if (now_.empty()) return {};
    const std::hash<std::string_view> hash;
    const Row row{hash(what), hash(said), state, decider};
    const std::size_t capture = now_.size() - 1;
    Capture& now = now_.back();
    now.rows.push_back(row);
    if (capture >= before_.size()) return {};
    const std::vector<Row>& rows = before_[capture].rows;
    const auto begin = rows.begin() + static_cast<std::ptrdiff_t>(now.next);
    const auto end = begin + static_cast<std::ptrdiff_t>(std::min(rows.size() - now.next, kMaxGone));
    const auto same = std::find_if(begin, end, [&](const Row& one) { return one.what == row.what; });
    if (same == end) return {};
    now.next = static_cast<std::size_t>(same - rows.begin()) + 1;
    ++now.found;
    return {same->said != row.said, same->state, same->decider};
}

std::uint64_t RowHistory::Gone() const {
    std::uint64_t gone = 0;
    for (std::size_t i = 0; i < std::min(before_.size(), now_.size()); ++i)
        gone += before_[i].rows.size() - now_[i].found;
    return gone;
}

}  // namespace tarn::host
