#include "policy/policy_records.h"

#include <algorithm>
#include <cstring>

#include "base/bounded_text.h"
#include "base/hash.h"
#include "policy/record_memory.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

template <std::size_t N>
void Put(char (&field)[N], std::string_view text) {
    base::CopyText(field, N, text);
}

// A chain of nodes in the order of items; fill writes one. False leaves what was made for the release.
template <class Node, class Items, class Fill>
bool BuildChain(const Items& items, Node*& first, Fill&& fill) {
    Node* last = nullptr;
    for (const auto& item : items) {
        Node* node = AllocateArray<Node>(1);
        if (node == nullptr) return false;
        fill(item, *node);
        if (last == nullptr)
            first = node;
        else
            last->next = node;
        last = node;
    }
    return true;
}

template <class Node>
void ReleaseChain(Node* node) {
    while (node != nullptr) {
        Node* next = node->next;
        ReleaseBlock(node);
        node = next;
    }
}

// A node that the sites of a list share has no path, and counts them in the last bytes of that field.
std::uint32_t CountSharers(ThreatNode& node, std::int32_t more) {
    char* const place = node.path + sizeof node.path - sizeof(std::uint32_t);
    std::uint32_t count = 0;
    std::memcpy(&count, place, sizeof count);
    count += static_cast<std::uint32_t>(more);
    std::memcpy(place, &count, sizeof count);
    return count;
}
bool IsShared(ThreatNode& node) {
    return node.path[0] == '\0' && CountSharers(node, 0) != 0;
}

// What a site of a list is called; empty for any other.
std::string_view ThreatOfList(const Policy& policy, const MaliciousSite& site) {
    if (!site.threats.empty() || site.place.file >= policy.listThreats.size()) return {};
    return policy.listThreats[site.place.file];
}

template <class Site>
struct HashedSite {
    std::uint32_t hash;  // CRC-32 of the host
    const Site* site;
};

// In ascending order of their hashes, as the lists want them.
template <class Site>
std::vector<HashedSite<Site>> ByHash(const std::vector<Site>& sites) {
    std::vector<HashedSite<Site>> order;
    order.reserve(sites.size());
    for (const Site& site : sites) order.push_back({base::Crc32Of(site.host), &site});
    std::stable_sort(order.begin(), order.end(),
                     [](const HashedSite<Site>& a, const HashedSite<Site>& b) { return a.hash < b.hash; });
    return order;
}

// The entries of such a list and, behind them, their hosts: one block, for a million small ones take their time.
template <class Entry, class Site>
class EntriesWithHosts {
 public:
    explicit EntriesWithHosts(const std::vector<HashedSite<Site>>& order) {
        std::size_t size = order.size() * sizeof(Entry);
        for (const HashedSite<Site>& one : order) size += one.site->host.size() + 1;
        entries_ = reinterpret_cast<Entry*>(AllocateBlock(1, size));
        next_ = reinterpret_cast<char*>(entries_ + (entries_ != nullptr ? order.size() : 0));
    }
    // Null without memory.
    [[nodiscard]] Entry* Entries() const { return entries_; }
    // Each host once, in the order of the entries.
    char* Copy(const std::string& host) {
        char* const copy = next_;
        std::memcpy(copy, host.c_str(), host.size() + 1);
        next_ += host.size() + 1;
        return copy;
    }

 private:
    Entry* entries_;
    char* next_;
};

}  // namespace

bool BuildUrlList(const std::vector<ListedText>& entries, UrlListRecord& record) {
    record = {};
    if (entries.empty()) return true;
    record.entries = reinterpret_cast<char(*)[TARN_URL_CAPACITY]>(AllocateBlock(entries.size(), TARN_URL_CAPACITY));
    if (record.entries == nullptr) return false;
    record.count = static_cast<std::uint32_t>(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) Put(record.entries[i], entries[i].text);
    return true;
}

void ReleaseUrlList(UrlListRecord& record) {
    ReleaseBlock(record.entries);
    record = {};
}

bool BuildThreatSites(const Policy& policy, ThreatSiteList& record) {
    record = {};
    const auto order = ByHash(policy.maliciousSites);
    if (order.empty()) return true;
    EntriesWithHosts<ThreatSiteEntry, MaliciousSite> room(order);
    record.entries = room.Entries();
    bool complete = record.entries != nullptr;
    std::vector<ThreatNode*> shared(policy.listThreats.size());  // by list: a million sites need not have each its own
    for (std::size_t i = 0; complete && i < order.size(); ++i) {
        const MaliciousSite& site = *order[i].site;
        ThreatSiteEntry& entry = record.entries[record.count++];
        entry.wholeSite = site.wholeSite ? 1 : 0;
        entry.hash = order[i].hash;
        entry.host = room.Copy(site.host);
        ThreatNode* threats = nullptr;
        complete = BuildChain(site.threats, threats, [](const Threat& threat, ThreatNode& node) {
            Put(node.name, threat.name);
            Put(node.path, threat.path);
        });
        if (const std::string_view name = ThreatOfList(policy, site); complete && !name.empty()) {
            ThreatNode*& node = shared[site.place.file];
            if (node == nullptr) {
                node = AllocateArray<ThreatNode>(1);
                if (node != nullptr) Put(node->name, name);
            }
            complete = node != nullptr;
            if (complete) CountSharers(*node, 1);
            threats = node;
        }
        entry.threats = threats;
    }
    if (!complete) ReleaseThreatSites(record);
    return complete;
}

