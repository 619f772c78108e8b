#include "host/explain/blocked_site_index.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "base/text.h"
#include "base/url_path.h"

namespace tarn::host {

namespace {

constexpr std::size_t kMaxLabels = 10;  // that are asked of one host
constexpr std::uint8_t kKeptKind = 4;   // such an entry keeps its kind, as the secure one does

IpAddress AddressOf(const IpAddressRecord& record) {
    IpAddress address;
    address.isIpv6 = record.family != TARN_FAMILY_IPV4;
    for (std::size_t i = 0; i < (address.isIpv6 ? 16 : 4); ++i)
        address.bytes[i] = record.bytes[address.isIpv6 ? i : 3 - i];  // IPv4 is a number there
    return address;
}

std::string Hexadecimal(const IpAddress& address) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) number = number << 8 | address.bytes[i];
    return fmt::format("0x{:x}", number);
}

// One to four numbers, in any of the forms that systems take for an IPv4 address.
bool IsIpv4Literal(std::string_view text) {
    std::uint64_t last = 0;
    std::size_t count = 0;
    while (true) {
        if (count == 4 || text.empty() || text.front() < '0' || text.front() > '9') return false;
        if (count != 0 && last > 0xFF) return false;
        int base = 10;
        if (text.front() == '0') base = 8;
        if (text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x') {
            base = 16;
            text.remove_prefix(2);
        }
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), last, base);
        if (error == std::errc::invalid_argument) return false;
        if (error == std::errc::result_out_of_range) last = UINT32_MAX;
        last = std::min<std::uint64_t>(last, UINT32_MAX);
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        ++count;
        if (text.empty() || text.front() == ' ') break;
        if (text.front() != '.') return false;
        text.remove_prefix(1);
    }
    return last <= (0xFFFFFFFFU >> (8 * (count - 1)));
}

bool IsLiteral(std::string_view host) {
    return (IsIpv4Literal(host) && host != "255.255.255.255") || ParseIpAddress(host).has_value();
}

// A host without the port or path behind it.
std::string_view Bare(std::string_view host) {
    if (host.starts_with('[')) return host.substr(0, std::min(host.size(), host.find(']')) + 1);
    return host.substr(0, host.find_first_of(":/"));
}

// Whether text stands in host as whole labels, at the first place where it stands at all.
bool StandsInLabels(std::string_view host, std::string_view text) {
    const std::size_t at = host.find(text);
    if (at == std::string_view::npos) return false;
    if (at != 0 && host[at - 1] != '/' && host[at - 1] != '.') return false;
    const std::size_t end = at + text.size();
    return end == host.size() || host[end] == '/' || host[end] == ':';
}

}  // namespace

BlockedSiteIndex::BlockedSiteIndex(const std::vector<policy::ParentalSiteRule>& rules) {
    for (std::uint32_t i = 0; i < rules.size(); ++i) Add(rules[i], i);
}

std::size_t BlockedSiteIndex::Append(Listed listed) {
    byText_[listed.text].push_back(listed_.size());
    listed_.push_back(std::move(listed));
    return listed_.size() - 1;
}

void BlockedSiteIndex::Add(const policy::ParentalSiteRule& rule, std::uint32_t number) {
    std::string host = base::Lowered(rule.host);
    const Rule own{number, rule.flag == 1};
    std::size_t at = 0;
    if (const auto known = byText_.find(host); known != byText_.end()) {
        at = known->second.back();
        Listed& listed = listed_[at];
        if (own.isWhole) listed.exactHost = true;
        if (rule.kind != TARN_SITE_SECURE && rule.kind != kKeptKind) listed.kind = TARN_SITE_ANY;
        listed.rules.push_back(own);
    } else {
        at = Append({std::move(host), rule.kind, own.isWhole, rule.subdomains == 1, kNoChain, {own}});
    }
    if (!rule.path.empty()) {
        if (listed_[at].chain == kNoChain) {
            listed_[at].chain = chains_.size();
            chains_.emplace_back();
        }
        chains_[listed_[at].chain].push_back({base::Lowered(rule.path), number});
    }
    // An address is listed as its host stands then: a path that the host gets first later is not one of the address.
    for (const IpAddressRecord& record : rule.addresses) {
        const IpAddress address = AddressOf(record);
        const Listed source = listed_[at];
        addresses_.try_emplace(address, Address{source.kind, source.exactHost, source.chain, number});
        for (const std::string& text :
             {FormatIpAddress(address), address.isIpv6 ? std::string() : Hexadecimal(address)})
            if (!text.empty())
                Append({text, source.kind, source.exactHost, false, source.chain, {{number, source.exactHost}}});
    }
}

