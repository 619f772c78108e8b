#include "host/policy_changes.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <set>
#include <sstream>
#include <toml++/toml.h>

#include "tarn/values.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kNoKind = 0xFFFFFFFF;

constexpr std::string_view kServe = "serve";  // the server reads it when it starts

struct Notice {
    std::string_view key;  // with all keys below it
    std::uint32_t kind;
    std::uint32_t updated;
};

// In the order in which the kinds are told. A key with neither is asked for anew whenever it is needed.
constexpr Notice kNotices[] = {
    {"features.anti_phishing", TARN_SETTINGS_ANTI_PHISHING, 0},
    {"notices.anti_phishing", TARN_SETTINGS_ANTI_PHISHING, 0},
    {"features.browsing_protection", TARN_SETTINGS_BROWSING_PROTECTION, 0},
    {"notices.browsing_protection", TARN_SETTINGS_BROWSING_PROTECTION, 0},
    {"features.intrusion_prevention", TARN_SETTINGS_IDS_STATUS, 0},
    {"white_lists.user", TARN_SETTINGS_USER_WHITE_LIST, 0},
    {"parental", TARN_SETTINGS_PARENTAL_CONTROL, 0},
    {"ids", TARN_SETTINGS_IDS_SETTINGS, 0},
    {"features.https_inspection", TARN_SETTINGS_HTTPS_INSPECTION, 0},
    {"https_inspection", TARN_SETTINGS_HTTPS_INSPECTION, 0},
    {"malicious_sites", kNoKind, TARN_UPDATED_BROWSING_PROTECTION},
    {"sites", kNoKind, TARN_UPDATED_CATEGORISATION},
    {"category_names", kNoKind, TARN_UPDATED_CATEGORISATION},
    {"malicious_patterns", kNoKind, TARN_UPDATED_URL_PATTERNS},
    {"packet_signatures", kNoKind, TARN_UPDATED_PACKET_SIGNATURES},
    {"ids_rules", kNoKind, TARN_UPDATED_IDS_RULES},
    {"features.cloud_lookup", kNoKind, 0},
    {"managed_client", kNoKind, 0},
    {kServe, kNoKind, 0},
};

// What no single notice covers is read again with everything.
constexpr Notice kOfAnyOtherKey = {"", TARN_SETTINGS_EVERYTHING, 0};

