// A hash table with open addressing: from a CRC-32 to the first of the entries that have it, in entries sorted by hash.
// Holds no texts: its owner compares those of equal hash.
#ifndef TARN_LISTS_HASH_INDEX_H
#define TARN_LISTS_HASH_INDEX_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/key_filter.h"

namespace tarn::lists {

class HashIndex {
 public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    // hashOf(i) for i below count; equal hashes stand behind one another.
    template <class HashOf>
    void Build(std::size_t count, HashOf hashOf) {
        *this = {};
        if (count == 0) return;
        slots_.resize(std::bit_ceil(2 * count));
        filter_ = base::KeyFilter(count);
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t hash = hashOf(i);
            if (i != 0 && hashOf(i - 1) == hash) continue;
            filter_.Add(hash);
            std::size_t at = hash & (slots_.size() - 1);
            while (slots_[at].first != kNone) at = (at + 1) & (slots_.size() - 1);
            slots_[at] = {hash, static_cast<std::uint32_t>(i)};
        }
    }

    // The first entry of this hash, or kNone.
    [[nodiscard]] std::uint32_t First(std::uint32_t hash) const {
        if (!filter_.MayHold(hash)) return kNone;
        for (std::size_t at = hash & (slots_.size() - 1);; at = (at + 1) & (slots_.size() - 1))
            if (slots_[at].first == kNone || slots_[at].hash == hash) return slots_[at].first;
    }

 private:
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t first = kNone;
    };

    std::vector<Slot> slots_;  // open addressing, at most half full
    base::KeyFilter filter_;   // most misses touch nothing else
};

}  // namespace tarn::lists

#endif
