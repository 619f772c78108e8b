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
    Builder(MaliciousList& list, ChainParts<ThreatNode>& parts) : list_(list), parts_(parts) { AddName({}); }

    void AddSite(std::span<const NamedSite<ThreatSiteEntry>> entries) {
        const auto number = static_cast<std::uint32_t>(list_.sites_.size());
        const SiteSets::Range begin = list_.sets_.Begin();
        Site site{begin, false, 0};
        for (const auto& [host, entry] : entries) {
            const ThreatNode* const shared =
                parts_.Take(entry->threats, number, [this](const ThreatNode& node) { Collect(node); });
            if (shared != nullptr) {
                EndSet();
                list_.sets_.AddShared(Publish(shared));
            }
            if (entry->wholeSite != 1) continue;
            site.wholeSite = true;
            site.siteName = SiteName(entry->threats);
            break;
        }
        EndSet();
        site.sets = list_.sets_.End(begin);
        list_.sites_.push_back(site);
    }

 private:
    void Collect(const ThreatNode& node) {
        const std::string_view path = PathOf(node);
        if (!IsRoot(path)) patterns_.push_back({texts_.emplace_back(base::Lowered(path)), AddName(NameOf(node))});
    }

    std::uint32_t Publish(const ThreatNode* start) {
        const std::size_t first = partNames_.size();
        const std::uint32_t part =
            parts_.Publish(start, list_.sets_, [this](const ThreatNode* node, const ThreatNode* end) {
                std::uint32_t siteName = 0;
                do {
                    Collect(*node);
                    if (siteName == 0 && IsRoot(PathOf(*node))) siteName = AddName(NameOf(*node));
                } while ((node = node->next) != end);
                partNames_.push_back(siteName);
                return MakeSet();
            });
        // A part without a name has that of the next one; in a loop that may be one before it.
        for (int round = 0; round < 2; ++round)
            for (std::size_t i = partNames_.size(); i-- > first;)
                if (const std::uint32_t next = list_.sets_.shared[i].next;
                    partNames_[i] == 0 && next != SiteSets::kNone)
                    partNames_[i] = partNames_[next];
        return part;
    }

    // The name that the chain gives a whole site: that of its first node without a path.
    std::uint32_t SiteName(const ThreatNode* chain) {
        const ThreatNode* const node =
            parts_.FindSharedOr(chain, [](const ThreatNode& one) { return IsRoot(PathOf(one)); });
        if (node == nullptr) return 0;
        return parts_.IsShared(node) ? partNames_[Publish(node)] : AddName(NameOf(*node));
    }

    static std::string_view PathOf(const ThreatNode& node) { return base::FieldText(node.path, sizeof node.path); }
    static std::string_view NameOf(const ThreatNode& node) { return base::FieldText(node.name, sizeof node.name); }

    PrefixTree::Root MakeSet() {
        const PrefixTree::Root root = list_.paths_.Add(patterns_);
        patterns_.clear();
        texts_.clear();
        return root;
    }
    void EndSet() {
        if (!patterns_.empty()) list_.sets_.AddOwn(MakeSet());
    }

    std::uint32_t AddName(std::string_view name) {
        list_.names_.push_back(
            {static_cast<std::uint32_t>(list_.nameTexts_.size()), static_cast<std::uint8_t>(name.size())});
        list_.nameTexts_.insert(list_.nameTexts_.end(), name.begin(), name.end());
        return static_cast<std::uint32_t>(list_.names_.size() - 1);
    }

    MaliciousList& list_;
    ChainParts<ThreatNode>& parts_;
    std::vector<std::uint32_t> partNames_;  // what each shared set calls a whole site
    std::deque<std::string> texts_;         // of patterns_
    std::vector<PrefixTree::Pattern> patterns_;
};

void MaliciousList::Publish(const ThreatSiteList& record) {
    const auto sites = FindableSites(base::RecordArray<ThreatSiteEntry>(record.entries, record.count));
    const auto runs = ByHost<ThreatSiteEntry>(sites);
    ChainParts<ThreatNode> parts(sites.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i)
        for (const auto& site : runs[i]) parts.Note(site.entry->threats, i);

    MaliciousList list;
    Builder builder(list, parts);
    for (const auto& run : runs) builder.AddSite(run);
    list.hosts_.Build(HostsOf<ThreatSiteEntry>(runs));
    *this = std::move(list);
}

std::optional<std::string_view> MaliciousList::Find(const HostKey& host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == HostIndex::kNone) return std::nullopt;
    const Site& site = sites_[number];
    if (site.sets.count != 0 && !IsRoot(path)) {
        const PaddedText padded(path, LetterCase::kFolded);
        const std::string_view text = padded.View();
        const auto ends = [text](std::size_t length) {
            return EndsListedPath(text, length) || EndsUrlPart(text, length);
        };
        std::uint32_t name = PrefixTree::kNone;
        const bool isNamed = sets_.AnyOf(site.sets, [&](PrefixTree::Root set) {
            paths_.Walk(set, text.data(), text.size(), ends, [&name](std::size_t, std::uint32_t found) {
                name = std::min(name, found);
                return false;
            });
            return name != PrefixTree::kNone;
        });
        if (isNamed) return NameText(name);
    }
    if (site.wholeSite) return NameText(site.siteName);
    return std::nullopt;
}

void PhishingList::Publish(const PhishingSiteList& record) {
    const auto sites = FindableSites(base::RecordArray<PhishingSiteEntry>(record.entries, record.count));
    const auto runs = ByHost<PhishingSiteEntry>(sites);
    ChainParts<PathListNode> parts(sites.size());
    for (std::uint32_t i = 0; i < runs.size(); ++i)
        for (const auto& site : runs[i]) parts.Note(site.entry->paths, i);

    PhishingList list;
    std::vector<const PathListNode*> chains;
    for (std::uint32_t i = 0; i < runs.size(); ++i) {
        Site site;
        chains.clear();
        for (const auto& named : runs[i]) {
            site.wholeSite |= named.entry->wholeSite == 1;
            const PathListNode* const paths = named.entry->paths;  // a copy: the record is packed
            chains.push_back(paths);
        }
        if (!site.wholeSite) site.paths = list.paths_.Add(chains, i, parts);
        list.sites_.push_back(site);
    }
    list.hosts_.Build(HostsOf<PhishingSiteEntry>(runs));
    *this = std::move(list);
}

bool PhishingList::Matches(const HostKey& host, std::string_view path) const noexcept {
    const std::uint32_t number = hosts_.Find(host);
    if (number == HostIndex::kNone) return false;
    return sites_[number].wholeSite || paths_.Holds(sites_[number].paths, path);
}

}  // namespace tarn::lists