void ReleaseThreatSites(ThreatSiteList& record) {
    for (std::uint32_t i = 0; record.entries != nullptr && i < record.count; ++i) {
        ThreatNode* threats = record.entries[i].threats;
        if (threats == nullptr || !IsShared(*threats) || CountSharers(*threats, -1) == 0)
            ReleaseChain<ThreatNode>(threats);
    }
    ReleaseBlock(record.entries);
    record = {};
}

bool BuildPhishingSites(const Policy& policy, PhishingSiteList& record) {
    record = {};
    const auto order = ByHash(policy.phishingSites);
    if (order.empty()) return true;
    EntriesWithHosts<PhishingSiteEntry, PhishingSite> room(order);
    record.entries = room.Entries();
    bool complete = record.entries != nullptr;
    for (std::size_t i = 0; complete && i < order.size(); ++i) {
        const PhishingSite& site = *order[i].site;
        PhishingSiteEntry& entry = record.entries[record.count++];
        entry.wholeSite = site.wholeSite ? 1 : 0;
        entry.hash = order[i].hash;
        entry.host = room.Copy(site.host);
        PathListNode* paths = nullptr;
        complete = BuildChain(site.paths, paths,
                              [](const ListedText& path, PathListNode& node) { Put(node.path, path.text); });
        entry.paths = paths;
    }
    if (!complete) ReleasePhishingSites(record);
    return complete;
}

void ReleasePhishingSites(PhishingSiteList& record) {
    for (std::uint32_t i = 0; record.entries != nullptr && i < record.count; ++i)
        ReleaseChain<PathListNode>(record.entries[i].paths);
    ReleaseBlock(record.entries);
    record = {};
}

bool BuildIdsRules(const Policy& policy, IdsSettingsRecord& record) {
    record = {};
    if (policy.idsRules.empty()) return true;
    record.rules = AllocateArray<IdsRule>(policy.idsRules.size());
    bool complete = record.rules != nullptr;
    for (std::size_t i = 0; complete && i < policy.idsRules.size(); ++i) {
        const IdsRuleText& text = policy.idsRules[i];
        IdsRule& rule = record.rules[record.ruleCount++];
        rule.id = text.id;
        rule.excluded = text.excluded ? 1 : 0;
        base::StoreField<50>(&rule.name, Utf16(text.name));
        base::StoreField<150>(&rule.description, Utf16(text.description));
        base::StoreField<400>(&rule.details, Utf16(text.details));
        rule.systemCount = static_cast<std::uint8_t>(text.systems.size());
        rule.systems = AllocateArray<std::uint8_t>(2 * text.systems.size());
        complete = text.systems.empty() || rule.systems != nullptr;
        for (std::size_t k = 0; complete && k < text.systems.size(); ++k) rule.systems[2 * k] = text.systems[k];
    }
    if (!complete) ReleaseIdsRules(record);
    return complete;
}

void ReleaseIdsRules(IdsSettingsRecord& record) {
    for (std::uint32_t i = 0; record.rules != nullptr && i < record.ruleCount; ++i)
        ReleaseBlock(record.rules[i].systems);
    ReleaseBlock(record.rules);
    record = {};
}

