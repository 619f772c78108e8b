#include "lists/path_sets.h"

#include "base/bounded_text.h"
#include "base/chain.h"

namespace tarn::lists {
namespace {

void Collect(const PathListNode* chain, std::vector<PrefixTree::Pattern>& out) {
    base::ForEachNode(chain, [&out](const PathListNode& node) {
        out.push_back({base::FieldText(node.path, sizeof node.path), 0});
    });
}

}  // namespace

PathSets::Range PathSets::Add(std::span<const PathListNode* const> chains, std::uint32_t site, ChainUses& uses) {
    Range range{static_cast<std::uint32_t>(roots_.size()), 0};
    std::vector<PrefixTree::Pattern> own;
    for (const PathListNode* const chain : chains) {
        ChainUses::Use* const use = uses.Find(chain);
        if (use == nullptr || use->takenBy == site) continue;
        use->takenBy = site;
        if (!use->isShared) {
            Collect(chain, own);
            continue;
        }
        if (!use->isPublished) {
            std::vector<PrefixTree::Pattern> shared;
            Collect(chain, shared);
            use->set = tree_.Add(shared);
            use->isPublished = true;
        }
        if (use->set != ChainUses::kNone) roots_.push_back(use->set);
    }
    if (!own.empty()) roots_.push_back(tree_.Add(own));
    range.count = static_cast<std::uint32_t>(roots_.size()) - range.first;
    return range;
}

bool PathSets::Holds(Range sets, std::string_view path) const {
    if (sets.count == 0) return false;
    const PaddedText padded(path, LetterCase::kKept);
    if (!padded.Fits()) return false;
    const std::string_view text = padded.View();
    const auto ends = [text](std::size_t length) { return EndsListedPath(text, length); };
    const auto any = [](std::size_t, std::uint32_t) { return true; };
    for (const PrefixTree::Root root : std::span(roots_).subspan(sets.first, sets.count))
        if (tree_.Walk(root, text.data(), text.size(), ends, any)) return true;
    return false;
}

}  // namespace tarn::lists
