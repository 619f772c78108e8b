// The blocked hosts and addresses of one parental profile in the form that scans ask.
// Publish copies the two tables. Any number of threads may ask while nobody publishes or clears.
#ifndef TARN_LISTS_BLOCKED_SITES_H
#define TARN_LISTS_BLOCKED_SITES_H

#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tarn/records.h"

#include "lists/hash_index.h"
#include "lists/label_hashes.h"
#include "lists/path_sets.h"
#include "lists/radix_tree.h"
#include "parental/site_entries.h"

namespace tarn::lists {

// A look-up that could not be made and one that found nothing are different answers.
enum class Lookup : std::uint8_t { kFailed, kMiss, kHit };

class BlockedSites {
 public:
    // The entries may stand in any order; texts, paths and the tables themselves are copied.
    void Publish(std::span<const parental::HostListEntry> hosts, std::span<const parental::AddressListEntry> addresses);
    void Clear() noexcept { *this = {}; }
    // Whether hosts are listed; a table without hosts answers kFailed, whatever addresses it holds.
    [[nodiscard]] bool Empty() const { return !hasHosts_; }

    // host and path in lower case; address is that of the connection, asked when the host is an address literal.
    [[nodiscard]] Lookup Match(const HostKeys& host, std::string_view path, const IpAddressRecord& address,
                               std::uint8_t mode) const noexcept;
    // The same with mode 4 as 3 and, after a first try without a match, with the leading "www." taken away or added.
    [[nodiscard]] Lookup MatchWithWwwVariant(const HostKeys& host, std::string_view path,
                                             const IpAddressRecord& address, std::uint8_t mode) const noexcept;

 private:
    // What all entries of one hash and text say together: any of them is enough for a match, so their order is of no
    // account.
    struct Group {
        std::uint32_t hash;
        std::uint32_t textAt;  // in texts_
        std::uint16_t textLength;
        bool wholeDomain;
        bool wholeSiteWhenTls;
        bool exactHost;
        PathSets::Range paths;
    };
    struct Address {
        std::uint8_t kind;
        std::uint8_t wholeAddress;
        PathSets::Range paths;
    };
    class Builder;

    // anyListed becomes true when one of the labels asked for stands in the table.
    [[nodiscard]] Lookup Match(const HostKeys& host, std::string_view path, const IpAddressRecord& address,
                               std::uint8_t mode, bool& anyListed) const;
    // Whether the www variant of a host that did not match, and of whose labels none is listed, cannot match either.
    [[nodiscard]] bool VariantIsUnlisted(const HostKeys& host) const;
    [[nodiscard]] bool HitsLabels(std::span<const std::uint32_t> labels, std::string_view host, std::string_view path,
                                  std::uint8_t mode, bool& anyListed) const;
    [[nodiscard]] bool HitsWholeHost(const Group& group, std::string_view path, std::uint8_t mode) const;
    [[nodiscard]] bool OccursIn(std::string_view host, const Group& group) const;
    [[nodiscard]] bool HitsAddress(const IpAddressRecord& address, std::string_view path, std::uint8_t mode) const;

    bool hasHosts_ = false;
    std::vector<Group> groups_;  // by hash
    std::vector<char> texts_;
    HashIndex index_;  // of groups_
    PathSets paths_;
    PrefixTree addressKeys_;  // payload: index in addresses_
    PrefixTree::Root addressRoot_ = PrefixTree::kNone;
    std::vector<Address> addresses_;
};
static_assert(std::is_nothrow_move_assignable_v<BlockedSites>);

}  // namespace tarn::lists

#endif
