// Which sets of a radix tree belong to which site; sets that several sites share stand once, linked as their chains
// are. One thread builds; then any number may ask.
#ifndef TARN_LISTS_SITE_SETS_H
#define TARN_LISTS_SITE_SETS_H

#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "lists/radix_tree.h"

namespace tarn::lists {

struct SiteSets {
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    struct Set {
        PrefixTree::Root root;
        std::uint32_t next = kNone;  // in shared
        std::uint32_t count = 1;     // of sets from here on, each of a loop once
    };
    struct Range {  // in ofSites
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    [[nodiscard]] Range Begin() const { return {static_cast<std::uint32_t>(ofSites.size()), 0}; }
    [[nodiscard]] Range End(Range range) const {
        return {range.first, static_cast<std::uint32_t>(ofSites.size()) - range.first};
    }

    // Appends a set to the site that was begun last: one of its own, or the first of a chain of shared ones.
    void AddOwn(PrefixTree::Root root) {
        if (root != PrefixTree::kNone) ofSites.push_back(root);
    }
    void AddShared(std::uint32_t first) { ofSites.push_back(kSharedBit | first); }

    // Links the shared sets from first on one behind the other, and the last one to another or to none.
    void LinkShared(std::uint32_t first, std::uint32_t last) {
        const auto end = static_cast<std::uint32_t>(shared.size());
        const std::uint32_t loop = last != kNone && last >= first ? last : end;  // the sets from there on are a loop
        for (std::uint32_t i = end; i-- > first;) {
            Set& set = shared[i];
            set.next = i + 1 == end ? last : i + 1;
            set.count = i >= loop ? end - loop : 1 + (set.next == kNone ? 0 : shared[set.next].count);
        }
    }

    // Calls use(root) for the sets of a site in the order of its chains until it returns true, which is then the
    // result.
    template <class Use>
    bool AnyOf(Range range, Use use) const {
        for (const std::uint32_t own : std::span(ofSites).subspan(range.first, range.count)) {
            if ((own & kSharedBit) == 0) {
                if (use(own)) return true;
                continue;
            }
            const Set* set = &shared[own & ~kSharedBit];
            for (std::uint32_t left = set->count;; set = &shared[set->next]) {
                if (use(set->root)) return true;
                if (--left == 0) break;
            }
        }
        return false;
    }

    static constexpr std::uint32_t kSharedBit = 0x80000000;  // no tree has so many nodes

    // Those of one site behind one another: roots of its own, and with kSharedBit an index in shared.
    std::vector<std::uint32_t> ofSites;
    std::vector<Set> shared;
};
static_assert(std::is_nothrow_move_assignable_v<SiteSets>);

}  // namespace tarn::lists

#endif
