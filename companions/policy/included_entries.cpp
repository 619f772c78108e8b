#include "policy/included_entries.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "policy/list_reader.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::size_t kHostCapacity = 256;
constexpr std::size_t kMostSites = 4'000'000;
constexpr std::size_t kMostTexts = 100'000;    // each takes 1 KB in the library's record
constexpr std::size_t kMostPatterns = 10'000;  // each is tried for every site without a category

constexpr ListTarget kTargets[] = {
    {.key = "malicious_sites", .capacity = kHostCapacity, .most = kMostSites, .hasThreats = true},
    {.key = "phishing_sites", .capacity = kHostCapacity, .most = kMostSites},
    {.key = "sites",
     .capacity = TARN_URL_CAPACITY,
     .most = kMostSites,
     .takesPaths = true,
     .coversDomains = true,
     .hasCategories = true},
    {.key = "white_lists.web_security", .capacity = TARN_URL_CAPACITY, .most = kMostTexts, .takesPaths = true},
    {.key = "white_lists.browsing_protection", .capacity = TARN_URL_CAPACITY, .most = kMostTexts, .takesPaths = true},
    {.key = "white_lists.user", .capacity = TARN_URL_CAPACITY, .most = kMostTexts, .takesPaths = true},
    {.key = "malicious_patterns", .capacity = TARN_URL_CAPACITY, .most = kMostPatterns, .takesTexts = true},
    {.key = "https_inspection.blocked_hosts", .capacity = kHostCapacity, .most = kMostTexts},
};

constexpr std::string_view kWww = "www.";

std::string WithoutWww(std::string host) {
    if (host.starts_with(kWww) && host.size() > kWww.size()) host.erase(0, kWww.size());
    return host;
}

// The host of "host/path", or a domain above it.
template <class Hosts>
bool Covers(const Hosts& hosts, std::string_view text) {
    text = text.substr(0, text.find('/'));
    while (!text.empty()) {
        if (hosts.contains(text)) return true;
        const std::size_t dot = text.find('.');
        text.remove_prefix(dot == std::string_view::npos ? text.size() : dot + 1);
    }
    return false;
}

}  // namespace

std::span<const ListTarget> ListTargets() {
    return kTargets;
}

const ListTarget* FindListTarget(std::string_view key) {
    const auto found = std::find_if(std::begin(kTargets), std::end(kTargets),
                                    [&](const ListTarget& target) { return target.key == key; });
    return found == std::end(kTargets) ? nullptr : found;
}

std::vector<ListedText>& IncludedEntries::TextsOf(const ListTarget& target) {
    if (target.key == "white_lists.web_security") return policy_.whiteLists.webSecurity;
    if (target.key == "white_lists.browsing_protection") return policy_.whiteLists.browsingProtection;
    if (target.key == "white_lists.user") return policy_.whiteLists.user;
    if (target.key == "malicious_patterns") return policy_.maliciousPatterns;
    return policy_.inspectedHosts;
}

bool IncludedEntries::Add(const ListTarget& target, const ListEntry& entry, std::uint32_t file,
                          const std::vector<std::uint16_t>& categories) {
    const Place place{file, entry.line};
    const auto add = [&](auto& entries, auto&& made) {
        if (entries.size() >= target.most) return false;
        entries.push_back(std::forward<decltype(made)>(made));
        return true;
    };
    if (target.hasThreats)
        return add(policy_.maliciousSites, MaliciousSite{WithoutWww(LowerCase(entry.text)), true, {}, place});
    if (target.hasCategories) return add(policy_.sites, CategorisedSite{LowerCase(entry.text), categories, place});
    if (target.key != "phishing_sites")
        return add(TextsOf(target),
                   ListedText{target.takesTexts ? std::string(entry.text) : LowerCase(entry.text), place});
    std::string host = LowerCase(entry.text);
    // The host counts as it is asked for, and a rule for it and what is below it means this one too.
    if (entry.coversDomains && !host.starts_with(kWww) && host.size() + kWww.size() < target.capacity &&
        !add(policy_.phishingSites, PhishingSite{std::string(kWww) + host, true, {}, place}))
        return false;
    return add(policy_.phishingSites, PhishingSite{std::move(host), true, {}, place});
}

