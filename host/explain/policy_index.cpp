#include "host/explain/policy_index.h"

#include <algorithm>

#include "base/text.h"

namespace tarn::host {

namespace {

// The sites with their own numbers in the place of their categories: the companion's index then tells which counts.
std::vector<policy::CategorisedSite> Numbered(const std::vector<policy::CategorisedSite>& sites) {
    std::vector<policy::CategorisedSite> numbered(sites.size());
    for (std::size_t i = 0; i < sites.size(); ++i) {
        numbered[i].address = sites[i].address;
        numbered[i].categories = {static_cast<std::uint16_t>(i & 0xFFFF), static_cast<std::uint16_t>(i >> 16)};
    }
    return numbered;
}

bool IsRoot(std::string_view path) {
    return path.empty() || path == "/";
}

}  // namespace

PolicyIndex::PolicyIndex(policy::Policy policy)
    : PolicyIndex(std::make_shared<const policy::Policy>(std::move(policy))) {}

PolicyIndex::PolicyIndex(std::shared_ptr<const policy::Policy> policy)
    : shared_(std::move(policy)),
      policy_(*shared_),
      webSecurity_(policy_.whiteLists.webSecurity, true),
      browsingProtection_(policy_.whiteLists.browsingProtection, true),
      userWhiteList_(policy_.whiteLists.user, false),
      sites_(Numbered(policy_.sites)) {
    for (std::uint32_t i = 0; i < policy_.maliciousSites.size(); ++i)
        malicious_.try_emplace(policy_.maliciousSites[i].host, i);
    for (std::uint32_t i = 0; i < policy_.phishingSites.size(); ++i)
        phishing_.try_emplace(policy_.phishingSites[i].host, i);
    for (std::uint32_t i = 0; i < policy_.inspectedHosts.size(); ++i)
        inspected_[base::Lowered(policy_.inspectedHosts[i].text)].push_back(i);
    users_.reserve(policy_.parental.users.size());
    for (const policy::ParentalUser& user : policy_.parental.users) users_.emplace_back(user);
}

std::vector<EntryRef> PolicyIndex::FindMalicious(std::string_view host, std::string_view path) const {
    if (host.starts_with("www.")) host.remove_prefix(4);
    const auto found = malicious_.find(host);
    if (found == malicious_.end()) return {};
    const policy::MaliciousSite& site = policy_.maliciousSites[found->second];
    if (site.wholeSite) return {{PolicyList::kMaliciousSites, found->second}};
    std::vector<EntryRef> threats;
    for (std::uint32_t i = 0; i < site.threats.size() && !IsRoot(path); ++i) {
        const std::string listed = base::Lowered(site.threats[i].path);
        if (!IsRoot(listed) && path.starts_with(listed) &&
            (EndsPathAt(path, listed.size()) || EndsPartAt(path, listed.size())))
            threats.push_back({PolicyList::kThreats, found->second, i});
    }
    return threats;
}

std::vector<EntryRef> PolicyIndex::FindPhishing(std::string_view host, std::string_view path) const {
    const auto found = phishing_.find(host);
    if (found == phishing_.end()) return {};
    const policy::PhishingSite& site = policy_.phishingSites[found->second];
    if (site.wholeSite) return {{PolicyList::kPhishingSites, found->second}};
    std::vector<EntryRef> paths;
    for (std::uint32_t i = 0; i < site.paths.size(); ++i) {
        const std::string& listed = site.paths[i].text;
        if (path.starts_with(listed) && EndsPathAt(path, listed.size()))
            paths.push_back({PolicyList::kPhishingPaths, found->second, i});
    }
    return paths;
}

std::optional<std::uint32_t> PolicyIndex::FindSite(std::string_view hostOrUrl) const {
    const auto number = sites_.Find(hostOrUrl);
    if (number.size() != 2) return std::nullopt;
    return static_cast<std::uint32_t>(number[0] | number[1] << 16);
}

std::vector<std::uint16_t> Considered(const policy::Policy& policy, std::uint32_t site) {
    std::vector<std::uint16_t> categories = policy.sites[site].categories;
    std::size_t limit = categories.size();
    if (policy.parental.strictness == TARN_STRICTNESS_FIRST_ONE) limit = 1;
    if (policy.parental.strictness == TARN_STRICTNESS_FIRST_TWO) limit = 2;
    if (policy.parental.strictness == TARN_STRICTNESS_FIRST_THREE) limit = 3;
    categories.resize(std::min(limit, categories.size()));
    return categories;
}

EntryNumbers PolicyIndex::FindPatterns(std::string_view hostAndPath) const {
    EntryNumbers found;
    for (std::uint32_t i = 0; i < policy_.maliciousPatterns.size(); ++i)
        if (policy::MatchesPattern(hostAndPath, policy_.maliciousPatterns[i].text)) found.push_back(i);
    return found;
}

EntryNumbers PolicyIndex::FindInspected(std::string_view host) const {
    const auto found = inspected_.find(base::Lowered(host));
    return found == inspected_.end() ? EntryNumbers() : found->second;
}

}  // namespace tarn::host
