#include "lists/radix_tree.h"

#include <algorithm>

#include "base/assert.h"

namespace tarn::lists {

// The count characters of a pattern that come after the used ones in walking order, as they stand in memory.
template <bool kBackward>
std::string_view RadixTree<kBackward>::Part(std::string_view text, std::size_t used, std::size_t count) {
    return text.substr(kBackward ? text.size() - used - count : used, count);
}

template <bool kBackward>
std::uint64_t RadixTree<kBackward>::Pack(std::string_view characters) {
    std::uint64_t word = 0;
    if (!characters.empty()) std::memcpy(&word, characters.data(), characters.size());
    return word;
}

template <bool kBackward>
typename RadixTree<kBackward>::Root RadixTree<kBackward>::Add(std::span<const Pattern> patterns) {
    if (patterns.empty()) return kNone;
    std::vector<Item> items;
    items.reserve(patterns.size());
    for (const Pattern& pattern : patterns) {
        TARN_ASSERT(pattern.text.size() <= UINT16_MAX && pattern.payload != kNone);
        items.push_back({pattern.text, pattern.payload, 0});
    }
    return AddNode(items, 0);
}

// Makes the node that the items share their first depth characters of. At most 128 levels deep: each one takes eight
// characters.
template <bool kBackward>
std::uint32_t RadixTree<kBackward>::AddNode(std::span<Item> items, std::size_t depth) {
    const std::size_t start = depth;
    const std::string_view first = items.front().text;
    const bool isLeaf = items.size() == 1;
    if (isLeaf) depth = first.size();
    const auto shared = [&] {
        if (first.size() - depth < kStride) return false;
        const std::string_view step = Part(first, depth, kStride);
        return std::ranges::all_of(items, [&](const Item& item) {
            return item.text.size() - depth >= kStride && Part(item.text, depth, kStride) == step;
        });
    };
    while (!isLeaf && shared()) depth += kStride;

    const std::string_view run = Part(first, start, depth - start);
    const auto runAt = static_cast<std::uint32_t>(pool_.empty() ? 0 : pool_.size() - kStride);
    pool_.resize(runAt + run.size() + kStride);
    std::ranges::copy(run, pool_.begin() + runAt);
    const auto id = static_cast<std::uint32_t>(nodes_.size());
    nodes_.push_back({runAt, static_cast<std::uint16_t>(depth), 0, false, isLeaf, items.front().payload});
    if (isLeaf) return id;

    const auto goesOn = [depth](const Item& item) { return item.text.size() - depth >= kStride; };
    const auto ending = std::partition(items.begin(), items.end(), goesOn);
    for (auto item = ending; item != items.end(); ++item) {
        const std::size_t more = item->text.size() - depth;
        nodes_[id].terminalLengths = static_cast<std::uint8_t>(nodes_[id].terminalLengths | (1U << more));
        AddSlot(id | kTerminal, Pack(Part(item->text, depth, more)) | (std::uint64_t{more} << 56), item->payload);
    }
    std::span<Item> rest(items.begin(), ending);
    nodes_[id].hasSteps = !rest.empty();
    for (Item& item : rest) item.step = Pack(Part(item.text, depth, kStride));
    std::ranges::sort(rest, {}, &Item::step);
    while (!rest.empty()) {
        const std::uint64_t step = rest.front().step;
        const auto count = static_cast<std::size_t>(
            std::ranges::find_if(rest, [step](const Item& item) { return item.step != step; }) - rest.begin());
        AddSlot(id, step, AddNode(rest.first(count), depth + kStride));
        rest = rest.subspan(count);
    }
    return id;
}

template <bool kBackward>
void RadixTree<kBackward>::AddSlot(std::uint32_t node, std::uint64_t characters, std::uint32_t value) {
    if (2 * (slotsUsed_ + 1) > slots_.size()) Grow();
    const std::uint64_t hash = HashOf(node, characters);
    filter_[FilterWord(hash)] |= FilterBit(hash);
    for (std::size_t i = hash;; ++i) {
        Slot& slot = slots_[i & slotMask_];
        if (slot.value == kNone) {
            slot = {characters, node, value};
            ++slotsUsed_;
            return;
        }
        if (slot.characters == characters && slot.node == node) {
            slot.value = std::min(slot.value, value);
            return;
        }
    }
}

template <bool kBackward>
void RadixTree<kBackward>::Grow() {
    std::vector<Slot> old(std::max<std::size_t>(2, 2 * slots_.size()));
    old.swap(slots_);
    slotMask_ = slots_.size() - 1;
    filter_.assign(std::max<std::size_t>(1, slots_.size() / 16), 0);
    filterMask_ = filter_.size() - 1;
    slotsUsed_ = 0;
    for (const Slot& slot : old)
        if (slot.value != kNone) AddSlot(slot.node, slot.characters, slot.value);
}

template class RadixTree<false>;
template class RadixTree<true>;

}  // namespace tarn::lists
