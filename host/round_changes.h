// What one round of the same captures judged otherwise than the round before, by the entry that makes the change.
#ifndef TARN_HOST_ROUND_CHANGES_H
#define TARN_HOST_ROUND_CHANGES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace tarn::host {

class RoundChanges {
 public:
    // decider: what decides now; empty: nothing does. deciderBefore: what did in the round before.
    void Add(std::string_view state, const std::string& decider, const std::string& deciderBefore);
    // Rows of the round before that this one lacks.
    void AddGone(std::uint64_t count) { gone_ += count; }
    // Lines that say it; empty when nothing changed. The next round begins.
    std::string Take();

 private:
    std::map<std::pair<std::string, std::string>, std::uint64_t> counts_;  // by state and decider
    std::uint64_t gone_ = 0;
};

}  // namespace tarn::host

#endif
