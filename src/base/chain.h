// Measures a module's linked list before it is copied, also one that runs into itself.
// Copying the nodes is the business of whoever knows them.
#ifndef TARN_BASE_CHAIN_H
#define TARN_BASE_CHAIN_H

#include <algorithm>
#include <cstddef>

namespace tarn::base {

// How many nodes the chain has, at most limit; no node behind the first limit ones is read. The nodes of a loop count
// once, unless limit ends the walk before the loop shows.
template <class Node>
std::size_t ChainLength(const Node* first, std::size_t limit) {
    if (first == nullptr || limit == 0) return 0;
    // The mark moves forward ever more rarely, so a loop comes back to it.
    const Node* mark = first;
    const Node* node = first->next;
    std::size_t count = 1;
    std::size_t sinceMark = 1;
    std::size_t patience = 1;
    while (node != nullptr && node != mark && count < limit) {
        if (sinceMark == patience) {
            mark = node;
            sinceMark = 0;
            patience *= 2;
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

}  // namespace tarn::base

#endif
