#include "lists/blocked_sites.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

#include "base/bounded_text.h"
#include "base/url_path.h"
#include "network/ip_address.h"

namespace tarn::lists {
namespace {

constexpr std::uint8_t kWholeSiteWhenTls = TARN_SITE_SECURE;  // kind of a host entry, wholeAddress of an address entry
constexpr std::uint8_t kTls = TARN_KIND_TLS;                  // the mode that kind 4 is mapped to as well
constexpr std::size_t kMaxTextLength = 0xFFFF;                // no listed host comes near it
constexpr std::string_view kWww = "www.";

// A family and its significant bytes.
class AddressKey {
 public:
    explicit AddressKey(const IpAddressRecord& address)
        : length_(address.family == TARN_FAMILY_IPV4 ? std::size_t{5} : std::size_t{17}) {
        std::memcpy(bytes_.data(), &address, length_);
    }
    [[nodiscard]] std::string_view View() const { return {bytes_.data(), length_}; }

 private:
    std::array<char, sizeof(IpAddressRecord)> bytes_;
    std::size_t length_;
};

std::string_view TextOf(const parental::HostListEntry& entry) {
    return entry.text == nullptr ? std::string_view{} : base::FieldText(entry.text, kMaxTextLength + 1);
}

// A host without the port or path behind it; the brackets of an IPv6 literal stay.
std::string_view WithoutPortOrPath(std::string_view host) {
    if (host.starts_with('[')) return host.substr(0, std::min(host.size(), base::FindCharacter(host, ']') + 1));
    return host.substr(0, base::FindEither(host, ':', '/'));
}

struct NamedHost {
    std::string_view text;
    const parental::HostListEntry* entry;
};

bool IsSameHost(const NamedHost& a, const NamedHost& b) {
    return a.entry->hash == b.entry->hash && a.text == b.text;
}

// The entries with a text, those of one host behind one another, by hash.
std::vector<NamedHost> SortedHosts(std::span<const parental::HostListEntry> hosts) {
    std::vector<NamedHost> named;
    named.reserve(hosts.size());
    for (const parental::HostListEntry& entry : hosts)
        if (const std::string_view text = TextOf(entry); !text.empty()) named.push_back({text, &entry});
    std::ranges::sort(named, [](const NamedHost& a, const NamedHost& b) {
        return a.entry->hash != b.entry->hash ? a.entry->hash < b.entry->hash : a.text < b.text;
    });
    return named;
}

}  // namespace

class BlockedSites::Builder {
 public:
    Builder(BlockedSites& sites, std::span<const parental::HostListEntry> hosts,
            std::span<const parental::AddressListEntry> addresses)
        : sites_(sites), hosts_(SortedHosts(hosts)), addresses_(addresses), parts_(hosts.size() + addresses.size()) {}

    void Build() {
        NoteChains();
        std::uint32_t site = 0;
        for (auto first = hosts_.begin(); first != hosts_.end(); ++site) {
            const auto end = EndOfHost(first);
            AddHost({first, end}, site);
            first = end;
        }
        sites_.index_.Build(sites_.groups_.size(), [this](std::size_t i) { return sites_.groups_[i].hash; });
        AddAddresses(site);
    }

 private:
    using Hosts = std::vector<NamedHost>;

    Hosts::const_iterator EndOfHost(Hosts::const_iterator first) const {
        return std::find_if(first, hosts_.end(), [first](const NamedHost& host) { return !IsSameHost(*first, host); });
    }

    // Each host and each address is a site of its own.
    void NoteChains() {
        std::uint32_t site = 0;
        for (auto first = hosts_.begin(); first != hosts_.end(); ++site) {
            const auto end = EndOfHost(first);
            for (; first != end; ++first) parts_.Note(first->entry->paths, site);
        }
        for (const parental::AddressListEntry& entry : addresses_) parts_.Note(entry.paths, site++);
    }

