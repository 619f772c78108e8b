#include "lists/path_sets.h"

#include <vector>

#include "base/bounded_text.h"

namespace tarn::lists {
namespace {

PrefixTree::Pattern PatternOf(const PathListNode& node) {
    return {base::FieldText(node.path, sizeof node.path), 0};
}

}  // namespace

PathSets::Range PathSets::Add(std::span<const PathListNode* const> chains, std::uint32_t site,
                              ChainParts<PathListNode>& parts) {
    const Range begin = sets_.Begin();
    std::vector<PrefixTree::Pattern> own;
    for (const PathListNode* const chain : chains) {
        const PathListNode* const shared =
            parts.Take(chain, site, [&own](const PathListNode& node) { own.push_back(PatternOf(node)); });
        if (shared == nullptr) continue;
        const std::uint32_t part =
            parts.Publish(shared, sets_, [this](const PathListNode* node, const PathListNode* end) {
                std::vector<PrefixTree::Pattern> patterns;
                do patterns.push_back(PatternOf(*node));
                while ((node = node->next) != end);
                return tree_.Add(patterns);
            });
        sets_.AddShared(part);
    }
    if (!own.empty()) sets_.AddOwn(tree_.Add(own));
    return sets_.End(begin);
}

bool PathSets::Holds(Range sets, std::string_view path) const {
    if (sets.count == 0) return false;
    const PaddedText padded(path, LetterCase::kKept);
    if (!padded.Fits()) return false;
    const std::string_view text = padded.View();
    const auto ends = [text](std::size_t length) { return EndsListedPath(text, length); };
    const auto any = [](std::size_t, std::uint32_t) { return true; };
    return sets_.AnyOf(sets,
                       [&](PrefixTree::Root set) { return tree_.Walk(set, text.data(), text.size(), ends, any); });
}

}  // namespace tarn::lists
