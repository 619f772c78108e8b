// A radix tree of many patterns, eight characters a step: finds which of them a text begins (or ends) with.
// Copies its patterns. Any number of threads may walk a tree that nobody adds to.
#ifndef TARN_LISTS_RADIX_TREE_H
#define TARN_LISTS_RADIX_TREE_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/hash.h"
#include "lists/padded_text.h"

namespace tarn::lists {

// Path-compressed: a chain of nodes with one child each is merged into one node. Steps stand in one hash table with
// open addressing, keyed by the node they leave and the exact characters, so a walk costs one or two probes per eight
// characters that some pattern shares with the text, whatever the number of patterns. One tree holds any number of
// pattern sets, each with its own root. An empty tree owns no memory.
template <bool kBackward>
class RadixTree {
 public:
    struct Pattern {
        std::string_view text;  // at most 65535 characters
        std::uint32_t payload;  // any number but kNone; of equal patterns in one set the lowest stays
    };
    using Root = std::uint32_t;
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    // Adds a set. kNone for an empty one, in which nothing is ever found.
    Root Add(std::span<const Pattern> patterns);

    // Walks the patterns of a set that the text at `at` begins with (forward), or ends with (backward), the short ones
    // first. at points into a PaddedText, at the first of length characters or just behind the last of them. Only
    // lengths for which wanted(length) holds are looked up; found(length, payload) ends the walk by returning true,
    // which is then the result.
    template <class Wanted, class Found>
    bool Walk(Root root, const char* at, std::size_t length, Wanted wanted, Found found) const;

 private:
    struct Node {
        std::uint32_t runAt;           // in pool_: the characters between the step that leads here and depth
        std::uint16_t depth;           // characters of the text that are used up here
        std::uint8_t terminalLengths;  // bit n: patterns end n characters further on
        bool hasSteps;
        bool isLeaf;
        std::uint32_t payload;  // of a leaf: the one pattern that ends at depth
    };
    struct Slot {
        std::uint64_t characters;
        std::uint32_t node;
        std::uint32_t value = kNone;
    };
    struct Item {
        std::string_view text;
        std::uint32_t payload;
        std::uint64_t step;
    };
    // Terminals share the table: their node number is marked, and their length stands in the byte that at most seven
    // characters leave free.
    static constexpr std::uint32_t kTerminal = 0x80000000;

    std::uint32_t AddNode(std::span<Item> items, std::size_t depth);
    void AddSlot(std::uint32_t node, std::uint64_t characters, std::uint32_t value);
    void Grow();
    static std::string_view Part(std::string_view text, std::size_t used, std::size_t count);
    static std::uint64_t Pack(std::string_view characters);

    static std::uint64_t HashOf(std::uint32_t node, std::uint64_t characters) {
        return base::Mix64(characters ^ (node * base::kGolden64));
    }
    // Only asked for nodes that have terminals or steps: then the table is not empty.
    [[nodiscard]] std::uint32_t Find(std::uint32_t node, std::uint64_t characters) const {
        const std::uint64_t hash = HashOf(node, characters);
        if ((filter_[FilterWord(hash)] & FilterBit(hash)) == 0) return kNone;
        for (std::size_t i = hash;; ++i) {
            const Slot& slot = slots_[i & slotMask_];
            if (slot.value == kNone || (slot.characters == characters && slot.node == node)) return slot.value;
        }
    }

    // The filter uses the upper half of the hash, the slots the lower one.
    [[nodiscard]] std::size_t FilterWord(std::uint64_t hash) const { return (hash >> 38) & filterMask_; }
    static std::uint64_t FilterBit(std::uint64_t hash) { return std::uint64_t{1} << ((hash >> 32) & 63U); }

    static std::uint64_t Load(const char* at) {
        std::uint64_t word;
        std::memcpy(&word, at, sizeof word);
        return word;
    }
    // The count characters behind the used ones; count is 0 to 8.
    static std::uint64_t Characters(const char* at, std::size_t used, std::size_t count) {
        if (count == 0) return 0;
        const unsigned unused = static_cast<unsigned>(8 * (kStride - count));
        if constexpr (kBackward) return Load(at - used - kStride) >> unused;
        return (Load(at + used) << unused) >> unused;
    }
    // Both texts may be read up to seven characters past their ends.
    static bool Equal(const char* a, const char* b, std::size_t count) {
        for (; count >= kStride; a += kStride, b += kStride, count -= kStride)
            if (Load(a) != Load(b)) return false;
        return count == 0 || ((Load(a) ^ Load(b)) << (8 * (kStride - count))) == 0;
    }

    std::vector<Node> nodes_;
    std::vector<char> pool_;             // ends with kStride spare characters
    std::vector<Slot> slots_;            // a power of two, at most half used
    std::vector<std::uint64_t> filter_;  // a one-hash Bloom filter of at least eight bits for each used slot
    std::size_t slotMask_ = 0;
    std::size_t filterMask_ = 0;
    std::size_t slotsUsed_ = 0;
};

template <bool kBackward>
template <class Wanted, class Found>
bool RadixTree<kBackward>::Walk(Root root, const char* at, std::size_t length, Wanted wanted, Found found) const {
    if (root == kNone) return false;
    std::size_t used = 0;
    for (std::uint32_t id = root;;) {
        const Node& node = nodes_[id];
        if (node.depth > length) return false;
        if (node.depth != used) {
            const std::size_t run = node.depth - used;
            if (!Equal(kBackward ? at - node.depth : at + used, pool_.data() + node.runAt, run)) return false;
            used = node.depth;
        }
        if (node.isLeaf) return wanted(used) && found(used, node.payload);
        for (unsigned lengths = node.terminalLengths; lengths != 0; lengths &= lengths - 1U) {
            const auto more = static_cast<std::size_t>(std::countr_zero(lengths));
            if (used + more > length) break;
            if (!wanted(used + more)) continue;
            const std::uint32_t payload = Find(id | kTerminal, Characters(at, used, more) | (more << 56));
            if (payload != kNone && found(used + more, payload)) return true;
        }
        if (!node.hasSteps || used + kStride > length) return false;
        id = Find(id, Characters(at, used, kStride));
        if (id == kNone) return false;
        used += kStride;
    }
}

using PrefixTree = RadixTree<false>;
using SuffixTree = RadixTree<true>;
static_assert(std::is_nothrow_move_assignable_v<PrefixTree> && std::is_nothrow_move_assignable_v<SuffixTree>);

}  // namespace tarn::lists

#endif
