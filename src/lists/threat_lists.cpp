#include "lists/threat_lists.h"

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

#include "base/bounded_text.h"
#include "lists/path_list.h"
#include "lists/published_records.h"

namespace tarn::lists {
namespace {

constexpr std::size_t kHostLimit = PaddedText::kMaxLength + 1;  // a longer host is in no request

template <class Entry>
struct NamedSite {
    std::string_view host;
    const Entry* entry;
};

// The entries that can be found, those of one host behind one another in list order.
template <class Entry>
std::vector<NamedSite<Entry>> FindableSites(std::span<const Entry> entries) {
    std::vector<NamedSite<Entry>> sites;
    sites.reserve(entries.size());
    for (const Entry& entry : entries) {
        if (entry.host == nullptr) continue;
        const std::string_view host = base::FieldText(static_cast<const char*>(entry.host), kHostLimit);
        if (HostHash(host) == entry.hash) sites.push_back({host, &entry});
    }
    std::ranges::stable_sort(sites, [](const auto& a, const auto& b) {
        return a.entry->hash != b.entry->hash ? a.entry->hash < b.entry->hash : a.host < b.host;
    });
    return sites;
}

// Calls use(the entries of one host) and files the host under the number of calls before.
template <class Entry, class Use>
void FileSites(std::span<const Entry> entries, SiteHosts& hosts, Use use) {
    const std::vector<NamedSite<Entry>> sites = FindableSites(entries);
    std::vector<SiteHosts::Host> named;
    for (auto first = sites.begin(); first != sites.end();) {
        const auto end =
            std::find_if(first, sites.end(), [first](const auto& site) { return site.host != first->host; });
        named.push_back({first->entry->hash, first->host});
        use(std::span(first, end));
        first = end;
    }
    hosts.Build(named);
}

bool IsRoot(std::string_view path) {
    return path.empty() || path == "/";
}

}  // namespace

// Gathers the names and paths of one host's entries up to the first one that stands for the whole site: what comes
// behind it is never reached.
class MaliciousList::Collector {
 public:
    explicit Collector(MaliciousList& list) : list_(list) { AddName({}); }

    void AddSite(std::span<const NamedSite<ThreatSiteEntry>> entries) {
        texts_.clear();
        patterns_.clear();
        Site site;
        for (const auto& named : entries) {
            const bool wholeSite = named.entry->wholeSite == 1;
            AddThreats(named.entry->threats, wholeSite, site.siteName);
            if (!wholeSite) continue;
            site.wholeSite = true;
            break;
        }
        site.paths = list_.paths_.Add(patterns_);
        list_.sites_.push_back(site);
    }

 private:
    void AddThreats(const ThreatNode* first, bool namesSite, std::uint32_t& siteName) {
        ForEachNode(first, nodesLeft_, [&](const ThreatNode& node) {
            const std::string_view path = base::FieldText(node.path, sizeof node.path);
            const std::string_view name = base::FieldText(node.name, sizeof node.name);
            if (!IsRoot(path)) {
                // Numbers rise in list order, so the lowest one found is the first node that matches.
                patterns_.push_back({texts_.emplace_back(Folded(path)), AddName(name)});
            } else if (namesSite) {
                siteName = AddName(name);
                namesSite = false;
            }
        });
    }

    std::uint32_t AddName(std::string_view name) {
        list_.names_.push_back(
            {static_cast<std::uint32_t>(list_.nameTexts_.size()), static_cast<std::uint8_t>(name.size())});
        list_.nameTexts_.insert(list_.nameTexts_.end(), name.begin(), name.end());
        return static_cast<std::uint32_t>(list_.names_.size() - 1);
    }

    MaliciousList& list_;
    std::size_t nodesLeft_ = kMaxChainNodes;
    std::deque<std::string> texts_;
    std::vector<PrefixTree::Pattern> patterns_;
};

void MaliciousList::Publish(const ThreatSiteList& record) {
    MaliciousList list;
    Collector collector(list);
    const std::span<const ThreatSiteEntry> entries = Entries<ThreatSiteEntry>(record.entries, record.count);
    FileSites(entries, list.hosts_, [&](auto sites) { collector.AddSite(sites); });
    *this = std::move(list);
}

std::optional<std::string_view> MaliciousList::Find(std::string_view host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == SiteHosts::kNone) return std::nullopt;
    const Site& site = sites_[number];
    std::uint32_t name = PrefixTree::kNone;
    if (!IsRoot(path) && site.paths != PrefixTree::kNone) {
        const PaddedText padded(path, LetterCase::kFolded);
        const std::string_view text = padded.View();
        paths_.Walk(
            site.paths, text.data(), text.size(),
            [text](std::size_t length) { return EndsListedPath(text, length) || EndsUrlPart(text, length); },
            [&name](std::size_t, std::uint32_t found) {
                name = std::min(name, found);
                return false;
            });
    }
    if (name != PrefixTree::kNone) return NameText(name);
    if (site.wholeSite) return NameText(site.siteName);
    return std::nullopt;
}

void PhishingList::Publish(const PhishingSiteList& record) {
    PhishingList list;
    std::size_t nodesLeft = kMaxChainNodes;
    std::vector<PrefixTree::Pattern> patterns;
    const std::span<const PhishingSiteEntry> entries = Entries<PhishingSiteEntry>(record.entries, record.count);
    FileSites(entries, list.hosts_, [&](auto sites) {
        Site site;
        patterns.clear();
        for (const auto& named : sites) {
            site.wholeSite |= named.entry->wholeSite == 1;
            CollectPaths(named.entry->paths, nodesLeft, patterns);
        }
        if (!site.wholeSite) site.paths = list.paths_.Add(patterns);
        list.sites_.push_back(site);
    });
    *this = std::move(list);
}

bool PhishingList::Matches(std::string_view host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == SiteHosts::kNone) return false;
    return sites_[number].wholeSite || HoldsPath(paths_, sites_[number].paths, path);
}

}  // namespace tarn::lists