void BlockedSiteIndex::AddPaths(std::size_t chain, std::string_view path, EntryNumbers& found) const {
    if (chain == kNoChain) return;
    for (const Path& listed : chains_[chain])
        if (path.starts_with(listed.text) && EndsPathAt(path, listed.text.size())) found.push_back(listed.number);
}

void BlockedSiteIndex::AddLabels(std::string_view labels, bool isAddress, std::string_view host, std::string_view path,
                                 bool isTls, EntryNumbers& found) const {
    std::string_view label = labels;
    for (std::size_t i = 0; i < kMaxLabels; ++i) {
        if (const auto numbers = byText_.find(label); numbers != byText_.end() && StandsInLabels(host, label)) {
            for (const std::size_t at : numbers->second) {
                const Listed& listed = listed_[at];
                const bool isSecure = listed.kind == TARN_SITE_SECURE;
                if (listed.wholeDomain || (i == 0 && isSecure && isTls)) {
                    for (const Rule& rule : listed.rules) found.push_back(rule.number);
                } else if (i == 0 && !isSecure) {
                    for (const Rule& rule : listed.rules)
                        if (listed.exactHost && rule.isWhole) found.push_back(rule.number);
                    if (!isTls) AddPaths(listed.chain, path, found);
                }
            }
        }
        const std::size_t dot = label.find('.');
        if (isAddress || dot == std::string_view::npos) return;
        label.remove_prefix(dot + 1);
    }
}

void BlockedSiteIndex::AddMatches(std::string_view host, std::string_view path, const IpAddress& address, bool isTls,
                                  EntryNumbers& found) const {
    if (host.empty() || host.front() == '.' || host.back() == '.') return;
    const bool isAddress = IsLiteral(host);
    AddLabels(host, isAddress, host, path, isTls, found);
    if (isAddress) {
        const auto listed = addresses_.find(address);
        if (listed == addresses_.end()) return;
        // The two marks of an address entry: for all connections, or for secure ones.
        const Address& entry = listed->second;
        if (entry.kind == 1)
            found.push_back(entry.number);
        else if (!isTls)
            AddPaths(entry.chain, path, found);
        return;
    }
    const std::string_view bare = Bare(host);
    if (bare.size() == host.size() || bare.empty() || bare.front() == '.' || bare.back() == '.') return;
    AddLabels(bare, IsLiteral(bare), host, path, isTls, found);
}

EntryNumbers BlockedSiteIndex::Find(std::string_view host, std::string_view path, const IpAddress& address,
                                    std::uint8_t kind) const {
    constexpr std::string_view kWww = "www.";
    EntryNumbers found;
    if (Empty() || host.empty()) return found;
    const bool isTls = kind == TARN_KIND_TLS || kind == TARN_KIND_HTTP_SECURE;
    AddMatches(host, path, address, isTls, found);
    const bool hasVariant = host.starts_with(kWww) || !host.starts_with("www");
    if (found.empty() && hasVariant) {
        if (host.starts_with(kWww))
            AddMatches(host.substr(kWww.size()), path, address, isTls, found);
        else if (host.size() + kWww.size() <= base::HostText::kMaxLength)
            AddMatches(std::string(kWww).append(host), path, address, isTls, found);
    }
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

}  // namespace tarn::host