    void AddHost(std::span<const NamedHost> entries, std::uint32_t site) {
        const NamedHost& first = entries.front();
        Group group{};
        group.hash = first.entry->hash;
        group.textAt = static_cast<std::uint32_t>(sites_.texts_.size());
        group.textLength = static_cast<std::uint16_t>(first.text.size());
        sites_.texts_.insert(sites_.texts_.end(), first.text.begin(), first.text.end());
        chains_.clear();
        for (const auto& [text, entry] : entries) {
            group.wholeDomain |= entry->wholeDomain == 1;
            if (entry->kind == kWholeSiteWhenTls) {
                group.wholeSiteWhenTls = true;
                continue;
            }
            group.exactHost |= entry->exactHost == 1;
            const PathListNode* const paths = entry->paths;  // a copy: the record is packed
            chains_.push_back(paths);
        }
        group.paths = sites_.paths_.Add(chains_, site, parts_);
        sites_.groups_.push_back(group);
    }

    void AddAddresses(std::uint32_t site) {
        std::vector<AddressKey> keys;
        keys.reserve(addresses_.size());
        std::vector<PrefixTree::Pattern> patterns;
        patterns.reserve(addresses_.size());
        for (const parental::AddressListEntry& entry : addresses_) {
            keys.emplace_back(entry.address);
            patterns.push_back({keys.back().View(), static_cast<std::uint32_t>(sites_.addresses_.size())});
            const PathListNode* const chain = entry.paths;
            sites_.addresses_.push_back(
                {entry.kind, entry.wholeAddress, sites_.paths_.Add({&chain, 1}, site++, parts_)});
        }
        sites_.addressRoot_ = sites_.addressKeys_.Add(patterns);
    }

    BlockedSites& sites_;
    const Hosts hosts_;
    const std::span<const parental::AddressListEntry> addresses_;
    ChainParts<PathListNode> parts_;
    std::vector<const PathListNode*> chains_;  // of one host
};

void BlockedSites::Publish(std::span<const parental::HostListEntry> hosts,
                           std::span<const parental::AddressListEntry> addresses) {
    BlockedSites sites;
    sites.hasHosts_ = !hosts.empty();
    Builder(sites, hosts, addresses).Build();
    *this = std::move(sites);
}

// QUIRK: only the first occurrence of the text in the host counts.  Test: FirstOccurrenceOfTheTextDecides
bool BlockedSites::OccursIn(std::string_view host, const Group& group) const {
    const std::string_view listed(texts_.data() + group.textAt, group.textLength);
    const std::size_t at = base::FindText(host, listed);
    if (at == std::string_view::npos) return false;
    if (at != 0 && host[at - 1] != '/' && host[at - 1] != '.') return false;
    const std::size_t end = at + listed.size();
    return end == host.size() || host[end] == '/' || host[end] == ':';
}

bool BlockedSites::HitsWholeHost(const Group& group, std::string_view path, std::uint8_t mode) const {
    if (group.exactHost || (group.wholeSiteWhenTls && mode == kTls)) return true;
    return mode != kTls && paths_.Holds(group.paths, path);
}

// The labels may be those of a part of host.
bool BlockedSites::HitsLabels(std::span<const std::uint32_t> labels, std::string_view host, std::string_view path,
                              std::uint8_t mode, bool& anyListed) const {
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const std::uint32_t hash = labels[i];
        for (std::size_t at = index_.First(hash); at < groups_.size() && groups_[at].hash == hash; ++at) {
            anyListed = true;
            const Group& group = groups_[at];
            if (!OccursIn(host, group)) continue;
            if (group.wholeDomain || (i == 0 && HitsWholeHost(group, path, mode))) return true;
        }
    }
    return false;
}

bool BlockedSites::HitsAddress(const IpAddressRecord& address, std::string_view path, std::uint8_t mode) const {
    if (addressRoot_ == PrefixTree::kNone) return false;
    const AddressKey key(address);
    const PaddedText padded(key.View(), LetterCase::kKept);
    std::uint32_t found = PrefixTree::kNone;
    addressKeys_.Walk(
        addressRoot_, padded.View().data(), padded.View().size(),
        [&key](std::size_t length) { return length == key.View().size(); },
        [&found](std::size_t, std::uint32_t index) {
            found = index;
            return true;
        });
    if (found == PrefixTree::kNone) return false;
    const Address& entry = addresses_[found];
    if (entry.wholeAddress == kWholeSiteWhenTls) return mode == kTls;
    return entry.kind == 1 || (mode != kTls && paths_.Holds(entry.paths, path));
}

