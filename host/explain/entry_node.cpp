#include "host/explain/entry_node.h"

namespace tarn::host {

namespace {

// Where a list of the policy stands in the tree, and how many of its entries stand on the same line in front.
struct Spot {
    const toml::array* array = nullptr;
    std::uint32_t line = 0;
    std::uint32_t skip = 0;
};

template <class Items>
std::uint32_t CountOnLine(const Items& items, std::uint32_t number) {
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < number; ++i)
        if (items[i].place.file == items[number].place.file && items[i].place.line == items[number].place.line) ++count;
    return count;
}

const toml::node* NodeAt(const Spot& spot) {
    if (spot.array == nullptr) return nullptr;
    std::uint32_t skip = spot.skip;
    for (const toml::node& node : *spot.array)
        if (node.source().begin.line == spot.line && skip-- == 0) return &node;
    return nullptr;
}

template <class Items>
Spot SpotOf(const toml::array* array, const Items& items, std::uint32_t number) {
    return {array, items[number].place.line, CountOnLine(items, number)};
}

const toml::table* TableAt(const Spot& spot) {
    const toml::node* const node = NodeAt(spot);
    return node == nullptr ? nullptr : node->as_table();
}

const toml::array* ArrayIn(const toml::table* table, std::string_view key) {
    return table == nullptr ? nullptr : table->get_as<toml::array>(key);
}

}  // namespace

const toml::node* FindNode(const toml::table& root, const policy::Policy& policy, const EntryRef& entry) {
    const toml::table* const white = root.get_as<toml::table>("white_lists");
    const auto user = [&] {
        return TableAt(
            SpotOf(ArrayIn(root.get_as<toml::table>("parental"), "users"), policy.parental.users, entry.user));
    };
    const auto top = [&](const char* key, const auto& items) {
        return SpotOf(root.get_as<toml::array>(key), items, entry.number);
    };
    const auto ofUser = [&](const char* key, const auto& items) {
        return NodeAt(SpotOf(ArrayIn(user(), key), items, entry.number));
    };
    switch (entry.list) {
        case PolicyList::kWebSecurity:
            return NodeAt(SpotOf(ArrayIn(white, "web_security"), policy.whiteLists.webSecurity, entry.number));
        case PolicyList::kBrowsingProtection:
            return NodeAt(
                SpotOf(ArrayIn(white, "browsing_protection"), policy.whiteLists.browsingProtection, entry.number));
        case PolicyList::kUserWhiteList:
            return NodeAt(SpotOf(ArrayIn(white, "user"), policy.whiteLists.user, entry.number));
        case PolicyList::kMaliciousSites:
            return NodeAt(top("malicious_sites", policy.maliciousSites));
        case PolicyList::kThreats:
            return NodeAt(SpotOf(ArrayIn(TableAt(top("malicious_sites", policy.maliciousSites)), "threats"),
                                 policy.maliciousSites[entry.number].threats, entry.inner));
        case PolicyList::kPhishingSites:
            return NodeAt(top("phishing_sites", policy.phishingSites));
        case PolicyList::kPhishingPaths:
            return NodeAt(SpotOf(ArrayIn(TableAt(top("phishing_sites", policy.phishingSites)), "paths"),
                                 policy.phishingSites[entry.number].paths, entry.inner));
        case PolicyList::kSites:
            return NodeAt(top("sites", policy.sites));
        case PolicyList::kPatterns:
            return NodeAt(top("malicious_patterns", policy.maliciousPatterns));
        case PolicyList::kInspectedHosts:
            return NodeAt(SpotOf(ArrayIn(root.get_as<toml::table>("https_inspection"), "blocked_hosts"),
                                 policy.inspectedHosts, entry.number));
        case PolicyList::kAllowedSites:
            return ofUser("allowed_sites", policy.parental.users[entry.user].allowedSites);
        case PolicyList::kScheduleAllowedSites:
            return ofUser("schedule_allowed_sites", policy.parental.users[entry.user].scheduleAllowedSites);
        case PolicyList::kBlockedSites:
            return ofUser("blocked_sites", policy.parental.users[entry.user].siteRules);
        case PolicyList::kSchedule: {
            const toml::table* const table = user();
            const toml::table* const schedule = table == nullptr ? nullptr : table->get_as<toml::table>("schedule");
            return schedule == nullptr ? nullptr : schedule->get("on");
        }
        case PolicyList::kPacketSignatures:
        case PolicyList::kIdsRules:
            break;
    }
    return nullptr;
}

}  // namespace tarn::host
