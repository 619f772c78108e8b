// The white lists of whole URLs in the form that scans ask: the two internal ones and the user's.
// Publish copies the record. Any number of threads may ask while nobody publishes or clears.
#ifndef TARN_LISTS_WHITE_LISTS_H
#define TARN_LISTS_WHITE_LISTS_H

#include <string_view>
#include <type_traits>

#include "tarn/companions.h"

#include "base/key_filter.h"
#include "lists/affix_filter.h"
#include "lists/radix_tree.h"

namespace tarn::lists {

// An entry of an internal white list is a pattern that the URL begins with, or holds anywhere when it begins with "*";
// behind it stands "/", "?", "#" or the end. Letter case does not count.
class InternalWhiteList {
 public:
    // Empty entries, "/" and "*" match nothing; one "/" at the end of an entry does not count.
    void Publish(const UrlListRecord& record);
    void Clear() noexcept { *this = {}; }
    [[nodiscard]] bool Matches(std::string_view url) const noexcept;

 private:
    // False: no entry matches. Asks the two filters alone, and copies nothing.
    [[nodiscard]] bool MayMatch(std::string_view url) const;
    [[nodiscard]] bool HoldsPatternAt(std::string_view text, std::size_t end) const;

    base::KeyFilter firstParts_;    // of the prefixes: what stands before their first "/", "?" or "#"
    SuffixFilter substringFilter_;  // of the substrings
    PrefixTree prefixes_;
    PrefixTree::Root prefixRoot_ = PrefixTree::kNone;
    SuffixTree substrings_;
    SuffixTree::Root substringRoot_ = SuffixTree::kNone;
};
static_assert(std::is_nothrow_move_assignable_v<InternalWhiteList>);

// The user's white list: prefixes of host-and-path that end before "/" or with it. Letter case does not count.
class UserWhiteList {
 public:
    void Publish(const UrlListRecord& record);
    void Clear() noexcept { *this = {}; }
    [[nodiscard]] bool Matches(std::string_view hostAndPath) const noexcept;

 private:
    PrefixTree prefixes_;
    PrefixTree::Root root_ = PrefixTree::kNone;
};
static_assert(std::is_nothrow_move_assignable_v<UserWhiteList>);

}  // namespace tarn::lists

#endif