Lookup BlockedSites::Match(const HostKeys& host, std::string_view path, const IpAddressRecord& address,
                           std::uint8_t mode, bool& anyListed) const {
    if (!hasHosts_) return Lookup::kFailed;
    const std::string_view text = host.Text();
    if (text.empty()) return Lookup::kMiss;
    if (host.Labels().empty()) return Lookup::kFailed;
    if (HitsLabels(host.Labels(), text, path, mode, anyListed)) return Lookup::kHit;
    if (host.IsIpLiteral()) return HitsAddress(address, path, mode) ? Lookup::kHit : Lookup::kMiss;
    // A host with a port is listed without it: its labels end before the port.
    const std::string_view bare = WithoutPortOrPath(text);
    if (bare.size() == text.size()) return Lookup::kMiss;
    anyListed = true;  // or so it may be: the labels of the two are not the same
    return HitsLabels(HostKeys(bare).Labels(), text, path, mode, anyListed) ? Lookup::kHit : Lookup::kMiss;
}

Lookup BlockedSites::Match(const HostKeys& host, std::string_view path, const IpAddressRecord& address,
                           std::uint8_t mode) const noexcept {
    bool anyListed = false;
    return Match(host, path, address, mode, anyListed);
}

// A variant's labels are those of the host and one more, or one less and, behind ten, one more. What is left to ask of
// an ordinary host, of which nothing is listed, is the one more. An address literal was asked for as a whole alone; its
// variant is none, so that what stands behind its dots is asked for too.
bool BlockedSites::VariantIsUnlisted(const HostKeys& host) const {
    const std::string_view text = host.Text();
    if (host.BehindDots().size() + 1 == kMaxLabelHashes) return false;
    if (text.starts_with('[') || text.size() + kWww.size() > base::HostText::kMaxLength) return false;
    const auto isUnlisted = [this](std::uint32_t hash) { return index_.First(hash) == HashIndex::kNone; };
    if (host.IsIpLiteral() &&
        (WithoutPortOrPath(text).size() != text.size() || !std::ranges::all_of(host.BehindDots(), isUnlisted)))
        return false;
    if (!text.starts_with(kWww)) return isUnlisted(HashWithWww(host.Whole().hash, text.size()));
    const std::string_view without = text.substr(kWww.size());
    IpAddressRecord literal;
    return !without.starts_with('.') && !without.starts_with('[') && !network::ParseIpLiteral(without, literal);
}

Lookup BlockedSites::MatchWithWwwVariant(const HostKeys& host, std::string_view path, const IpAddressRecord& address,
                                         std::uint8_t mode) const noexcept {
    if (mode == TARN_KIND_HTTP_SECURE) mode = kTls;
    bool anyListed = false;
    const Lookup own = Match(host, path, address, mode, anyListed);
    if (own == Lookup::kHit) return own;
    const std::string_view text = host.Text();
    // QUIRK: a host that begins with "www" without the dot gets no second try.  Test: WwwWithoutDotGetsNoSecondTry
    if (text.starts_with("www") && !text.starts_with(kWww)) return Lookup::kMiss;
    if (own == Lookup::kMiss && !text.empty() && !anyListed && VariantIsUnlisted(host)) return Lookup::kMiss;

    if (text.starts_with(kWww))
        return Match(text.substr(kWww.size()).substr(0, base::HostText::kMaxLength), path, address, mode);
    base::HostText withWww;
    withWww.Assign(kWww);
    if (!withWww.Append(text)) return Lookup::kFailed;
    return Match(withWww.View(), path, address, mode);
}

}  // namespace tarn::lists
