#include "parental/site_tables.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "base/bounded_text.h"
#include "base/chain.h"
#include "base/hash.h"
#include "base/text.h"
#include "network/ip_address.h"

namespace tarn::parental {
namespace {

// Rule and host entry kinds that a later rule of the same host leaves alone.
constexpr std::uint8_t kFirstKeptKind = TARN_SITE_SECURE;
constexpr std::uint8_t kSecondKeptKind = 4;
constexpr std::uint8_t kMergedKind = TARN_SITE_ANY;

constexpr std::uint32_t kNoEntry = UINT32_MAX;
constexpr std::uint64_t kMaxEntries = UINT32_MAX - 1;

struct AddressForms {
    network::AddressText usual;
    network::AddressText second;
};

// The rule gives IPv4 as a number; the table holds it in network order. Any family but 0 counts as IPv6.
IpAddressRecord TableAddress(const IpAddressRecord& given) {
    if (given.family != TARN_FAMILY_IPV4) {
        IpAddressRecord address = given;
        address.family = TARN_FAMILY_IPV6;
        return address;
    }
    IpAddressRecord address{};
    for (std::size_t i = 0; i < 4; ++i) address.bytes[i] = given.bytes[3 - i];
    return address;
}

AddressForms FormsOf(const IpAddressRecord& tableAddress) {
    AddressForms forms;
    forms.usual = network::FormatIpAddress(tableAddress);
    if (tableAddress.family == TARN_FAMILY_IPV4) {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4; ++i) number = (number << 8) | tableAddress.bytes[i];
        char digits[8];
        const char* end = std::to_chars(digits, digits + sizeof digits, number, 16).ptr;
        forms.second.Assign("0x");
        forms.second.Append({digits, static_cast<std::size_t>(end - digits)});
        return forms;
    }
    // QUIRK: the bracketed form ends in a full stop.  Test: BracketedFormEndsInAFullStop
    char groups[network::kIpv6GroupsLength + 1];
    network::FormatIpv6Groups(tableAddress.bytes, groups, sizeof groups);
    forms.second.Assign("[");
    forms.second.Append(groups);
    forms.second.Append("].");
    return forms;
}

std::span<const IpAddressRecord> AddressesOf(const SiteRule& rule) {
    return rule.addresses == nullptr ? std::span<const IpAddressRecord>{}
                                     : std::span<const IpAddressRecord>{rule.addresses, rule.addressCount};
}
std::string_view HostOf(const SiteRule& rule) {
    return base::FieldText(rule.host, sizeof rule.host);
}
std::string_view PathOf(const SiteRule& rule) {
    return base::FieldText(rule.path, sizeof rule.path);
}

// Everything is allocated once, for the most that the rules can need; adding then only fills it.
class Builder {
 public:
    Builder(SiteTables& tables, const CopyMemory& memory) : tables_(tables), memory_(memory) {}

    [[nodiscard]] bool Reserve(const SiteRule* first, std::size_t ruleCount);
    void Add(const SiteRule& rule);
    void Finish();

 private:
    [[nodiscard]] std::size_t FindOrAppend(const SiteRule& rule);
    void AppendPath(HostListEntry& entry, std::string_view path);
    void AppendAddress(const HostListEntry& source, const IpAddressRecord& given);
    std::size_t AppendHost(std::string_view text, const HostListEntry& likeness);
    [[nodiscard]] std::uint32_t& SlotOf(std::uint32_t hash, std::string_view text);
    const char* KeepText(std::string_view text);

