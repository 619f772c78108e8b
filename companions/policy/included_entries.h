// Where the entries of included lists go in a policy, and which of them stay: what stands further up wins, exceptions
// take out. Owned by the loader for the time of one reading.
#ifndef TARN_COMPANIONS_POLICY_INCLUDED_ENTRIES_H
#define TARN_COMPANIONS_POLICY_INCLUDED_ENTRIES_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "policy/list_file.h"
#include "policy/policy.h"

namespace tarn::policy {

struct IncludedList;

// A list of the policy that takes files.
struct ListTarget {
    std::string_view key;
    std::size_t capacity;  // of an entry's text, its NUL included
    std::size_t most;      // entries, the policy's own included
    bool takesPaths = false;
    bool takesTexts = false;     // every line as it stands
    bool coversDomains = false;  // the domains below a host too
    bool hasThreats = false;
    bool hasCategories = false;
};

std::span<const ListTarget> ListTargets();               // the first is the usual one
const ListTarget* FindListTarget(std::string_view key);  // null for any other

class IncludedEntries {
 public:
    explicit IncludedEntries(Policy& policy) : policy_(policy) {}

    // False when the list is full.
    bool Add(const ListTarget& target, const ListEntry& entry, std::uint32_t file,
             const std::vector<std::uint16_t>& categories);
    void Except(const ListTarget& target, const ListEntry& entry, std::uint32_t file);

    // Takes out what an exception names and what stands further up already; counts by file in lists.
    void Settle(std::vector<IncludedList>& lists);

 private:
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    using Hosts = std::unordered_set<std::string, TextHash, std::equal_to<>>;

    [[nodiscard]] Hosts* ExceptionsOf(std::string_view key);
    std::vector<ListedText>& TextsOf(const ListTarget& target);
    // What mayBeOut is false of, no exception takes out.
    template <class Entry, class TextOf, class MayBeOut>
    void SettleList(std::string_view key, std::vector<Entry>& entries, TextOf textOf, MayBeOut mayBeOut,
                    std::vector<IncludedList>& lists);

    struct Exceptions {
        const ListTarget* target;
        Hosts hosts;
    };

    Policy& policy_;
    std::vector<Exceptions> exceptions_;
    std::vector<CategorisedSite> exceptedSites_;
};

}  // namespace tarn::policy

#endif
