// Every list look-up as a plain walk over the raw records: slow, obvious, and what the published forms must agree with.
// Only tests and benchmarks use it.
#ifndef TARN_TESTS_LISTS_PLAIN_WALK_H
#define TARN_TESTS_LISTS_PLAIN_WALK_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "lists/blocked_sites.h"
#include "parental/site_entries.h"

namespace tarn::lists::plain {

bool MatchUrlList(std::string_view url, const UrlListRecord& record);
bool MatchPrefixWhiteList(std::string_view hostAndPath, const UrlListRecord& record);

bool IsDomainOrSubdomain(std::string_view host, std::string_view pattern, std::uint8_t allowSubdomain);
bool MatchUserListByHost(std::string_view host, std::string_view path, std::uint8_t mode, const UserUrlList& record);
bool MatchUserListByUrl(std::string_view url, std::uint8_t mode, const UserUrlList& record);

bool ComputeLabelHashes(std::string_view host, std::vector<std::uint32_t>& hashes);

struct SiteTables {
    std::span<const parental::HostListEntry> hosts;  // ascending or descending by hash
    std::span<const parental::AddressListEntry> addresses;
};
Lookup MatchHostList(std::string_view host, std::string_view path, const IpAddressRecord& address, std::uint8_t mode,
                     const SiteTables& tables);
Lookup MatchHostWithWwwVariant(std::string_view host, std::string_view path, const IpAddressRecord& address,
                               std::uint8_t mode, const SiteTables& tables);

// The two lists are ascending or descending by hash.
std::optional<std::string> FindMalicious(std::string_view host, std::string_view path, const ThreatSiteList& record);
bool MatchPhishing(std::string_view host, std::string_view path, const PhishingSiteList& record);

}  // namespace tarn::lists::plain

#endif
