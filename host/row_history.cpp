#include "host/row_history.h"

#include <functional>
#include <utility>

namespace tarn::host {

void RowHistory::BeginRound() {
    isUsed_ = true;
    before_ = std::exchange(now_, {});
}

void RowHistory::BeginCapture() {
    if (isUsed_) now_.emplace_back();
}

RowHistory::News RowHistory::Add(std::string_view what, std::string_view said, std::string_view state) {
    if (now_.empty()) return {};
    const std::hash<std::string_view> hash;
    const Row row{hash(what), hash(said), state};
    const std::size_t capture = now_.size() - 1;
    const std::size_t at = now_.back().size();
    now_.back().push_back(row);
    if (capture >= before_.size() || at >= before_[capture].size()) return {};
    const Row& before = before_[capture][at];
    if (before.what != row.what) return {};
    return {before.said != row.said, before.state};
}

}  // namespace tarn::host
