// Threat lists of many entries that share one chain of paths, through the built library: no entry may lose a path.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

constexpr std::size_t kEntries = 65536;
constexpr std::size_t kNodes = 65;  // one chain, which each entry points to

class LargeLists : public ScanRecords {
 protected:
    LargeLists() {
        for (std::size_t i = 0; i < kEntries; ++i) hosts_.push_back("h" + std::to_string(i) + ".example");
        std::ranges::sort(hosts_, {}, [](const std::string& host) { return HashOf(host); });
    }
    template <class Node>
    static std::unique_ptr<Node[]> Chain() {
        auto nodes = std::make_unique<Node[]>(kNodes);
        for (std::size_t i = 0; i < kNodes; ++i) {
            const std::string path = PathOf(i);
            std::memcpy(nodes[i].path, path.c_str(), path.size() + 1);
            nodes[i].next = i + 1 < kNodes ? &nodes[i + 1] : nullptr;
        }
        return nodes;
    }
    template <class Entry, class Node>
    std::vector<Entry> EntriesWith(Node* chain) {
        std::vector<Entry> entries;
        for (std::string& host : hosts_) entries.push_back({0, HashOf(host), host.data(), chain});
        return entries;
    }
    static std::string PathOf(std::size_t node) { return "/p" + std::to_string(node); }

    // Each path of entries from all over the list, the last ones among them.
    void ExpectEveryPath(const UrlDecision& hit) {
        ASSERT_TRUE(Init());
        std::size_t missed = 0;
        std::string firstMissed;
        for (std::size_t entry = 0; entry < kEntries; entry += entry < kEntries - 1100 ? 1021 : 1) {
            for (const std::size_t node : {std::size_t{0}, kNodes - 1}) {
                ASSERT_TRUE(Visit(hosts_[entry], PathOf(node) + "/x"));
                if (Verdict() == hit) continue;
                if (missed++ == 0) firstMissed = std::to_string(entry) + " " + PathOf(node);
            }
        }
        EXPECT_EQ(missed, 0U) << "the first one is " << firstMissed;
        ASSERT_TRUE(Visit(hosts_.back(), "/other"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    }

    std::vector<std::string> hosts_;
};

TEST_F(LargeLists, MaliciousEntriesThatShareAChainAllHaveItsPaths) {
    const auto chain = Chain<ThreatNode>();
    auto entries = EntriesWith<ThreatSiteEntry>(chain.get());
    answers.bpStatus = 1;
    answers.bpSettings = {static_cast<std::uint32_t>(entries.size()), entries.data()};
    processId = kNobody;  // no program is acted on
    ExpectEveryPath(Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(LargeLists, PhishingEntriesThatShareAChainAllHaveItsPaths) {
    const auto chain = Chain<PathListNode>();
    auto entries = EntriesWith<PhishingSiteEntry>(chain.get());
    answers.apStatus = 1;
    answers.apSettings = {static_cast<std::uint32_t>(entries.size()), entries.data()};
    ExpectEveryPath(Blocks(TARN_REASON_PHISHING));
}

}  // namespace
}  // namespace tarn::system_test
