#include "host/report/policy_entries.h"

#include <map>
#include <string>
#include <utility>

#include "host/explain/policy_entry.h"

namespace tarn::host::report {

namespace {

class Collector {
 public:
    explicit Collector(const policy::Policy& policy) : policy_(policy) {}

    void All(PolicyList list, std::size_t count, std::size_t user = 0) {
        for (std::size_t i = 0; i < count; ++i) One(list, i, 0, user);
    }
    void One(PolicyList list, std::size_t number, std::size_t inner, std::size_t user) {
        entries_.push_back(Describe(policy_, {list, static_cast<std::uint32_t>(number),
                                              static_cast<std::uint32_t>(inner), static_cast<std::uint32_t>(user)}));
    }

    std::vector<DecidingEntry> Take() { return std::move(entries_); }

 private:
    const policy::Policy& policy_;
    std::vector<DecidingEntry> entries_;
};

void CollectThreats(const policy::Policy& policy, Collector& to) {
    for (std::size_t i = 0; i < policy.maliciousSites.size(); ++i) {
        const policy::MaliciousSite& site = policy.maliciousSites[i];
        if (site.wholeSite) to.One(PolicyList::kMaliciousSites, i, 0, 0);
        for (std::size_t k = 0; k < site.threats.size(); ++k)
            if (!site.threats[k].path.empty()) to.One(PolicyList::kThreats, i, k, 0);
    }
    for (std::size_t i = 0; i < policy.phishingSites.size(); ++i) {
        const policy::PhishingSite& site = policy.phishingSites[i];
        if (site.wholeSite) to.One(PolicyList::kPhishingSites, i, 0, 0);
        for (std::size_t k = 0; k < site.paths.size(); ++k) to.One(PolicyList::kPhishingPaths, i, k, 0);
    }
}

void CollectUsers(const policy::Policy& policy, Collector& to) {
    for (std::size_t i = 0; i < policy.parental.users.size(); ++i) {
        const policy::ParentalUser& user = policy.parental.users[i];
        to.All(PolicyList::kBlockedSites, user.siteRules.size(), i);
        to.All(PolicyList::kAllowedSites, user.allowedSites.size(), i);
        to.All(PolicyList::kScheduleAllowedSites, user.scheduleAllowedSites.size(), i);
        if (user.schedule) to.One(PolicyList::kSchedule, 0, 0, i);
    }
}

}  // namespace

std::vector<DecidingEntry> EntriesOf(const policy::Policy& policy) {
    Collector to(policy);
    to.All(PolicyList::kWebSecurity, policy.whiteLists.webSecurity.size());
    to.All(PolicyList::kBrowsingProtection, policy.whiteLists.browsingProtection.size());
    to.All(PolicyList::kUserWhiteList, policy.whiteLists.user.size());
    CollectThreats(policy, to);
    to.All(PolicyList::kSites, policy.sites.size());
    to.All(PolicyList::kPatterns, policy.maliciousPatterns.size());
    to.All(PolicyList::kInspectedHosts, policy.inspectedHosts.size());
    CollectUsers(policy, to);
    to.All(PolicyList::kPacketSignatures, policy.packetSignatures.size());
    for (std::size_t i = 0; i < policy.idsRules.size(); ++i)
        if (policy.idsRules[i].excluded) to.One(PolicyList::kIdsRules, i, 0, 0);  // others give texts alone
    return to.Take();
}

std::vector<DecidingEntry> NeverDecided(const std::vector<DecidingEntry>& all,
                                        const std::vector<DecidingEntry>& decided) {
    // A threat without a path is the site as a whole.
    const auto keyOf = [](const DecidingEntry& entry) {
        return std::pair(
            entry.list == KeyOf(PolicyList::kThreats) ? std::string(KeyOf(PolicyList::kMaliciousSites)) : entry.list,
            entry.text);
    };
    std::multimap<std::pair<std::string, std::string>, std::size_t> byKey;
    for (std::size_t i = 0; i < all.size(); ++i) byKey.emplace(keyOf(all[i]), i);
    std::vector<bool> hasDecided(all.size(), false);
    for (const DecidingEntry& entry : decided) {
        const auto [begin, end] = byKey.equal_range(keyOf(entry));
        bool isLineKnown = false;
        for (auto at = begin; at != end; ++at) isLineKnown = isLineKnown || all[at->second].line == entry.line;
        for (auto at = begin; at != end; ++at)
            if (!isLineKnown || all[at->second].line == entry.line) hasDecided[at->second] = true;
    }
    std::vector<DecidingEntry> never;
    for (std::size_t i = 0; i < all.size(); ++i)
        if (!hasDecided[i]) never.push_back(all[i]);
    return never;
}

}  // namespace tarn::host::report
