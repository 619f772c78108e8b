// The paths of listed sites: the chains of a module record, as sets in one radix tree.
// Copies the paths. One thread builds; then any number may ask.
#ifndef TARN_LISTS_PATH_SETS_H
#define TARN_LISTS_PATH_SETS_H

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "tarn/companions.h"

#include "lists/radix_tree.h"

namespace tarn::lists {

// Whether a listed path of this length, which path begins with, may end there: at the end of a segment, or behind a
// "/" of its own.
inline bool EndsListedPath(std::string_view path, std::size_t length) {
    return EndsSegment(path, length) || (length != 0 && path[length - 1] == '/');
}

// Which chains of a record several sites use; needed only while a list is published. Such a chain is published once,
// as a set of its own, and the chains that one site alone uses go into a set of that site: a list costs as much as its
// chains, and a look-up as much as the shared chains of its site.
class ChainUses {
 public:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    struct Use {
        std::uint32_t firstSite;
        bool isShared = false;
        std::uint32_t takenBy = kNone;  // the last site that took its nodes
        bool isPublished = false;       // a shared chain, as a set of its own
        std::uint32_t set = kNone;      // that set; kNone when no node of the chain has a path
        std::uint32_t siteName = 0;     // the malicious list's: what the chain calls a whole site
    };

    explicit ChainUses(std::size_t chains) { uses_.reserve(chains); }
    // First every chain of every site; a null chain is none.
    void Note(const void* chain, std::uint32_t site) {
        if (chain == nullptr) return;
        const auto [use, isNew] = uses_.try_emplace(chain, Use{site});
        if (use->second.firstSite != site) use->second.isShared = true;
    }
    // Then, site by site, each chain again: null for no chain.
    Use* Find(const void* chain) { return chain == nullptr ? nullptr : &uses_.at(chain); }

 private:
    std::unordered_map<const void*, Use> uses_;
};

class PathSets {
 public:
    // The sets of one site.
    struct Range {
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    // The paths of a site's chains, all of which were noted for it.
    Range Add(std::span<const PathListNode* const> chains, std::uint32_t site, ChainUses& uses);
    // Letter case counts.
    [[nodiscard]] bool Holds(Range sets, std::string_view path) const;

 private:
    PrefixTree tree_;
    std::vector<PrefixTree::Root> roots_;
};
static_assert(std::is_nothrow_move_assignable_v<PathSets>);

}  // namespace tarn::lists

#endif