namespace {

bool BuildCategoryList(const std::vector<std::uint16_t>& categories, CategoryList& list) {
    list.categories = AllocateArray<std::uint16_t>(categories.size());
    if (categories.empty()) return true;
    if (list.categories == nullptr) return false;
    std::memcpy(list.categories, categories.data(), categories.size() * sizeof(std::uint16_t));
    list.count = static_cast<std::uint32_t>(categories.size());
    return true;
}

bool BuildAllowedSites(const std::vector<ParentalAllowedSite>& sites, UserUrlList& list) {
    UserUrlEntry* first = nullptr;
    const bool complete = BuildChain(sites, first, [](const ParentalAllowedSite& site, UserUrlEntry& entry) {
        Put(entry.host, LowerCase(site.host));
        Put(entry.path, site.path);
        entry.hostOnly = site.path.empty() ? 1 : 0;
        entry.kind = site.kind;
        entry.includeSubdomains = site.subdomains ? 1 : 0;
    });
    list.first = first;
    list.count = static_cast<std::uint32_t>(sites.size());
    return complete;
}

bool BuildSiteRules(const std::vector<ParentalSiteRule>& rules, PcUserEntryRecord& entry) {
    bool complete = true;
    SiteRule* first = nullptr;
    complete = BuildChain(rules, first,
                          [&](const ParentalSiteRule& rule, SiteRule& node) {
                              Put(node.host, rule.host);
                              Put(node.path, rule.path);
                              node.flag = rule.flag;
                              node.kind = rule.kind;
                              node.extra = rule.subdomains;
                              node.addresses = AllocateArray<IpAddressRecord>(rule.addresses.size());
                              if (node.addresses == nullptr) {
                                  complete = complete && rule.addresses.empty();
                                  return;
                              }
                              node.addressCount = static_cast<std::uint32_t>(rule.addresses.size());
                              std::memcpy(node.addresses, rule.addresses.data(),
                                          rule.addresses.size() * sizeof(IpAddressRecord));
                          }) &&
               complete;
    entry.siteRules = first;
    return complete;
}

void BuildLeading(const ParentalUser& user, PcUserLeading& leading) {
    std::memcpy(leading.sid, user.sid.data(), user.sid.size());
    leading.profileSwitch = user.profile ? 1 : 0;
    leading.blockListSwitch = user.blockList ? 1 : 0;
    leading.categorySwitch = user.categories ? 1 : 0;
    leading.scheduleSwitch = user.schedule ? 1 : 0;
    leading.controlled = user.controlled ? 1 : 0;
    leading.exempt = user.exempt ? 1 : 0;
    leading.scheduleMode = user.hourGrid ? 1 : 0;
    for (std::size_t day = 0; day < 7; ++day) {
        for (std::size_t hour = 0; hour < 24; ++hour) leading.hourGrid[hour * 7 + day] = user.hours[day][hour] ? 1 : 0;
        leading.dailyAllowance[day] = user.allowance[day];
    }
}

bool BuildUser(const ParentalUser& user, PcUserEntryRecord& entry) {
    BuildLeading(user, entry.leading);
    bool complete = true;
    for (std::size_t day = 0; day < 7; ++day) {
        const std::vector<TimeRange>& ranges = user.times[day];
        entry.schedule[day].ranges = AllocateArray<TimeRange>(ranges.size());
        if (entry.schedule[day].ranges == nullptr) {
            complete = complete && ranges.empty();
            continue;
        }
        std::memcpy(entry.schedule[day].ranges, ranges.data(), ranges.size() * sizeof(TimeRange));
        entry.schedule[day].count = static_cast<std::uint32_t>(ranges.size());
    }
    complete = BuildCategoryList(user.blockedCategories, entry.blockedCategories) && complete;
    complete = BuildSiteRules(user.siteRules, entry) && complete;
    complete = BuildAllowedSites(user.allowedSites, entry.allowedSites) && complete;
    return BuildAllowedSites(user.scheduleAllowedSites, entry.scheduleAllowedSites) && complete;
}

}  // namespace

bool BuildParental(const Policy& policy, PcSettingsRecord& record) {
    record = {};
    record.mode = policy.parental.mode;
    record.prompt = policy.parental.prompt;
    record.strictness = policy.parental.strictness;
    // A policy without parental control delivers no entries.
    if (policy.parental.mode == TARN_PC_ABSENT || policy.parental.users.empty()) return true;
    record.entries = AllocateArray<PcUserEntryRecord>(policy.parental.users.size());
    bool complete = record.entries != nullptr;
    for (std::size_t i = 0; complete && i < policy.parental.users.size(); ++i)
        complete = BuildUser(policy.parental.users[i], record.entries[record.entryCount++]);
    if (!complete) ReleaseParental(record);
    return complete;
}

void ReleaseParental(PcSettingsRecord& record) {
    for (std::uint32_t i = 0; record.entries != nullptr && i < record.entryCount; ++i) {
        PcUserEntryRecord& entry = record.entries[i];
        for (DaySchedule& day : entry.schedule) ReleaseBlock(day.ranges);
        ReleaseBlock(entry.blockedCategories.categories);
        for (SiteRule* rule = entry.siteRules; rule != nullptr; rule = rule->next) ReleaseBlock(rule->addresses);
        ReleaseChain<SiteRule>(entry.siteRules);
        ReleaseChain<UserUrlEntry>(entry.allowedSites.first);
        ReleaseChain<UserUrlEntry>(entry.scheduleAllowedSites.first);
    }
    ReleaseBlock(record.entries);
    record = {};
}

}  // namespace tarn::policy
