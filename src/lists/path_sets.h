// The paths of listed sites: the chains of a module record, as sets in one radix tree.
// Copies the paths. One thread builds; then any number may ask.
#ifndef TARN_LISTS_PATH_SETS_H
#define TARN_LISTS_PATH_SETS_H

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

#include "tarn/companions.h"

#include "lists/chain_parts.h"
#include "lists/radix_tree.h"
#include "lists/site_sets.h"

namespace tarn::lists {

// Whether a listed path of this length, which path begins with, may end there: at the end of a segment, or behind a
// "/" of its own.
inline bool EndsListedPath(std::string_view path, std::size_t length) {
    return EndsSegment(path, length) || (length != 0 && path[length - 1] == '/');
}

class PathSets {
 public:
    using Range = SiteSets::Range;

    // The paths of a site's chains, all of which were noted for it.
    Range Add(std::span<const PathListNode* const> chains, std::uint32_t site, ChainParts<PathListNode>& parts);
    // Letter case counts.
    [[nodiscard]] bool Holds(Range sets, std::string_view path) const;

 private:
    PrefixTree tree_;
    SiteSets sets_;
};
static_assert(std::is_nothrow_move_assignable_v<PathSets>);

}  // namespace tarn::lists

#endif
