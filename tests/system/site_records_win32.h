// Records that scan tests fill themselves where the fixture's shapes do not reach: user lists, site lists, requests.
// The records belong to the test; the library copies what it keeps.
#ifndef TARN_TESTS_SYSTEM_SITE_RECORDS_WIN32_H
#define TARN_TESTS_SYSTEM_SITE_RECORDS_WIN32_H

#include <algorithm>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "system/scan_fixture_win32.h"

namespace tarn::system_test {

struct UserUrl {
    std::string host;
    std::string path{};
    std::uint8_t hostOnly = 1;
    std::uint8_t kind = 1;
    std::uint8_t includeSubdomains = 1;
};

// A threat or a phishing path of a site; name is a threat's.
struct ListedPath {
    std::string path;
    std::string name{};
};
struct ListedSite {
    std::string host;
    bool wholeSite = true;
    std::vector<ListedPath> paths{};
};

class SiteRecords : public ScanRecords {
 protected:
    UserUrlList UserList(const std::vector<UserUrl>& urls) {
        UserUrlEntry* next = nullptr;
        for (auto url = urls.rbegin(); url != urls.rend(); ++url) {
            UserUrlEntry& entry = entries_.emplace_back();
            Put(entry.host, url->host);
            Put(entry.path, url->path);
            entry.hostOnly = url->hostOnly;
            entry.kind = url->kind;
            entry.includeSubdomains = url->includeSubdomains;
            entry.next = next;
            next = &entry;
        }
        return {static_cast<std::uint32_t>(urls.size()), next};
    }

    // Browsing protection on, prompt bytes 3 and 4.
    void ListMalicious(const std::vector<ListedSite>& sites) {
        malicious_.clear();
        for (const ListedSite& site : sites) {
            ThreatNode* next = nullptr;
            for (auto path = site.paths.rbegin(); path != site.paths.rend(); ++path) {
                ThreatNode& node = threats_.emplace_back();
                Put(node.path, path->path);
                Put(node.name, path->name);
                node.next = next;
                next = &node;
            }
            malicious_.push_back({site.wholeSite ? std::uint8_t{1} : std::uint8_t{0}, HashOf(site.host),
                                  hosts_.emplace_back(site.host).data(), next});
        }
        std::ranges::stable_sort(malicious_, [](const auto& a, const auto& b) { return a.hash < b.hash; });
        answers.bpStatus = 1;
        answers.bpPrompt = {3, 4};
        answers.bpSettings = {static_cast<std::uint32_t>(malicious_.size()), malicious_.data()};
    }
    // Anti-phishing on, prompt bytes 5 and 6.
    void ListPhishing(const std::vector<ListedSite>& sites) {
        phishing_.clear();
        for (const ListedSite& site : sites) {
            PathListNode* next = nullptr;
            for (auto path = site.paths.rbegin(); path != site.paths.rend(); ++path) {
                PathListNode& node = paths_.emplace_back();
                Put(node.path, path->path);
                node.next = next;
                next = &node;
            }
            phishing_.push_back({site.wholeSite ? std::uint8_t{1} : std::uint8_t{0}, HashOf(site.host),
                                 hosts_.emplace_back(site.host).data(), next});
        }
        std::ranges::stable_sort(phishing_, [](const auto& a, const auto& b) { return a.hash < b.hash; });
        answers.apStatus = 1;
        answers.apPrompt = {5, 6};
        answers.apSettings = {static_cast<std::uint32_t>(phishing_.size()), phishing_.data()};
    }

    UrlDecision VerdictOf(const std::string& host, const std::string& target) {
        EXPECT_TRUE(Visit(host, target));
        return Verdict();
    }

 private:
    template <std::size_t N>
    static void Put(char (&field)[N], const std::string& text) {
        ASSERT_LT(text.size(), N);
        std::memcpy(field, text.c_str(), text.size() + 1);
    }

    std::deque<UserUrlEntry> entries_;
    std::deque<std::string> hosts_;
    std::deque<ThreatNode> threats_;
    std::deque<PathListNode> paths_;
    std::vector<ThreatSiteEntry> malicious_;
    std::vector<PhishingSiteEntry> phishing_;
};

}  // namespace tarn::system_test

#endif
