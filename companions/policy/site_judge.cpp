#include "policy/site_judge.h"

#include <algorithm>
#include <optional>

#include "base/byte_reader.h"
#include "base/text.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

bool LooksLikeIpv4(std::string_view host) {
    return host.find_first_not_of("0123456789.") == std::string_view::npos;
}

// The local TCP port of an Ethernet II frame that carries IPv4.
std::optional<std::uint16_t> LocalPort(std::span<const std::uint8_t> frame, bool inbound) {
    base::ByteReader reader(frame);
    std::uint16_t etherType = 0;
    std::uint8_t version = 0;
    std::uint8_t protocol = 0;
    if (!reader.Skip(12) || !reader.Be(etherType) || etherType != 0x0800 || !reader.Be(version)) return std::nullopt;
    if (!reader.Skip(8) || !reader.Be(protocol) || protocol != 6) return std::nullopt;
    base::ByteReader tcp(frame);
    std::uint16_t source = 0;
    std::uint16_t destination = 0;
    if (!tcp.Skip(14 + std::size_t{4} * (version & 0xFU)) || !tcp.Be(source) || !tcp.Be(destination))
        return std::nullopt;
    return inbound ? destination : source;
}

}  // namespace

SiteAddress SplitSiteAddress(std::string_view text) {
    if (const std::size_t scheme = text.find("://"); scheme != std::string_view::npos) text.remove_prefix(scheme + 3);
    text = text.substr(0, text.find_first_of("?#"));
    const std::size_t slash = std::min(text.find('/'), text.size());
    std::string_view host = text.substr(0, slash);
    if (!host.starts_with('[')) host = host.substr(0, host.find(':'));
    while (host.ends_with('.')) host.remove_suffix(1);
    return {LowerCase(host), LowerCase(text.substr(slash))};
}

CategoryIndex::CategoryIndex(const std::vector<CategorisedSite>& sites) {
    for (const CategorisedSite& site : sites) {
        SiteAddress address = SplitSiteAddress(site.address);
        places_[address.host].push_back({std::move(address.path), site.categories});
    }
    for (auto& [host, places] : places_)
        std::stable_sort(places.begin(), places.end(),
                         [](const Place& a, const Place& b) { return a.path.size() > b.path.size(); });
}

std::span<const std::uint16_t> CategoryIndex::Find(std::string_view hostOrUrl) const {
    const SiteAddress address = SplitSiteAddress(hostOrUrl);
    std::string host = address.host;
    while (!host.empty()) {
        if (const auto found = places_.find(host); found != places_.end())
            for (const Place& place : found->second)
                if (address.path.starts_with(place.path)) return place.categories;
        const std::size_t dot = LooksLikeIpv4(host) ? std::string::npos : host.find('.');
        if (dot == std::string::npos) break;
        host.erase(0, dot + 1);
    }
    return {};
}

bool MatchesPattern(std::string_view text, std::string_view pattern) {
    if (pattern.empty()) return false;
    if (pattern.find('*') == std::string_view::npos)
        return base::FindIgnoringCase(text, pattern) != std::string_view::npos;
    // Greedy from the left: each part behind a "*" at its first place; the last part at the end.
    bool first = true;
    while (true) {
        const std::size_t star = pattern.find('*');
        const std::string_view part = pattern.substr(0, star);
        if (star == std::string_view::npos) {
            return text.size() >= part.size() && base::EqualIgnoringCase(text.substr(text.size() - part.size()), part);
        }
        std::size_t at = 0;
        if (!part.empty()) at = base::FindIgnoringCase(text, part);
        if (at == std::string_view::npos || (first && at != 0)) return false;
        text.remove_prefix(at + part.size());
        pattern.remove_prefix(star + 1);
        first = false;
    }
}

const PacketSignature* FindSignature(const std::vector<PacketSignature>& signatures,
                                     std::span<const std::uint8_t> frame, bool inbound) {
    const auto port = LocalPort(frame, inbound);
    for (const PacketSignature& signature : signatures) {
        if (signature.port != 0 && port != signature.port) continue;
        const auto at = std::search(frame.begin(), frame.end(), signature.bytes.begin(), signature.bytes.end());
        if (!signature.bytes.empty() && at != frame.end()) return &signature;
    }
    return nullptr;
}

}  // namespace tarn::policy
