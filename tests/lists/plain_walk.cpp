#include "lists/plain_walk.h"

#include <cstring>

#include "base/hash.h"
#include "base/text.h"
#include "network/ip_address.h"

namespace tarn::lists::plain {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

std::string_view Field(const char* field, std::size_t capacity) {
    return {field, strnlen(field, capacity - 1)};
}

std::string_view CutSlash(std::string_view text) {
    return text.ends_with('/') ? text.substr(0, text.size() - 1) : text;
}

bool IsEndOr(std::string_view text, std::size_t at, std::string_view others) {
    return at == text.size() || others.find(text[at]) != kNone;
}

bool PathListHolds(const PathListNode* node, std::string_view path) {
    for (; node != nullptr; node = node->next) {
        const std::string_view text = Field(node->path, sizeof node->path);
        if (path.starts_with(text) && (IsEndOr(path, text.size(), "/") || text.ends_with('/'))) return true;
    }
    return false;
}

// The first entry of this hash by bisection; the count when there is none. The first and the last hash tell the order.
template <class Entry>
std::size_t FirstOfHash(std::span<const Entry> entries, std::uint32_t hash) {
    if (entries.empty()) return 0;
    const bool descending = entries.front().hash > entries.back().hash;
    std::size_t low = 0;
    std::size_t high = entries.size();
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (entries[middle].hash == hash) {
            std::size_t first = middle;
            while (first > 0 && entries[first - 1].hash == hash) --first;
            return first;
        }
        if ((entries[middle].hash < hash) != descending)
            low = middle + 1;
        else
            high = middle;
    }
    return entries.size();
}

bool HostListHolds(const std::vector<std::uint32_t>& hashes, std::string_view host, std::string_view path,
                   std::uint8_t mode, std::span<const parental::HostListEntry> hosts) {
    for (std::size_t i = 0; i < hashes.size(); ++i) {
        for (std::size_t at = FirstOfHash(hosts, hashes[i]); at < hosts.size() && hosts[at].hash == hashes[i]; ++at) {
            const parental::HostListEntry& entry = hosts[at];
            if (entry.text == nullptr || entry.text[0] == '\0') continue;
            const std::string_view text = entry.text;
            const std::size_t found = host.find(text);
            if (found == kNone) continue;
            if (found != 0 && host[found - 1] != '/' && host[found - 1] != '.') continue;
            if (!IsEndOr(host, found + text.size(), "/:")) continue;
            if (entry.wholeDomain == 1) return true;
            if (i != 0) continue;
            if (entry.kind == 2 && mode == 3) return true;
            if (entry.exactHost == 1 && entry.kind != 2) return true;
            if (mode != 3 && entry.kind != 2 && PathListHolds(entry.paths, path)) return true;
        }
    }
    return false;
}

// What stands before the port of a host that has one.
std::string_view CutPort(std::string_view host) {
    if (!host.starts_with('[')) return host.substr(0, host.find_first_of(":/"));
    const std::size_t bracket = host.find(']');
    return bracket == kNone ? host : host.substr(0, bracket + 1);
}

}  // namespace

bool MatchUrlList(std::string_view url, const UrlListRecord& record) {
    for (std::uint32_t i = 0; record.entries != nullptr && i < record.count; ++i) {
        const std::string_view entry = CutSlash(Field(record.entries[i], TARN_URL_CAPACITY));
        if (entry.empty()) continue;
        std::size_t end = 0;
        if (entry.front() == '*') {
            const std::size_t at = base::FindIgnoringCase(url, entry.substr(1));
            if (at == kNone) continue;
            end = at + entry.size() - 1;
        } else {
            if (!base::StartsWithIgnoringCase(url, entry)) continue;
            end = entry.size();
        }
        if (IsEndOr(url, end, "/?#")) return true;
    }
    return false;
}

bool MatchPrefixWhiteList(std::string_view hostAndPath, const UrlListRecord& record) {
    for (std::uint32_t i = 0; record.entries != nullptr && i < record.count; ++i) {
        const std::string_view entry = CutSlash(Field(record.entries[i], TARN_URL_CAPACITY));
        if (!entry.empty() && base::StartsWithIgnoringCase(hostAndPath, entry) &&
            IsEndOr(hostAndPath, entry.size(), "/"))
            return true;
    }
    return false;
}

bool IsDomainOrSubdomain(std::string_view host, std::string_view pattern, std::uint8_t allowSubdomain) {
    const std::size_t at = base::FindIgnoringCase(host, pattern);
    if (at == kNone) return false;
    if (at == 0) return true;
    if (pattern.size() > host.size() || allowSubdomain != 1) return false;
    return at + pattern.size() == host.size() && (host[at - 1] == '.' || pattern.front() == '.');
}

namespace {

template <class PathBehind>
bool MatchUserList(std::string_view host, std::uint8_t mode, const UserUrlList& record, PathBehind pathBehind) {
    const UserUrlEntry* entry = record.first;
    for (std::uint32_t i = 0; i < record.count && entry != nullptr; ++i, entry = entry->next) {
        const std::string_view pattern = Field(entry->host, sizeof entry->host);
        if (entry->hostOnly == 1) {
            if (!plain::IsDomainOrSubdomain(host, pattern, entry->includeSubdomains)) continue;
            if (entry->kind != 2 || mode == 3 || mode == 4) return true;
            continue;
        }
        if (!plain::IsDomainOrSubdomain(host, pattern, 0)) continue;
        const std::string_view entryPath = CutSlash(Field(entry->path, sizeof entry->path));
        const std::string_view path = pathBehind(pattern.size());
        if (base::StartsWithIgnoringCase(path, entryPath) && IsEndOr(path, entryPath.size(), "/?#")) return true;
    }
    return false;
}

}  // namespace

