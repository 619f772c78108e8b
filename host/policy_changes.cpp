#include "host/policy_changes.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>
#include <sstream>
#include <toml++/toml.h>

namespace tarn::host {

namespace {

constexpr std::uint32_t kEverything = 8;       // reads all records again, and the site categories
constexpr std::uint32_t kHttpsInspection = 6;  // a module of its own, which kEverything leaves alone
constexpr std::uint32_t kNoKind = 0xFFFFFFFF;

constexpr std::uint32_t kPacketSignatures = 0x01;
constexpr std::uint32_t kSiteCategories = 0x04;
constexpr std::uint32_t kUrlPatterns = 0x08;
constexpr std::uint32_t kMaliciousSites = 0x40;
constexpr std::uint32_t kIdsRules = 0x1000;

struct Notice {
    std::string_view key;  // with all keys below it
    std::uint32_t kind;
    std::uint32_t updated;
};

// In the order in which the kinds are told. A key with neither is asked for anew whenever it is needed.
constexpr Notice kNotices[] = {
    {"features.anti_phishing", 0, 0},
    {"notices.anti_phishing", 0, 0},
    {"features.browsing_protection", 1, 0},
    {"notices.browsing_protection", 1, 0},
    {"features.intrusion_prevention", 2, 0},
    {"white_lists.user", 3, 0},
    {"parental", 4, 0},
    {"ids", 5, 0},
    {"features.https_inspection", kHttpsInspection, 0},
    {"https_inspection", kHttpsInspection, 0},
    {"malicious_sites", kNoKind, kMaliciousSites},
    {"sites", kNoKind, kSiteCategories},
    {"category_names", kNoKind, kSiteCategories},
    {"malicious_patterns", kNoKind, kUrlPatterns},
    {"packet_signatures", kNoKind, kPacketSignatures},
    {"ids_rules", kNoKind, kIdsRules},
    {"features.cloud_lookup", kNoKind, 0},
    {"managed_client", kNoKind, 0},
};

// What no single notice covers is read again with everything.
constexpr Notice kOfAnyOtherKey = {"", kEverything, 0};

const Notice& NoticeOf(std::string_view key) {
    const auto covers = [&](const Notice& notice) {
        return key.starts_with(notice.key) && (key.size() == notice.key.size() || key[notice.key.size()] == '.');
    };
    const auto found = std::find_if(std::begin(kNotices), std::end(kNotices), covers);
    return found == std::end(kNotices) ? kOfAnyOtherKey : *found;
}

std::string TextOf(const toml::node* node) {
    if (node == nullptr) return "";
    std::ostringstream out;
    out << toml::node_view<const toml::node>(node);
    return out.str();
}

std::string Shown(const toml::node* node) {
    if (node == nullptr) return "not set";
    if (node->is_table()) return "a table";
    const toml::array* const array = node->as_array();
    if (array == nullptr) return TextOf(node);
    return fmt::format("{} {}", array->size(), array->size() == 1 ? "entry" : "entries");
}

void Compare(const std::string& key, const toml::node* before, const toml::node* after,
             std::vector<PolicyChange>& changes) {
    const toml::table* const oldTable = before != nullptr ? before->as_table() : nullptr;
    const toml::table* const newTable = after != nullptr ? after->as_table() : nullptr;
    // A table that comes or goes is compared with an empty one, so that its keys are named.
    if ((oldTable != nullptr || before == nullptr) && (newTable != nullptr || after == nullptr)) {
        std::set<std::string> names;
        for (const toml::table* table : {oldTable, newTable})
            if (table != nullptr)
                for (const auto& [name, value] : *table) names.emplace(name.str());
        for (const std::string& name : names)
            Compare(key.empty() ? name : fmt::format("{}.{}", key, name),
                    oldTable != nullptr ? oldTable->get(name) : nullptr,
                    newTable != nullptr ? newTable->get(name) : nullptr, changes);
        return;
    }
    if (TextOf(before) != TextOf(after)) changes.push_back({key, Shown(before), Shown(after)});
}

bool Has(const std::vector<std::uint32_t>& kinds, std::uint32_t kind) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

PolicyChanges ComparePolicies(std::string_view before, std::string_view after) {
    const toml::table oldTable = toml::parse(before);
    const toml::table newTable = toml::parse(after);
    PolicyChanges result;
    Compare("", &oldTable, &newTable, result.changes);
    for (const PolicyChange& change : result.changes) {
        const Notice& notice = NoticeOf(change.key);
        result.updated |= notice.updated;
        if (notice.kind != kNoKind && !Has(result.kinds, notice.kind)) result.kinds.push_back(notice.kind);
    }
    if (Has(result.kinds, kEverything)) {
        std::erase_if(result.kinds, [](std::uint32_t kind) { return kind != kEverything && kind != kHttpsInspection; });
        result.updated &= ~(kMaliciousSites | kSiteCategories | kIdsRules);
    }
    std::sort(result.kinds.begin(), result.kinds.end());
    return result;
}

}  // namespace tarn::host
