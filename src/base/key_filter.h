// A Bloom filter of hashes: in front of a table it answers most misses with the one cache line that it touches.
// Any number of threads may ask while one adds or clears; moves run alone.
#ifndef TARN_BASE_KEY_FILTER_H
#define TARN_BASE_KEY_FILTER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "base/assert.h"
#include "base/atomic.h"
#include "base/hash.h"

namespace tarn::base {

// Three bits of one word for each hash, in eight bits of memory for each: about one in twenty-five of the hashes that
// were never added passes. A filter for nothing owns no memory and lets nothing pass.
class KeyFilter {
 public:
    KeyFilter() = default;
    // Empty, for up to count hashes; more can be added, but then more others pass.
    explicit KeyFilter(std::size_t count) : words_(count == 0 ? 0 : count / kHashesInAWord + 1) {}

    // Not to a filter for nothing.
    void Add(std::uint64_t hash) {
        TARN_ASSERT(!words_.empty());
        const Place place = PlaceOf(hash);
        Atomic<std::uint64_t>& word = words_[place.word];
        word.store(word.load(std::memory_order_relaxed) | place.bits, std::memory_order_relaxed);
    }

    // False: the hash was not added.
    [[nodiscard]] bool MayHold(std::uint64_t hash) const {
        if (words_.empty()) return false;
        const Place place = PlaceOf(hash);
        return (words_[place.word].load(std::memory_order_relaxed) & place.bits) == place.bits;
    }

    void Clear() {
        for (Atomic<std::uint64_t>& word : words_) word.store(0, std::memory_order_relaxed);
    }

 private:
    static constexpr std::size_t kHashesInAWord = 8;

    struct Place {
        std::size_t word;
        std::uint64_t bits;
    };
    // The upper half of the mixed hash chooses the word, the lower half its bits.
    [[nodiscard]] Place PlaceOf(std::uint64_t hash) const {
        const std::uint64_t mixed = Mix64(hash);
        const auto bit = [mixed](unsigned shift) { return std::uint64_t{1} << ((mixed >> shift) & 63U); };
        return {static_cast<std::size_t>(((mixed >> 32) * words_.size()) >> 32), bit(0) | bit(6) | bit(12)};
    }

    std::vector<Atomic<std::uint64_t>> words_;  // fewer than 2^32
};
static_assert(std::is_nothrow_move_assignable_v<KeyFilter>);

}  // namespace tarn::base

#endif
