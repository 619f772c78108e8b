#include "host/explain/policy_edit.h"

#include <algorithm>
#include <toml++/toml.h>
#include <vector>

#include "policy/policy_reader.h"

namespace tarn::host {

namespace {

// Where the byte of a line and column stands; columns count characters.
std::size_t OffsetOf(const std::string& text, const toml::source_position& position) {
    std::size_t at = 0;
    for (toml::source_index line = 1; line < position.line; ++line) {
        at = text.find('\n', at);
        if (at == std::string::npos) return text.size();
        ++at;
    }
    const auto isContinued = [&] { return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    for (toml::source_index column = 1; column < position.column && at < text.size(); ++column) {
        ++at;
        while (isContinued()) ++at;
    }
    return at;
}

void Blank(std::string& text, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < std::min(end, text.size()); ++i)
        if (text[i] != '\n' && text[i] != '\r') text[i] = ' ';
}

std::size_t BehindBlanksAndComments(const std::string& text, std::size_t at) {
    while (at < text.size()) {
        if (text[at] == '#')
            at = std::min(text.find('\n', at), text.size());
        else if (text[at] == ' ' || text[at] == '\t' || text[at] == '\r' || text[at] == '\n')
            ++at;
        else
            break;
    }
    return at;
}

// An item of an array, with the comma behind it: one in front of it may stay as the array's last.
void TakeItem(std::string& text, const toml::node& node) {
    const std::size_t begin = OffsetOf(text, node.source().begin);
    const std::size_t end = OffsetOf(text, node.source().end);
    const std::size_t comma = BehindBlanksAndComments(text, end);
    if (comma < text.size() && text[comma] == ',') text[comma] = ' ';
    Blank(text, begin, end);
}

// "parental.users" of a line such as "[[parental.users]]"; empty for any other line.
std::string HeaderOf(std::string_view line) {
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string_view::npos || line[begin] != '[') return {};
    std::string name;
    for (const char c : line.substr(begin, line.find_first_of("]#", begin) - begin))
        if (c != '[' && c != ' ' && c != '\t') name += c;
    return name;
}

// From its header to the next one that is not of a table inside it.
void TakeTable(std::string& text, const toml::node& node) {
    std::size_t at = OffsetOf(text, {node.source().begin.line, 1});
    std::string own;
    while (at < text.size()) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string header = HeaderOf(std::string_view(text).substr(at, end - at));
        if (own.empty())
            own = header;
        else if (!header.empty() && !header.starts_with(own + "."))
            return;
        Blank(text, at, end);
        at = end + 1;
    }
}

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

// Null for what an entry cannot be found by.
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

// Removes the entry from what the policy says: what the edited text must say.
policy::Policy Without(policy::Policy policy, const EntryRef& entry) {
    const auto erase = [](auto& items, std::uint32_t number) {
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(number));
    };
    const auto user = [&]() -> policy::ParentalUser& { return policy.parental.users[entry.user]; };
    switch (entry.list) {
        case PolicyList::kWebSecurity:
            erase(policy.whiteLists.webSecurity, entry.number);
            break;
        case PolicyList::kBrowsingProtection:
            erase(policy.whiteLists.browsingProtection, entry.number);
            break;
        case PolicyList::kUserWhiteList:
            erase(policy.whiteLists.user, entry.number);
            break;
        case PolicyList::kMaliciousSites:
            erase(policy.maliciousSites, entry.number);
            break;
        case PolicyList::kThreats:
            erase(policy.maliciousSites[entry.number].threats, entry.inner);
            break;
        case PolicyList::kPhishingSites:
            erase(policy.phishingSites, entry.number);
            break;
        case PolicyList::kPhishingPaths:
            erase(policy.phishingSites[entry.number].paths, entry.inner);
            break;
        case PolicyList::kSites:
            erase(policy.sites, entry.number);
            break;
        case PolicyList::kPatterns:
            erase(policy.maliciousPatterns, entry.number);
            break;
        case PolicyList::kInspectedHosts:
            erase(policy.inspectedHosts, entry.number);
            break;
        case PolicyList::kAllowedSites:
            erase(user().allowedSites, entry.number);
            break;
        case PolicyList::kScheduleAllowedSites:
            erase(user().scheduleAllowedSites, entry.number);
            break;
        case PolicyList::kBlockedSites:
            erase(user().siteRules, entry.number);
            break;
        case PolicyList::kSchedule:
            user().schedule = false;
            break;
        case PolicyList::kPacketSignatures:
        case PolicyList::kIdsRules:
            break;
    }
    return policy;
}

