// The lists of sites that a parental profile allows: hosts, domains and paths, in the form that scans ask.
// Publish copies the record. Any number of threads may ask while nobody publishes or clears.
#ifndef TARN_LISTS_ALLOWED_SITES_H
#define TARN_LISTS_ALLOWED_SITES_H

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "tarn/companions.h"

#include "base/key_filter.h"
#include "lists/affix_filter.h"
#include "lists/label_hashes.h"
#include "lists/radix_tree.h"

namespace tarn::lists {

// Whether host begins with pattern, whatever follows, or, with allowSubdomain 1, ends with it behind a ".". Only the
// first occurrence counts; letter case does not. An empty pattern is never found.
bool IsDomainOrSubdomain(std::string_view host, std::string_view pattern, std::uint8_t allowSubdomain);

class AllowedSites {
 public:
    // At most count nodes. Entries without a host match nothing; one "/" at the end of a path does not count.
    void Publish(const UserUrlList& record);
    void Clear() noexcept { *this = {}; }

    // mode is the connection kind: entries of kind 2 that name a host apply in 3 and 4 only.
    [[nodiscard]] bool MatchesHost(const HostKeys& host, std::string_view path, std::uint8_t mode) const noexcept;
    [[nodiscard]] bool MatchesUrl(const HostKeys& url, std::uint8_t mode) const noexcept;

 private:
    // Entries that name hosts, apart by the modes they apply in.
    struct Hosts {
        PrefixTree::Root starts = PrefixTree::kNone;
        SuffixTree::Root domains = SuffixTree::kNone;
    };
    // False: no entry matches, whatever the path and the mode. Asks the filters alone.
    [[nodiscard]] bool MayMatch(const HostKeys& host) const;
    [[nodiscard]] bool HoldsHost(const Hosts& hosts, std::string_view text) const;
    template <class PathBehind>
    [[nodiscard]] bool HoldsPath(std::string_view text, PathBehind pathBehind) const;

    PrefixFilter starts_;      // of all hosts
    base::KeyFilter domains_;  // CRC-32 of the hosts that stand for their subdomains too, without a leading "."
    PrefixTree prefixes_;
    SuffixTree suffixes_;
    Hosts everywhere_;
    Hosts secureOnly_;
    PrefixTree::Root hostsWithPaths_ = PrefixTree::kNone;  // payload: the root of the host's paths
};
static_assert(std::is_nothrow_move_assignable_v<AllowedSites>);

}  // namespace tarn::lists

#endif
