#include "host/explain/policy_edit.h"

#include <algorithm>
#include <vector>

#include "host/explain/entry_node.h"
#include "host/explain/toml_text.h"

namespace tarn::host {

namespace {

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

// What a policy lists itself, as lines that can be compared; without: an entry that is left out, a schedule switched
// off.
std::vector<std::string> Listed(const policy::Policy& policy, const std::optional<EntryRef>& without = {}) {
    std::vector<std::string> lines;
    // Adds an entry and says whether it is there, and with it what stands in it.
    const auto add = [&](const EntryRef& entry) {
        if (without == entry || PlaceOf(policy, entry).file != 0) return false;
        const DecidingEntry one = Describe(policy, entry);
        lines.push_back(one.list + ' ' + std::to_string(one.line) + ' ' + std::to_string(entry.user) + ' ' + one.text);
        return true;
    };
    const auto addAll = [&](PolicyList list, std::size_t count, std::uint32_t user = 0) {
        for (std::uint32_t i = 0; i < count; ++i) add({list, i, 0, user});
    };
    addAll(PolicyList::kWebSecurity, policy.whiteLists.webSecurity.size());
    addAll(PolicyList::kBrowsingProtection, policy.whiteLists.browsingProtection.size());
    addAll(PolicyList::kUserWhiteList, policy.whiteLists.user.size());
    for (std::uint32_t i = 0; i < policy.maliciousSites.size(); ++i)
        if (add({PolicyList::kMaliciousSites, i}))
            for (std::uint32_t k = 0; k < policy.maliciousSites[i].threats.size(); ++k)
                add({PolicyList::kThreats, i, k});
    for (std::uint32_t i = 0; i < policy.phishingSites.size(); ++i)
        if (add({PolicyList::kPhishingSites, i}))
            for (std::uint32_t k = 0; k < policy.phishingSites[i].paths.size(); ++k)
                add({PolicyList::kPhishingPaths, i, k});
    addAll(PolicyList::kSites, policy.sites.size());
    addAll(PolicyList::kPatterns, policy.maliciousPatterns.size());
    addAll(PolicyList::kInspectedHosts, policy.inspectedHosts.size());
    addAll(PolicyList::kPacketSignatures, policy.packetSignatures.size());
    addAll(PolicyList::kIdsRules, policy.idsRules.size());
    for (std::uint32_t i = 0; i < policy.parental.users.size(); ++i) {
        const policy::ParentalUser& user = policy.parental.users[i];
        const bool isScheduled = user.schedule && without != EntryRef{PolicyList::kSchedule, 0, 0, i};
        lines.push_back(user.account + (isScheduled ? " scheduled" : "") + (user.blockList ? " listed" : ""));
        addAll(PolicyList::kAllowedSites, user.allowedSites.size(), i);
        addAll(PolicyList::kScheduleAllowedSites, user.scheduleAllowedSites.size(), i);
        addAll(PolicyList::kBlockedSites, user.siteRules.size(), i);
    }
    return lines;
}

// Whether an entry of a list comes from that line of an included one.
bool StandsAt(const policy::Policy& policy, PolicyList list, const policy::Place& place) {
    const auto has = [&](const auto& items) {
        return std::any_of(items.begin(), items.end(), [&](const auto& item) {
            return item.place.file == place.file && item.place.line == place.line;
        });
    };
    switch (list) {
        case PolicyList::kWebSecurity:
            return has(policy.whiteLists.webSecurity);
        case PolicyList::kBrowsingProtection:
            return has(policy.whiteLists.browsingProtection);
        case PolicyList::kUserWhiteList:
            return has(policy.whiteLists.user);
        case PolicyList::kMaliciousSites:
            return has(policy.maliciousSites);
        case PolicyList::kPhishingSites:
            return has(policy.phishingSites);
        case PolicyList::kSites:
            return has(policy.sites);
        case PolicyList::kPatterns:
            return has(policy.maliciousPatterns);
        case PolicyList::kInspectedHosts:
            return has(policy.inspectedHosts);
        default:
            return false;  // no list is included there
    }
}

std::optional<EditedPolicy> WithoutListLine(const PolicyVariant& variant, const policy::Policy& policy,
                                            const EntryRef& entry, const policy::FindSid& findSid,
                                            std::string& whyNot) {
    const policy::Place place = PlaceOf(policy, entry);
    EditedPolicy edited{variant, {}};
    if (!TakeLineOut(edited.variant, policy.files[place.file], place.line, whyNot)) return std::nullopt;
    policy::ReadPolicy read = ReadVariant(edited.variant, findSid);
    if (!read.mistakes.empty() || StandsAt(read.policy, entry.list, place)) {
        whyNot = "it cannot be taken out of the list alone";
        return std::nullopt;
    }
    edited.says = std::move(read.policy);
    return edited;
}

std::string TextWithout(const std::string& text, const policy::Policy& policy, const EntryRef& entry) {
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
        return text;
    }
    return edited;
}

}  // namespace

std::optional<EditedPolicy> WithoutEntry(const PolicyVariant& variant, const policy::Policy& policy,
                                         const EntryRef& entry, const policy::FindSid& findSid, std::string& whyNot) {
    if (PlaceOf(policy, entry).file != 0) return WithoutListLine(variant, policy, entry, findSid, whyNot);
    EditedPolicy edited{variant, {}};
    edited.variant.text = TextWithout(variant.text, policy, entry);
    policy::ReadPolicy read = ReadVariant(edited.variant, findSid);
    if (edited.variant.text == variant.text || !read.mistakes.empty() || Listed(read.policy) != Listed(policy, entry)) {
        whyNot = "it cannot be taken out of the file alone";
        return std::nullopt;
    }
    edited.says = std::move(read.policy);
    return edited;
}

}  // namespace tarn::host
