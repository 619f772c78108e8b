#include "lists/threat_lists.h"

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

#include "base/bounded_text.h"
#include "base/chain.h"
#include "base/hash.h"
#include "base/text.h"

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

// The sites in runs, one for each host.
template <class Entry>
std::vector<std::span<const NamedSite<Entry>>> ByHost(std::span<const NamedSite<Entry>> sites) {
    std::vector<std::span<const NamedSite<Entry>>> hosts;
    for (auto first = sites.begin(); first != sites.end();) {
        const auto end =
            std::find_if(first, sites.end(), [first](const auto& site) { return site.host != first->host; });
        hosts.push_back({first, end});
        first = end;
    }
    return hosts;
}

template <class Entry>
std::vector<HostIndex::Host> HostsOf(std::span<const std::span<const NamedSite<Entry>>> runs) {
    std::vector<HostIndex::Host> hosts;
    hosts.reserve(runs.size());
    for (const auto& run : runs) hosts.push_back({run.front().entry->hash, run.front().host});
    return hosts;
}

bool IsRoot(std::string_view path) {
    return path.empty() || path == "/";
}

}  // namespace

// Gathers the names and paths of each host's entries up to the first one that stands for the whole site: what comes
// behind it is never reached.
class MaliciousList::Builder {
 public:
    Builder(MaliciousList& list, ChainUses& uses) : list_(list), uses_(uses) { AddName({}); }

    void AddSite(std::span<const NamedSite<ThreatSiteEntry>> entries) {
        const auto number = static_cast<std::uint32_t>(list_.sites_.size());
        Site site{static_cast<std::uint32_t>(list_.sets_.size()), 0, false, 0};
        for (const auto& [host, entry] : entries) {
            ChainUses::Use* const use = uses_.Find(entry->threats);
            if (use != nullptr && use->takenBy != number) Take(entry->threats, *use, number);
            if (entry->wholeSite != 1) continue;
            site.wholeSite = true;
            if (use != nullptr) site.siteName = use->siteName;
            break;
        }
        EndSet();
        site.setCount = static_cast<std::uint32_t>(list_.sets_.size()) - site.firstSet;
        list_.sites_.push_back(site);
    }

 private:
    void Take(const ThreatNode* chain, ChainUses::Use& use, std::uint32_t site) {
        use.takenBy = site;
        if (!use.isShared) {
            use.siteName = Collect(chain);
            return;
        }
        EndSet();
        if (!use.isPublished) {
            use.siteName = Collect(chain);
            use.set = MakeSet();
            use.isPublished = true;
        }
        if (use.set != ChainUses::kNone) list_.sets_.push_back(use.set);
    }

    // The name that the chain gives a whole site: that of its first node without a path.
    std::uint32_t Collect(const ThreatNode* chain) {
        std::uint32_t siteName = 0;
        base::ForEachNode(chain, [&](const ThreatNode& node) {
            const std::string_view path = base::FieldText(node.path, sizeof node.path);
            const std::string_view name = base::FieldText(node.name, sizeof node.name);
            if (!IsRoot(path))
                patterns_.push_back({texts_.emplace_back(base::Lowered(path)), AddName(name)});
            else if (siteName == 0)
                siteName = AddName(name);
        });
        return siteName;
    }

    PrefixTree::Root MakeSet() {
        const PrefixTree::Root root = list_.paths_.Add(patterns_);
        patterns_.clear();
        texts_.clear();
        return root;
    }
    void EndSet() {
        if (!patterns_.empty()) list_.sets_.push_back(MakeSet());
    }

    std::uint32_t AddName(std::string_view name) {
        list_.names_.push_back(
            {static_cast<std::uint32_t>(list_.nameTexts_.size()), static_cast<std::uint8_t>(name.size())});
        list_.nameTexts_.insert(list_.nameTexts_.end(), name.begin(), name.end());
        return static_cast<std::uint32_t>(list_.names_.size() - 1);
    }

    MaliciousList& list_;
    ChainUses& uses_;
    std::deque<std::string> texts_;  // of patterns_
    std::vector<PrefixTree::Pattern> patterns_;
};

void MaliciousList::Publish(const ThreatSiteList& record) {
    const auto sites = FindableSites(base::RecordArray<ThreatSiteEntry>(record.entries, record.count));
    const auto runs = ByHost<ThreatSiteEntry>(sites);
    ChainUses uses(sites.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i)
        for (const auto& site : runs[i]) uses.Note(site.entry->threats, i);

    MaliciousList list;
    Builder builder(list, uses);
    for (const auto& run : runs) builder.AddSite(run);
    list.hosts_.Build(HostsOf<ThreatSiteEntry>(runs));
    *this = std::move(list);
}

std::optional<std::string_view> MaliciousList::Find(std::string_view host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == HostIndex::kNone) return std::nullopt;
    const Site& site = sites_[number];
    if (site.setCount != 0 && !IsRoot(path)) {
        const PaddedText padded(path, LetterCase::kFolded);
        const std::string_view text = padded.View();
        const auto ends = [text](std::size_t length) {
            return EndsListedPath(text, length) || EndsUrlPart(text, length);
        };
        for (const PrefixTree::Root set : std::span(sets_).subspan(site.firstSet, site.setCount)) {
            std::uint32_t name = PrefixTree::kNone;
            paths_.Walk(set, text.data(), text.size(), ends, [&name](std::size_t, std::uint32_t found) {
                name = std::min(name, found);
                return false;
            });
            if (name != PrefixTree::kNone) return NameText(name);
        }
    }
    if (site.wholeSite) return NameText(site.siteName);
    return std::nullopt;
}

void PhishingList::Publish(const PhishingSiteList& record) {
    const auto sites = FindableSites(base::RecordArray<PhishingSiteEntry>(record.entries, record.count));
    const auto runs = ByHost<PhishingSiteEntry>(sites);
    ChainUses uses(sites.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i)
        for (const auto& site : runs[i]) uses.Note(site.entry->paths, i);

    PhishingList list;
    std::vector<const PathListNode*> chains;
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        Site site;
        chains.clear();
        for (const auto& named : runs[i]) {
            site.wholeSite |= named.entry->wholeSite == 1;
            chains.push_back(named.entry->paths);
        }
        if (!site.wholeSite) site.paths = list.paths_.Add(chains, i, uses);
        list.sites_.push_back(site);
    }
    list.hosts_.Build(HostsOf<PhishingSiteEntry>(runs));
    *this = std::move(list);
}

bool PhishingList::Matches(std::string_view host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == HostIndex::kNone) return false;
    return sites_[number].wholeSite || paths_.Holds(sites_[number].paths, path);
}

}  // namespace tarn::lists