const Notice& NoticeOf(std::string_view key) {
    const auto covers = [&](const Notice& notice) {
        return key.starts_with(notice.key) &&
               (key.size() == notice.key.size() || key[notice.key.size()] == '.' || key[notice.key.size()] == '[');
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

constexpr const char* kNotSet = "not set";
constexpr const char* kAdded = "added";
constexpr const char* kRemoved = "removed";
constexpr const char* kSet = "set";
constexpr std::size_t kMostEntries = 20;  // of one list that are named one by one

std::string Entries(std::size_t count) {
    return fmt::format("{} {}", count, count == 1 ? "entry" : "entries");
}

std::string Shown(const toml::node* node) {
    if (node == nullptr) return kNotSet;
    if (node->is_table()) return "a table";
    const toml::array* const array = node->as_array();
    return array == nullptr ? TextOf(node) : Entries(array->size());
}

// What people call an entry: its address with the path, else its first name. Empty for one that has none.
std::string NameOf(const toml::node& entry) {
    const toml::table* const table = entry.as_table();
    if (table == nullptr) return TextOf(&entry);
    const auto part = [&](std::string_view key) {
        const toml::node* const node = table->get(key);
        if (node == nullptr) return std::string();
        return node->is_string() ? node->as_string()->get() : TextOf(node);
    };
    for (const char* key : {"files", "host", "address", "account", "id", "name", "text", "hex"})
        if (std::string name = part(key); !name.empty()) return name + part("path");
    return {};
}

// The entries of a list by their names. Entries of one name are told apart by their order: "a", "a #2".
using NamedEntries = std::map<std::string, const toml::node*>;
NamedEntries EntriesOf(const toml::array* array) {
    NamedEntries entries;
    std::map<std::string, std::size_t> counts;
    if (array == nullptr) return entries;
    for (const toml::node& entry : *array) {
        std::string name = NameOf(entry);
        const std::size_t count = ++counts[name];
        if (name.empty())
            name = fmt::format("#{}", count);
        else if (count != 1)
            name += fmt::format(" #{}", count);
        entries[name] = &entry;
    }
    return entries;
}

class Comparison {
 public:
    // A node that is missing on one side is compared with an empty one, so that what is in it is named.
    void Compare(const std::string& key, const toml::node* before, const toml::node* after) {
        if ((before == nullptr || before->is_table()) && (after == nullptr || after->is_table()))
            CompareTables(key, before, after);
        else if ((before == nullptr || before->is_array()) && (after == nullptr || after->is_array()))
            CompareLists(key, before, after);
        else if (TextOf(before) != TextOf(after))
            changes_.push_back({key, Shown(before), Shown(after)});
    }

    std::vector<PolicyChange> Take() { return std::move(changes_); }

 private:
    void CompareTables(const std::string& key, const toml::node* before, const toml::node* after) {
        const toml::table* const oldTable = before != nullptr ? before->as_table() : nullptr;
        const toml::table* const newTable = after != nullptr ? after->as_table() : nullptr;
        std::set<std::string> names;
        for (const toml::table* table : {oldTable, newTable})
            if (table != nullptr)
                for (const auto& [name, value] : *table) names.emplace(name.str());
        const std::string prefix = key.empty() ? key : key + ".";
        for (const std::string& name : names)
            Compare(prefix + name, oldTable != nullptr ? oldTable->get(name) : nullptr,
                    newTable != nullptr ? newTable->get(name) : nullptr);
    }

    void CompareLists(const std::string& key, const toml::node* before, const toml::node* after) {
        if (TextOf(before) == TextOf(after)) return;
        const NamedEntries oldEntries = EntriesOf(before != nullptr ? before->as_array() : nullptr);
        const NamedEntries newEntries = EntriesOf(after != nullptr ? after->as_array() : nullptr);
        const std::size_t begin = changes_.size();
        for (const auto& [name, entry] : oldEntries) {
            const std::string place = fmt::format("{}[{}]", key, name);
            if (const auto found = newEntries.find(name); found != newEntries.end())
                Compare(place, entry, found->second);
            else
                changes_.push_back({place, kSet, kRemoved});
        }
        for (const auto& [name, entry] : newEntries)
            if (!oldEntries.contains(name)) changes_.push_back({fmt::format("{}[{}]", key, name), kNotSet, kAdded});
        if (changes_.size() == begin)
            changes_.push_back({key, Shown(before),
                                before != nullptr && after != nullptr && !oldEntries.empty()
                                    ? "the same entries in another order"
                                    : Shown(after)});
        if (changes_.size() - begin <= kMostEntries) return;
        const std::size_t more = changes_.size() - begin - kMostEntries;
        changes_.resize(begin + kMostEntries);
        changes_.push_back({key, Entries(oldEntries.size()),
                            fmt::format("{}; {} more differences in it", Entries(newEntries.size()), more)});
    }

    std::vector<PolicyChange> changes_;
};

using ListsByKey = std::map<std::string, const policy::IncludedList*>;
ListsByKey ByKey(const std::vector<policy::IncludedList>& lists) {
    ListsByKey found;
    std::map<std::string, std::size_t> counts;
    for (const policy::IncludedList& list : lists) {
        std::string key = fmt::format("{}[{}]", list.list, list.name);
        const std::size_t count = ++counts[key];
        if (count != 1) key.insert(key.size() - 1, fmt::format(" #{}", count));
        found[key] = &list;
    }
    return found;
}

bool AreTheSame(const policy::IncludedList& a, const policy::IncludedList& b) {
    return a.fingerprint == b.fingerprint && a.format == b.format && a.threat == b.threat &&
           a.categories == b.categories && a.entries == b.entries;
}

void CompareLists(const ListsByKey& before, const ListsByKey& after, std::vector<PolicyChange>& changes) {
    for (const auto& [key, list] : before) {
        const auto found = after.find(key);
        if (found == after.end())
            changes.push_back({key, Entries(list->entries), kRemoved});
        else if (!AreTheSame(*list, *found->second))
            changes.push_back(
                {key, Entries(list->entries),
                 Entries(found->second->entries) + (list->entries == found->second->entries ? ", not the same" : "")});
    }
    for (const auto& [key, list] : after)
        if (!before.contains(key)) changes.push_back({key, kNotSet, Entries(list->entries)});
}

bool Has(const std::vector<std::uint32_t>& kinds, std::uint32_t kind) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

PolicyChanges ComparePolicies(std::string_view before, std::string_view after,
                              const std::vector<policy::IncludedList>& listsBefore,
                              const std::vector<policy::IncludedList>& listsAfter) {
    const toml::table oldTable = toml::parse(before);
    const toml::table newTable = toml::parse(after);
    PolicyChanges result;
    Comparison comparison;
    comparison.Compare("", &oldTable, &newTable);
    result.changes = comparison.Take();
    CompareLists(ByKey(listsBefore), ByKey(listsAfter), result.changes);
    for (const PolicyChange& change : result.changes) {
        const Notice& notice = NoticeOf(change.key);
        result.updated |= notice.updated;
        if (notice.kind != kNoKind && !Has(result.kinds, notice.kind)) result.kinds.push_back(notice.kind);
    }
    if (Has(result.kinds, TARN_SETTINGS_EVERYTHING)) {
        std::erase_if(result.kinds, [](std::uint32_t kind) {
            return kind != TARN_SETTINGS_EVERYTHING && kind != TARN_SETTINGS_HTTPS_INSPECTION;
        });
        constexpr std::uint32_t kTold =
            TARN_UPDATED_BROWSING_PROTECTION | TARN_UPDATED_CATEGORISATION | TARN_UPDATED_IDS_RULES;
        result.updated &= ~kTold;
    }
    std::sort(result.kinds.begin(), result.kinds.end());
    return result;
}

bool CountsAtRestart(const PolicyChange& change) {
    return NoticeOf(change.key).key == kServe;
}

std::string DescribeChange(const PolicyChange& change) {
    const char* const when = CountsAtRestart(change) ? " (counts when serve starts again)" : "";
    if (change.after == kAdded || change.after == kRemoved)
        return fmt::format("{}: {}{}", change.key, change.after, when);
    return fmt::format("{}: {}, was {}{}", change.key, change.after, change.before, when);
}

}  // namespace tarn::host
