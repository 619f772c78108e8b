#include "lists/host_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

#include "base/bounded_text.h"
#include "base/url_path.h"
#include "lists/path_list.h"
#include "lists/published_records.h"

namespace tarn::lists {
namespace {

constexpr std::uint8_t kWholeSiteWhenTls = 2;   // kind of a host entry, wholeAddress of an address entry
constexpr std::uint8_t kTls = TARN_KIND_TLS;    // the mode that kind 4 is mapped to as well
constexpr std::size_t kMaxTextLength = 0xFFFF;  // no listed host comes near it

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

// A host without the port (or path) behind it; the brackets of an IPv6 literal stay.
std::string_view WithoutPort(std::string_view host) {
    if (host.starts_with('[')) return host.substr(0, std::min(host.size(), base::FindCharacter(host, ']') + 1));
    return host.substr(0, base::FindEither(host, ':', '/'));
}

}  // namespace

void HostTable::Publish(std::span<const parental::HostListEntry> hosts,
                        std::span<const parental::AddressListEntry> addresses) {
    HostTable table;
    PathRoots roots{{}, kMaxChainNodes};
    table.PublishHosts(hosts, roots);
    table.PublishAddresses(addresses, roots);
    *this = std::move(table);
}

PrefixTree::Root HostTable::RootOf(const PathListNode* paths, PathRoots& roots) {
    if (paths == nullptr) return PrefixTree::kNone;
    const auto [known, isNew] = roots.known.try_emplace(paths, PrefixTree::kNone);
    if (isNew) {
        std::vector<PrefixTree::Pattern> patterns;
        CollectPaths(paths, roots.nodesLeft, patterns);
        known->second = paths_.Add(patterns);
    }
    return known->second;
}

void HostTable::PublishHosts(std::span<const parental::HostListEntry> hosts, PathRoots& roots) {
    hasHosts_ = !hosts.empty();
    struct Named {
        std::string_view text;
        const parental::HostListEntry* entry;
    };
    std::vector<Named> named;
    named.reserve(hosts.size());
    for (const parental::HostListEntry& entry : hosts)
        if (const std::string_view text = TextOf(entry); !text.empty()) named.push_back({text, &entry});
    std::ranges::sort(named, [](const Named& a, const Named& b) {
        return a.entry->hash != b.entry->hash ? a.entry->hash < b.entry->hash : a.text < b.text;
    });

    const auto same = [](const Named& a, const Named& b) { return a.entry->hash == b.entry->hash && a.text == b.text; };
    for (std::size_t i = 0; i < named.size();) {
        const Named& first = named[i];
        Group group{};
        group.hash = first.entry->hash;
        group.textAt = static_cast<std::uint32_t>(texts_.size());
        group.textLength = static_cast<std::uint16_t>(first.text.size());
        texts_.insert(texts_.end(), first.text.begin(), first.text.end());
        group.rootsAt = static_cast<std::uint32_t>(pathRoots_.size());
        for (; i < named.size() && same(first, named[i]); ++i) {
            const parental::HostListEntry& entry = *named[i].entry;
            group.wholeDomain |= entry.wholeDomain == 1;
            if (entry.kind == kWholeSiteWhenTls) {
                group.wholeSiteWhenTls = true;
                continue;
            }
            group.exactHost |= entry.exactHost == 1;
            const PrefixTree::Root root = RootOf(entry.paths, roots);
            if (root != PrefixTree::kNone) pathRoots_.push_back(root);
        }
        // Several entries of one host usually share one list of paths.
        const auto begin = pathRoots_.begin() + group.rootsAt;
        std::sort(begin, pathRoots_.end());
        pathRoots_.erase(std::unique(begin, pathRoots_.end()), pathRoots_.end());
        group.rootCount = static_cast<std::uint32_t>(pathRoots_.size()) - group.rootsAt;
        groups_.push_back(group);
    }
    index_.Build(groups_.size(), [this](std::size_t i) { return groups_[i].hash; });
}

void HostTable::PublishAddresses(std::span<const parental::AddressListEntry> addresses, PathRoots& roots) {
    std::vector<AddressKey> keys;
    keys.reserve(addresses.size());
    std::vector<PrefixTree::Pattern> patterns;
    patterns.reserve(addresses.size());
    for (const parental::AddressListEntry& entry : addresses) {
        keys.emplace_back(entry.address);
        patterns.push_back({keys.back().View(), static_cast<std::uint32_t>(addresses_.size())});
        addresses_.push_back({entry.kind, entry.wholeAddress, RootOf(entry.paths, roots)});
    }
    addressRoot_ = addressKeys_.Add(patterns);
}

// QUIRK: only the first occurrence of the text in the host counts.  Test: FirstOccurrenceOfTheTextDecides
bool HostTable::OccursIn(std::string_view host, const Group& group) const {
    const std::string_view listed(texts_.data() + group.textAt, group.textLength);
    const std::size_t at = base::FindText(host, listed);
    if (at == std::string_view::npos) return false;
    if (at != 0 && host[at - 1] != '/' && host[at - 1] != '.') return false;
    const std::size_t end = at + listed.size();
    return end == host.size() || host[end] == '/' || host[end] == ':';
}

bool HostTable::HitsWholeHost(const Group& group, std::string_view path, std::uint8_t mode) const {
    if (group.exactHost || (group.wholeSiteWhenTls && mode == kTls)) return true;
    if (mode == kTls) return false;
    for (std::uint32_t i = 0; i < group.rootCount; ++i)
        if (HoldsPath(paths_, pathRoots_[group.rootsAt + i], path)) return true;
    return false;
}

bool HostTable::HitsLabels(const LabelHashes& labels, std::string_view host, std::string_view path,
                           std::uint8_t mode) const {
    for (std::size_t i = 0; i < labels.count; ++i) {
        const std::uint32_t hash = labels.values[i];
        for (std::size_t at = index_.First(hash); at < groups_.size() && groups_[at].hash == hash; ++at) {
            const Group& group = groups_[at];
            if (!OccursIn(host, group)) continue;
            if (group.wholeDomain || (i == 0 && HitsWholeHost(group, path, mode))) return true;
        }
    }
    return false;
}

bool HostTable::HitsAddress(const IpAddressRecord& address, std::string_view path, std::uint8_t mode) const {
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
    return entry.kind == 1 || (mode != kTls && HoldsPath(paths_, entry.paths, path));
}

Lookup HostTable::Match(std::string_view host, std::string_view path, const IpAddressRecord& address,
                        std::uint8_t mode) const noexcept {
    if (!hasHosts_) return Lookup::kFailed;
    if (host.empty()) return Lookup::kMiss;
    LabelHashes labels;
    if (!ComputeLabelHashes(host, labels)) return Lookup::kFailed;
    if (HitsLabels(labels, host, path, mode)) return Lookup::kHit;
    if (labels.isIpLiteral) return HitsAddress(address, path, mode) ? Lookup::kHit : Lookup::kMiss;
    // A host with a port is listed without it: its labels end before the port.
    const std::string_view bare = WithoutPort(host);
    if (bare.size() != host.size() && ComputeLabelHashes(bare, labels) && HitsLabels(labels, host, path, mode))
        return Lookup::kHit;
    return Lookup::kMiss;
}

Lookup HostTable::MatchWithWwwVariant(std::string_view host, std::string_view path, const IpAddressRecord& address,
                                      std::uint8_t mode) const noexcept {
    if (mode == TARN_KIND_HTTP_SECURE) mode = kTls;
    if (Match(host, path, address, mode) == Lookup::kHit) return Lookup::kHit;
    if (host.starts_with("www."))
        return Match(host.substr(4).substr(0, base::HostText::kMaxLength), path, address, mode);
    // QUIRK: a host that begins with "www" without the dot gets no second try.  Test: WwwWithoutDotGetsNoSecondTry
    if (host.starts_with("www")) return Lookup::kMiss;
    base::HostText withWww;
    withWww.Assign("www.");
    if (!withWww.Append(host)) return Lookup::kFailed;
    return Match(withWww.View(), path, address, mode);
}

}  // namespace tarn::lists
