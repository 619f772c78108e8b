// The white lists of whole URLs in the form that scans ask: the two internal ones and the user's.
// Records are copied when published; when a list is asked, and what a match means, is the scan's business.
#ifndef TARN_LISTS_URL_LISTS_H
#define TARN_LISTS_URL_LISTS_H

#include <string_view>

#include "tarn/companions.h"

#include "lists/pattern_tree.h"

namespace tarn::lists {

// An internal white list. An entry is a pattern that the URL begins with, or holds anywhere when it begins with "*";
// behind it stands "/", "?", "#" or the end. Letter case does not count.
class UrlList {
 public:
    // Empty entries, "/" and "*" match nothing; one "/" at the end of an entry does not count.
    void Publish(const UrlListRecord& record);
    void Clear() { *this = {}; }
    [[nodiscard]] bool Matches(std::string_view url) const noexcept;

 private:
    [[nodiscard]] bool HoldsPatternAt(std::string_view text, std::size_t end) const;

    PrefixTree prefixes_;
    PrefixTree::Root prefixRoot_ = PrefixTree::kNone;
    SuffixTree substrings_;
    SuffixTree::Root substringRoot_ = SuffixTree::kNone;
};

// The user's white list: prefixes of host-and-path that end before "/" or with it. Letter case does not count.
class PrefixWhiteList {
 public:
    void Publish(const UrlListRecord& record);
    void Clear() { *this = {}; }
    [[nodiscard]] bool Matches(std::string_view hostAndPath) const noexcept;

 private:
    PrefixTree prefixes_;
    PrefixTree::Root root_ = PrefixTree::kNone;
};

}  // namespace tarn::lists

#endif
