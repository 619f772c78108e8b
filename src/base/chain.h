// Reads the arrays and linked lists of module records, whatever they hold.
// They belong to their module; nothing is kept of them here.
#ifndef TARN_BASE_CHAIN_H
#define TARN_BASE_CHAIN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::base {

// An array as a span; null with a count counts as empty.
template <class Entry>
std::span<const Entry> RecordArray(const Entry* first, std::size_t count) {
    return first == nullptr ? std::span<const Entry>{} : std::span<const Entry>{first, count};
}

// How many nodes the chain has, at most limit; no node behind the first limit ones is read. The nodes of a loop count
// once, unless limit ends the walk before the loop shows.
template <class Node>
std::size_t ChainLength(const Node* first, std::size_t limit) {
    if (first == nullptr || limit == 0) return 0;
    // Brent's cycle detection: the mark moves to the walker at steps 1, 2, 4, ..., so a walker in a loop meets it.
    const Node* mark = first;
    const Node* node = first->next;
    std::size_t count = 1;
    std::size_t sinceMark = 1;
    std::size_t marksEvery = 1;
    while (node != nullptr && node != mark && count < limit) {
        if (sinceMark == marksEvery) {
            mark = node;
            sinceMark = 0;
            marksEvery *= 2;
        }
        node = node->next;
        ++sinceMark;
        ++count;
    }
    if (node != mark) return count;

    // sinceMark is the loop's length: two walkers that far apart meet where the loop begins.
    const Node* ahead = first;
    for (std::size_t i = 0; i < sinceMark; ++i) ahead = ahead->next;
    std::size_t beforeLoop = 0;
    for (const Node* behind = first; behind != ahead; behind = behind->next, ahead = ahead->next) ++beforeLoop;
    return std::min(beforeLoop + sinceMark, limit);
}

// Calls use(node) for each node of the chain, at most limit; each node of a loop once.
template <class Node, class Use>
void ForEachNode(const Node* first, std::size_t limit, Use use) {
    for (std::size_t left = ChainLength(first, limit); left != 0; --left, first = first->next) use(*first);
}

}  // namespace tarn::base

#endif