// What a policy lists, as lines that can be compared.
std::vector<std::string> Listed(const policy::Policy& policy) {
    std::vector<std::string> lines;
    const auto add = [&](PolicyList list, std::size_t count, std::uint32_t user, auto inner) {
        for (std::uint32_t i = 0; i < count; ++i) {
            const auto addOne = [&](PolicyList one, std::uint32_t k) {
                const DecidingEntry entry = Describe(policy, {one, i, k, user});
                lines.push_back(entry.list + ' ' + std::to_string(entry.line) + ' ' + std::to_string(user) + ' ' +
                                entry.text);
            };
            addOne(list, 0);
            inner(i, addOne);
        }
    };
    const auto none = [](std::uint32_t, auto) {};
    add(PolicyList::kWebSecurity, policy.whiteLists.webSecurity.size(), 0, none);
    add(PolicyList::kBrowsingProtection, policy.whiteLists.browsingProtection.size(), 0, none);
    add(PolicyList::kUserWhiteList, policy.whiteLists.user.size(), 0, none);
    add(PolicyList::kMaliciousSites, policy.maliciousSites.size(), 0, [&](std::uint32_t i, auto addOne) {
        for (std::uint32_t k = 0; k < policy.maliciousSites[i].threats.size(); ++k) addOne(PolicyList::kThreats, k);
    });
    add(PolicyList::kPhishingSites, policy.phishingSites.size(), 0, [&](std::uint32_t i, auto addOne) {
        for (std::uint32_t k = 0; k < policy.phishingSites[i].paths.size(); ++k) addOne(PolicyList::kPhishingPaths, k);
    });
    add(PolicyList::kSites, policy.sites.size(), 0, none);
    add(PolicyList::kPatterns, policy.maliciousPatterns.size(), 0, none);
    add(PolicyList::kInspectedHosts, policy.inspectedHosts.size(), 0, none);
    add(PolicyList::kPacketSignatures, policy.packetSignatures.size(), 0, none);
    add(PolicyList::kIdsRules, policy.idsRules.size(), 0, none);
    for (std::uint32_t i = 0; i < policy.parental.users.size(); ++i) {
        const policy::ParentalUser& user = policy.parental.users[i];
        lines.push_back(user.account + (user.schedule ? " scheduled" : "") + (user.blockList ? " listed" : ""));
        add(PolicyList::kAllowedSites, user.allowedSites.size(), i, none);
        add(PolicyList::kScheduleAllowedSites, user.scheduleAllowedSites.size(), i, none);
        add(PolicyList::kBlockedSites, user.siteRules.size(), i, none);
    }
    return lines;
}

}  // namespace

std::optional<std::string> WithoutEntry(const std::string& text, const policy::Policy& policy, const EntryRef& entry,
                                        const policy::FindSid& findSid, std::string& whyNot) {
    const policy::Place place = PlaceOf(policy, entry);
    if (place.file != 0) {
        whyNot = "it stands in another file than the policy";
        return std::nullopt;
    }
    std::string edited = text;
    try {
        const toml::table root = toml::parse(text);
        const toml::node* const node = FindNode(root, policy, entry);
        if (node != nullptr && entry.list == PolicyList::kSchedule) {
            const std::size_t at = OffsetOf(text, node->source().begin);
            if (edited.compare(at, 4, "true") == 0) edited.replace(at, 4, "false");
        } else if (node != nullptr) {
            const toml::table* const table = node->as_table();
            if (table != nullptr && !table->is_inline())
                TakeTable(edited, *node);
            else
                TakeItem(edited, *node);
        }
    } catch (const toml::parse_error&) {
        edited = text;
    }
    const policy::ReadPolicy read = policy::ParsePolicy(edited, findSid);
    if (edited == text || !read.mistakes.empty() || Listed(read.policy) != Listed(Without(policy, entry))) {
        whyNot = "it cannot be taken out of the file alone";
        return std::nullopt;
    }
    return edited;
}

}  // namespace tarn::host