    SiteTables& tables_;
    const CopyMemory& memory_;
    // The newest entry of each text, by hash; open addressing, at most half full.
    OwnedArray<std::uint32_t> index_;
    // For the first node of each path list, its last one.
    OwnedArray<PathListNode*> lastPath_;
    std::size_t hostCount_ = 0;
    std::size_t addressCount_ = 0;
    std::size_t textLength_ = 0;
    std::size_t pathCount_ = 0;
};

bool Builder::Reserve(const SiteRule* first, std::size_t ruleCount) {
    std::uint64_t addressCount = 0;
    std::size_t pathCount = 0;
    const SiteRule* rule = first;
    for (std::size_t i = 0; i < ruleCount; ++i, rule = rule->next) {
        addressCount += AddressesOf(*rule).size();
        if (ruleCount + 2 * addressCount > kMaxEntries) return false;
        if (!PathOf(*rule).empty()) ++pathCount;
    }
    const std::size_t hostCount = ruleCount + 2 * static_cast<std::size_t>(addressCount);
    if (!tables_.hosts.Allocate(hostCount, memory_)) return false;
    if (!tables_.addresses.Allocate(static_cast<std::size_t>(addressCount), memory_)) return false;
    if (!tables_.paths.Allocate(pathCount, memory_) || !lastPath_.Allocate(pathCount, memory_)) return false;
    if (!index_.Allocate(std::bit_ceil(2 * hostCount), memory_)) return false;
    std::fill(index_.begin(), index_.end(), kNoEntry);

    std::size_t textLength = 0;
    rule = first;
    for (std::size_t i = 0; i < ruleCount; ++i, rule = rule->next) {
        textLength += HostOf(*rule).size() + 1;
        for (const IpAddressRecord& given : AddressesOf(*rule)) {
            const AddressForms forms = FormsOf(TableAddress(given));
            textLength += forms.usual.Length() + 1 + forms.second.Length() + 1;
        }
    }
    return tables_.texts.Allocate(textLength, memory_);
}

void Builder::Add(const SiteRule& rule) {
    const std::size_t at = FindOrAppend(rule);
    AppendPath(tables_.hosts[at], PathOf(rule));
    for (const IpAddressRecord& given : AddressesOf(rule)) AppendAddress(tables_.hosts[at], given);
}

std::size_t Builder::FindOrAppend(const SiteRule& rule) {
    char host[sizeof rule.host];
    const std::string_view given = HostOf(rule);
    std::memcpy(host, given.data(), given.size());
    base::LowerAscii(host, given.size());
    const std::string_view text(host, given.size());

    // Entries made from addresses are found too: a rule for such a text goes into the newest of them.
    const std::uint32_t known = SlotOf(base::Crc32Of(text), text);
    if (known == kNoEntry) {
        HostListEntry entry{};
        entry.kind = rule.kind;
        entry.exactHost = rule.flag;
        entry.wholeDomain = rule.extra;
        return AppendHost(text, entry);
    }
    HostListEntry& entry = tables_.hosts[known];
    if (rule.flag == 1) entry.exactHost = 1;
    if (rule.kind != kFirstKeptKind && rule.kind != kSecondKeptKind) entry.kind = kMergedKind;
    return known;
}

// QUIRK: an entry that was made from an address while its host had no path does not see the paths that the host gets
// later; with a path there already, it does.  Test: AddressesShareThePathsOfTheirTime
void Builder::AppendPath(HostListEntry& entry, std::string_view path) {
    if (path.empty()) return;
    PathListNode& node = tables_.paths[pathCount_];
    std::memcpy(node.path, path.data(), path.size());
    base::LowerAscii(node.path, path.size());
    const std::size_t list =
        entry.paths == nullptr ? pathCount_ : static_cast<std::size_t>(entry.paths - tables_.paths.data());
    if (entry.paths == nullptr)
        entry.paths = &node;
    else
        lastPath_[list]->next = &node;
    lastPath_[list] = &node;
    ++pathCount_;
}

void Builder::AppendAddress(const HostListEntry& source, const IpAddressRecord& given) {
    const IpAddressRecord address = TableAddress(given);
    const AddressForms forms = FormsOf(address);
    HostListEntry likeness = source;
    likeness.wholeDomain = 0;
    AppendHost(forms.usual.View(), likeness);
    AppendHost(forms.second.View(), likeness);
    tables_.addresses[addressCount_++] = {source.kind, source.exactHost, address, source.paths};
}

std::size_t Builder::AppendHost(std::string_view text, const HostListEntry& likeness) {
    const std::size_t at = hostCount_++;
    HostListEntry& entry = tables_.hosts[at];
    entry = likeness;
    entry.hash = base::Crc32Of(text);
    entry.text = KeepText(text);
    SlotOf(entry.hash, text) = static_cast<std::uint32_t>(at);
    return at;
}

std::uint32_t& Builder::SlotOf(std::uint32_t hash, std::string_view text) {
    for (std::size_t slot = hash;; ++slot) {
        std::uint32_t& entry = index_[slot & (index_.size() - 1)];
        if (entry == kNoEntry) return entry;
        const HostListEntry& host = tables_.hosts[entry];
        if (host.hash == hash && std::string_view(host.text) == text) return entry;
    }
}

const char* Builder::KeepText(std::string_view text) {
    char* kept = tables_.texts.data() + textLength_;
    std::memcpy(kept, text.data(), text.size());
    textLength_ += text.size() + 1;
    return kept;
}

// Sorts by descending hash. In place: memory that is missing must show in Reserve, and nowhere else. The order of equal
// hashes cannot be observed, since look-ups ask all entries of a hash.
void Builder::Finish() {
    tables_.hosts.Truncate(hostCount_);
    std::ranges::sort(tables_.hosts, [](const HostListEntry& a, const HostListEntry& b) { return a.hash > b.hash; });
}

}  // namespace

bool BuildSiteTables(const SiteRule* first, SiteTables& tables, const CopyMemory& memory) {
    tables = {};
    const std::size_t ruleCount = base::ChainLength(first, SIZE_MAX);
    if (ruleCount == 0) return true;
    Builder builder(tables, memory);
    if (!builder.Reserve(first, ruleCount)) {
        tables = {};
        return false;
    }
    const SiteRule* rule = first;
    for (std::size_t i = 0; i < ruleCount; ++i, rule = rule->next) builder.Add(*rule);
    builder.Finish();
    return true;
}

}  // namespace tarn::parental
