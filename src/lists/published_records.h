// Reads the chains and texts of module records while a list is published, whatever they hold.
// What becomes of the entries belongs to each list.
#ifndef TARN_LISTS_PUBLISHED_RECORDS_H
#define TARN_LISTS_PUBLISHED_RECORDS_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "base/text.h"

namespace tarn::lists {

// The most nodes that one list takes from all its chains together; records that pass this are broken.
inline constexpr std::size_t kMaxChainNodes = std::size_t{1} << 22;

// Calls use(node) for at most limit nodes and takes them off limit. A chain that runs into itself ends after every
// node of it was used.
template <class Node, class Use>
void ForEachNode(const Node* node, std::size_t& limit, Use use) {
    const Node* mark = nullptr;
    std::size_t steps = 0;
    std::size_t stepsToMark = 1;
    for (; node != nullptr && node != mark && limit != 0; node = node->next, --limit) {
        use(*node);
        if (++steps == stepsToMark) {
            mark = node;
            steps = 0;
            stepsToMark *= 2;
        }
    }
}

// An array of a record; null counts as empty.
template <class Entry>
std::span<const Entry> Entries(const Entry* first, std::size_t count) {
    return first == nullptr ? std::span<const Entry>{} : std::span<const Entry>{first, count};
}

// A list entry without the one "/" that it may end in.
inline std::string_view WithoutTrailingSlash(std::string_view entry) {
    if (entry.ends_with('/')) entry.remove_suffix(1);
    return entry;
}

inline std::string Folded(std::string_view text) {
    std::string folded(text.size(), '\0');
    base::CopyLower(folded.data(), text);
    return folded;
}

}  // namespace tarn::lists

#endif