IncludedEntries::Hosts* IncludedEntries::ExceptionsOf(std::string_view key) {
    const auto found = std::find_if(exceptions_.begin(), exceptions_.end(),
                                    [&](const Exceptions& known) { return known.target->key == key; });
    return found == exceptions_.end() ? nullptr : &found->hosts;
}

void IncludedEntries::Except(const ListTarget& target, const ListEntry& entry, std::uint32_t file) {
    if (ExceptionsOf(target.key) == nullptr) exceptions_.push_back({&target, {}});
    std::string host = LowerCase(entry.text);
    if (target.hasThreats) host = WithoutWww(std::move(host));
    // Where a domain stands for all below it, what is excepted says of itself that it has no category.
    if (target.hasCategories) exceptedSites_.push_back({host, {}, {file, entry.line}});
    ExceptionsOf(target.key)->insert(std::move(host));
}

template <class Entry, class TextOf, class MayBeOut>
void IncludedEntries::SettleList(std::string_view key, std::vector<Entry>& entries, TextOf textOf, MayBeOut mayBeOut,
                                 std::vector<IncludedList>& lists) {
    const bool hasAny = std::any_of(lists.begin(), lists.end(), [&](const auto& list) { return list.list == key; });
    if (!hasAny) return;
    std::vector<bool> isOut(entries.size());
    if (const Hosts* const excepted = ExceptionsOf(key)) {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i].place.file == 0 || !mayBeOut(entries[i]) || !Covers(*excepted, textOf(entries[i]))) continue;
            isOut[i] = true;
            ++lists[entries[i].place.file - 1].excepted;
        }
    }
    // By hash, and among equal ones in the order of the entries.
    std::vector<std::pair<std::size_t, std::uint32_t>> order;
    order.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (!isOut[i]) order.emplace_back(TextHash{}(textOf(entries[i])), static_cast<std::uint32_t>(i));
    std::sort(order.begin(), order.end());
    std::vector<std::uint32_t> texts;  // of one hash: the first entry of each
    for (std::size_t i = 0; i < order.size(); ++i) {
        const auto [hash, index] = order[i];
        if (i == 0 || order[i - 1].first != hash) texts.clear();
        const Entry& entry = entries[index];
        const bool isRepeated = std::any_of(texts.begin(), texts.end(), [&](std::uint32_t earlier) {
            return textOf(entries[earlier]) == textOf(entry);
        });
        if (!isRepeated) texts.push_back(index);
        if (!isRepeated || entry.place.file == 0) continue;
        isOut[index] = true;
        ++lists[entry.place.file - 1].repeated;
    }
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (isOut[i]) continue;
        if (entries[i].place.file != 0) ++lists[entries[i].place.file - 1].entries;
        if (kept != i) entries[kept] = std::move(entries[i]);
        ++kept;
    }
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(kept), entries.end());
}

void IncludedEntries::Settle(std::vector<IncludedList>& lists) {
    const auto host = [](const auto& site) -> std::string_view { return site.host; };
    const auto address = [](const auto& site) -> std::string_view { return site.address; };
    const auto text = [](const auto& entry) -> std::string_view { return entry.text; };
    const auto always = [](const auto&) { return true; };
    SettleList("malicious_sites", policy_.maliciousSites, host, always, lists);
    SettleList("phishing_sites", policy_.phishingSites, host, always, lists);
    std::move(exceptedSites_.begin(), exceptedSites_.end(), std::back_inserter(policy_.sites));
    const auto isListed = [](const CategorisedSite& site) { return !site.categories.empty(); };
    SettleList("sites", policy_.sites, address, isListed, lists);
    for (const ListTarget& target : kTargets)
        if (!target.hasThreats && !target.hasCategories && target.key != "phishing_sites")
            SettleList(target.key, TextsOf(target), text, always, lists);
}

}  // namespace tarn::policy