bool MatchUserListByHost(std::string_view host, std::string_view path, std::uint8_t mode, const UserUrlList& record) {
    return MatchUserList(host, mode, record, [path](std::size_t) { return path; });
}

bool MatchUserListByUrl(std::string_view url, std::uint8_t mode, const UserUrlList& record) {
    return MatchUserList(url, mode, record, [url](std::size_t length) { return url.substr(length); });
}

bool ComputeLabelHashes(std::string_view host, std::vector<std::uint32_t>& hashes) {
    hashes.clear();
    if (host.empty() || host.front() == '.' || host.back() == '.') return false;
    hashes.push_back(base::Crc32Of(host));
    IpAddressRecord address;
    if (network::ParseIpLiteral(host, address)) return true;
    for (std::size_t i = 0; i < host.size() && hashes.size() < 10; ++i)
        if (host[i] == '.') hashes.push_back(base::Crc32Of(host.substr(i + 1)));
    return true;
}

Lookup MatchHostList(std::string_view host, std::string_view path, const IpAddressRecord& address, std::uint8_t mode,
                     const SiteTables& tables) {
    if (tables.hosts.empty()) return Lookup::kFailed;
    std::vector<std::uint32_t> hashes;
    if (!host.empty()) {
        if (!ComputeLabelHashes(host, hashes)) return Lookup::kFailed;
        if (HostListHolds(hashes, host, path, mode, tables.hosts)) return Lookup::kHit;
    }
    IpAddressRecord literal;
    if (!network::ParseIpLiteral(host, literal)) {
        const std::string_view bare = CutPort(host);
        if (bare.size() != host.size() && ComputeLabelHashes(bare, hashes) &&
            HostListHolds(hashes, host, path, mode, tables.hosts))
            return Lookup::kHit;
        return Lookup::kMiss;
    }
    for (const parental::AddressListEntry& entry : tables.addresses) {
        if (!network::CompareIPAddress(entry.address, address)) continue;
        if (entry.wholeAddress == 2 && mode == 3) return Lookup::kHit;
        if (entry.kind == 1 && entry.wholeAddress != 2) return Lookup::kHit;
        if (mode != 3 && entry.wholeAddress != 2 && PathListHolds(entry.paths, path)) return Lookup::kHit;
        break;
    }
    return Lookup::kMiss;
}

Lookup MatchHostWithWwwVariant(std::string_view host, std::string_view path, const IpAddressRecord& address,
                               std::uint8_t mode, const SiteTables& tables) {
    if (mode == 4) mode = 3;
    if (MatchHostList(host, path, address, mode, tables) == Lookup::kHit) return Lookup::kHit;
    if (host.starts_with("www.")) return MatchHostList(host.substr(4, 259), path, address, mode, tables);
    if (host.starts_with("www")) return Lookup::kMiss;
    const std::string withWww = "www." + std::string(host);
    if (withWww.size() > 259) return Lookup::kFailed;
    return MatchHostList(withWww, path, address, mode, tables);
}

std::optional<std::string> FindMalicious(std::string_view host, std::string_view path, const ThreatSiteList& record) {
    if (record.entries == nullptr) return std::nullopt;
    const std::span<const ThreatSiteEntry> entries(record.entries, record.count);
    const std::uint32_t hash = base::Crc32Of(host);
    const auto isRoot = [](std::string_view text) { return text.empty() || text == "/"; };
    for (std::size_t at = FirstOfHash(entries, hash); at < entries.size() && entries[at].hash == hash; ++at) {
        const ThreatSiteEntry& entry = entries[at];
        if (entry.host == nullptr || host != entry.host) continue;
        if (!isRoot(path)) {
            for (const ThreatNode* node = entry.threats; node != nullptr; node = node->next) {
                const std::string_view listed = Field(node->path, sizeof node->path);
                if (!isRoot(listed) && base::StartsWithIgnoringCase(path, listed) &&
                    (IsEndOr(path, listed.size(), "/?#") || listed.ends_with('/')))
                    return std::string(Field(node->name, sizeof node->name));
            }
        }
        if (entry.wholeSite != 1) continue;
        for (const ThreatNode* node = entry.threats; node != nullptr; node = node->next)
            if (isRoot(Field(node->path, sizeof node->path))) return std::string(Field(node->name, sizeof node->name));
        return "";
    }
    return std::nullopt;
}

bool MatchPhishing(std::string_view host, std::string_view path, const PhishingSiteList& record) {
    if (record.entries == nullptr) return false;
    const std::span<const PhishingSiteEntry> entries(record.entries, record.count);
    const std::uint32_t hash = base::Crc32Of(host);
    for (std::size_t at = FirstOfHash(entries, hash); at < entries.size() && entries[at].hash == hash; ++at) {
        const PhishingSiteEntry& entry = entries[at];
        if (entry.host == nullptr || host != entry.host) continue;
        if (entry.wholeSite == 1 || PathListHolds(entry.paths, path)) return true;
    }
    return false;
}

}  // namespace tarn::lists::plain
