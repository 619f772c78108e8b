// Builders that own the module records which tests and benchmarks publish.
#ifndef TARN_TESTS_LISTS_RECORD_OWNERS_H
#define TARN_TESTS_LISTS_RECORD_OWNERS_H

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "base/bounded_text.h"
#include "base/hash.h"
#include "lists/plain_walk.h"
#include "parental/site_entries.h"

namespace tarn::lists {

class UrlListOwner {
 public:
    UrlListOwner() = default;
    UrlListOwner(std::initializer_list<const char*> texts) {
        for (const char* text : texts) Add(text);
    }
    void Add(std::string_view text) { base::CopyText(entries_.emplace_back().text, sizeof(Entry), text); }
    void AddWithoutNul(char c) { std::memset(entries_.emplace_back().text, c, sizeof(Entry)); }
    UrlListRecord Record() {
        UrlListRecord record{};
        record.count = static_cast<std::uint32_t>(entries_.size());
        record.entries = entries_.empty() ? nullptr : &entries_.front().text;
        return record;
    }

 private:
    struct Entry {
        char text[TARN_URL_CAPACITY];
    };
    std::vector<Entry> entries_;
};

class UserListOwner {
 public:
    UserUrlEntry& Add(std::string_view host, std::string_view path, bool hostOnly, std::uint8_t kind = 0,
                      std::uint8_t includeSubdomains = 0) {
        UserUrlEntry& entry = entries_.emplace_back();
        base::CopyText(entry.host, sizeof entry.host, host);
        base::CopyText(entry.path, sizeof entry.path, path);
        entry.hostOnly = hostOnly ? 1 : 0;
        entry.kind = kind;
        entry.includeSubdomains = includeSubdomains;
        if (entries_.size() > 1) entries_[entries_.size() - 2].next = &entry;
        return entry;
    }
    UserUrlList Record() {
        UserUrlList record{};
        record.count = static_cast<std::uint32_t>(entries_.size());
        record.first = entries_.empty() ? nullptr : &entries_.front();
        return record;
    }

 private:
    std::deque<UserUrlEntry> entries_;
};

// Two hosts of one CRC-32 each.
struct HashCollision {
    const char* first;
    const char* second;
};
inline constexpr HashCollision kHashCollisions[] = {{"nidmovh.example", "bubanxn.example"},
                                                    {"tjodhhw.example", "xvihifq.example"},
                                                    {"absskdu.example", "qqfzmpe.example"}};

// Chains of PathListNode.
class PathChains {
 public:
    PathListNode* Make(const std::vector<std::string>& paths) {
        PathListNode* first = nullptr;
        for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
            PathListNode& node = nodes_.emplace_back();
            base::CopyText(node.path, sizeof node.path, *path);
            node.next = first;
            first = &node;
        }
        return first;
    }

 private:
    std::deque<PathListNode> nodes_;
};

// Lets a chain run into another one, behind the first skipped nodes of that one. Both have an end.
template <class Node>
void RunInto(Node* chain, Node* other, std::size_t skipped) {
    if (chain == nullptr) return;
    while (chain->next != nullptr) chain = chain->next;
    for (; other != nullptr && skipped != 0; --skipped) other = other->next;
    chain->next = other;
}

enum class HashOrder { kAscending, kDescending };

// Entries of equal hash keep the order they were added in.
template <class Entry>
void SortByHash(std::vector<Entry>& entries, HashOrder order) {
    std::stable_sort(entries.begin(), entries.end(), [order](const Entry& a, const Entry& b) {
        return order == HashOrder::kAscending ? a.hash < b.hash : a.hash > b.hash;
    });
}

class SiteTableOwner {
 public:
    parental::HostListEntry& AddHost(std::string_view text, const std::vector<std::string>& paths = {}) {
        const std::string& kept = texts_.emplace_back(text);
        hosts_.push_back({0, 0, 0, base::Crc32Of(kept), kept.c_str(), paths_.Make(paths)});
        return hosts_.back();
    }
    parental::AddressListEntry& AddAddress(const IpAddressRecord& address, const std::vector<std::string>& paths = {}) {
        addresses_.push_back({0, 0, address, paths_.Make(paths)});
        return addresses_.back();
    }
    // For the paths of several entries.
    PathListNode* MakePaths(const std::vector<std::string>& paths) { return paths_.Make(paths); }
    void Sort(HashOrder order) { SortByHash(hosts_, order); }
    [[nodiscard]] plain::SiteTables Tables() const { return {hosts_, addresses_}; }

 private:
    std::deque<std::string> texts_;
    PathChains paths_;
    std::vector<parental::HostListEntry> hosts_;
    std::vector<parental::AddressListEntry> addresses_;
};

struct Threat {
    std::string name;
    std::string path;
};

class ThreatListOwner {
 public:
    ThreatSiteEntry& Add(std::string_view host, bool wholeSite, const std::vector<Threat>& threats = {}) {
        std::string& kept = texts_.emplace_back(host);
        ThreatNode* first = nullptr;
        for (auto threat = threats.rbegin(); threat != threats.rend(); ++threat) {
            ThreatNode& node = nodes_.emplace_back();
            base::CopyText(node.name, sizeof node.name, threat->name);
            base::CopyText(node.path, sizeof node.path, threat->path);
            node.next = first;
            first = &node;
        }
        entries_.push_back({static_cast<std::uint8_t>(wholeSite), base::Crc32Of(kept), kept.data(), first});
        return entries_.back();
    }
    void Sort(HashOrder order = HashOrder::kAscending) { SortByHash(entries_, order); }
    ThreatSiteList Record() {
        ThreatSiteList record{};
        record.count = static_cast<std::uint32_t>(entries_.size());
        record.entries = entries_.data();
        return record;
    }

 private:
    std::deque<std::string> texts_;
    std::deque<ThreatNode> nodes_;
    std::vector<ThreatSiteEntry> entries_;
};

class PhishingListOwner {
 public:
    PhishingSiteEntry& Add(std::string_view host, bool wholeSite, const std::vector<std::string>& paths = {}) {
        std::string& kept = texts_.emplace_back(host);
        entries_.push_back(
            {static_cast<std::uint8_t>(wholeSite), base::Crc32Of(kept), kept.data(), paths_.Make(paths)});
        return entries_.back();
    }
    void Sort(HashOrder order = HashOrder::kAscending) { SortByHash(entries_, order); }
    PhishingSiteList Record() {
        PhishingSiteList record{};
        record.count = static_cast<std::uint32_t>(entries_.size());
        record.entries = entries_.data();
        return record;
    }

 private:
    std::deque<std::string> texts_;
    PathChains paths_;
    std::vector<PhishingSiteEntry> entries_;
};

}  // namespace tarn::lists

#endif
