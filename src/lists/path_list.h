// The rule by which a site's list of paths holds a request path, in one place for every list of PathListNode.
// Letter case counts; the lists are built and asked by their owners.
#ifndef TARN_LISTS_PATH_LIST_H
#define TARN_LISTS_PATH_LIST_H

#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "base/bounded_text.h"
#include "lists/pattern_tree.h"
#include "lists/published_records.h"

namespace tarn::lists {

// Whether a listed path of this length, which path begins with, may end there: at the end of a segment, or behind a
// "/" of its own.
inline bool EndsListedPath(std::string_view path, std::size_t length) {
    return EndsSegment(path, length) || (length != 0 && path[length - 1] == '/');
}

inline void CollectPaths(const PathListNode* first, std::size_t& nodesLeft, std::vector<PrefixTree::Pattern>& out) {
    ForEachNode(first, nodesLeft, [&out](const PathListNode& node) {
        out.push_back({base::FieldText(node.path, sizeof node.path), 0});
    });
}

inline bool HoldsPath(const PrefixTree& tree, PrefixTree::Root root, std::string_view path) {
    if (root == PrefixTree::kNone) return false;
    const PaddedText padded(path, LetterCase::kKept);
    const std::string_view text = padded.View();
    return padded.Fits() &&
           tree.Walk(
               root, text.data(), text.size(), [text](std::size_t length) { return EndsListedPath(text, length); },
               [](std::size_t, std::uint32_t) { return true; });
}

}  // namespace tarn::lists

#endif
