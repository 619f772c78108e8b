#include "lists/chain_parts.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

#include "base/chain.h"
#include "lists/random_texts.h"

namespace tarn::lists {
namespace {

struct Node {
    const Node* next = nullptr;
};

struct Chain {
    const Node* first;
    std::uint32_t site;
};

// Each set is a list of nodes, its root the number of that list.
class Published {
 public:
    // chains: those of one site behind one another, the sites from 0 on without a gap.
    explicit Published(const std::vector<Chain>& chains) {
        ChainParts<Node> parts(chains.size());
        for (const auto& [first, site] : chains) parts.Note(first, site);
        for (std::size_t i = 0; i < chains.size();) {
            const std::uint32_t site = chains[i].site;
            const SiteSets::Range begin = sets_.Begin();
            for (; i < chains.size() && chains[i].site == site; ++i) {
                std::vector<const Node*> own;
                const Node* const shared =
                    parts.Take(chains[i].first, site, [&own](const Node& node) { own.push_back(&node); });
                if (!own.empty()) sets_.AddOwn(Keep(own));
                if (shared == nullptr) continue;
                const std::uint32_t part = parts.Publish(shared, sets_, [this](const Node* node, const Node* end) {
                    std::vector<const Node*> nodes;
                    do nodes.push_back(node);
                    while ((node = node->next) != end);
                    return Keep(nodes);
                });
                sets_.AddShared(part);
            }
            ranges_.push_back(sets_.End(begin));
        }
    }

    // The nodes of a site in the order in which a look-up comes to them, each where it comes first.
    std::vector<const Node*> NodesOf(std::uint32_t site) const {
        std::vector<const Node*> nodes;
        sets_.AnyOf(ranges_[site], [&](PrefixTree::Root set) {
            for (const Node* node : lists_[set])
                if (std::ranges::find(nodes, node) == nodes.end()) nodes.push_back(node);
            return false;
        });
        return nodes;
    }
    std::size_t SetsOf(std::uint32_t site) const {
        std::size_t count = 0;
        sets_.AnyOf(ranges_[site], [&count](PrefixTree::Root) {
            ++count;
            return false;
        });
        return count;
    }
    // Of all sets together.
    std::size_t Nodes() const {
        std::size_t count = 0;
        for (const auto& list : lists_) count += list.size();
        return count;
    }
    std::size_t Sets() const { return sets_.ofSites.size() + sets_.shared.size(); }

 private:
    PrefixTree::Root Keep(const std::vector<const Node*>& nodes) {
        lists_.push_back(nodes);
        return static_cast<PrefixTree::Root>(lists_.size() - 1);
    }

    SiteSets sets_;
    std::vector<SiteSets::Range> ranges_;
    std::vector<std::vector<const Node*>> lists_;
};

std::vector<const Node*> PlainWalk(const std::vector<Chain>& chains, std::uint32_t site) {
    std::vector<const Node*> nodes;
    for (const Chain& chain : chains)
        if (chain.site == site)
            base::ForEachNode(chain.first, SIZE_MAX, [&nodes](const Node& node) {
                if (std::ranges::find(nodes, &node) == nodes.end()) nodes.push_back(&node);
            });
    return nodes;
}

// A row of nodes, each of which leads to the one behind it.
std::vector<Node> Row(std::size_t length) {
    std::vector<Node> row(length);
    for (std::size_t i = 0; i + 1 < length; ++i) row[i].next = &row[i + 1];
    return row;
}

constexpr std::size_t kMany = 65536;

TEST(ChainParts, ATailThatManyChainsRunIntoIsPublishedOnce) {
    const std::vector<Node> tail = Row(kMany);
    std::vector<Node> heads(kMany, Node{tail.data()});
    std::vector<Chain> chains;
    for (std::uint32_t site = 0; site < kMany; ++site) chains.push_back({&heads[site], site});
    const Published published(chains);
    EXPECT_EQ(published.Nodes(), 2 * kMany);
    EXPECT_EQ(published.Sets(), 2 * kMany + 1) << "a head and a way into the tail for each site, and the tail";
    EXPECT_EQ(published.SetsOf(kMany - 1), 2U);
}

TEST(ChainParts, ATailThatChainsRunIntoAtEachNodeIsPublishedOnce) {
    const std::vector<Node> tail = Row(kMany);
    std::vector<Node> heads;
    for (const Node& node : tail) heads.push_back({&node});
    std::vector<Chain> chains;
    for (std::uint32_t site = 0; site < kMany; ++site) chains.push_back({&heads[site], site});
    const Published published(chains);
    EXPECT_EQ(published.Nodes(), 2 * kMany);
    EXPECT_LE(published.Sets(), 3 * kMany);
    EXPECT_EQ(published.SetsOf(kMany - 1), 2U);
    EXPECT_EQ(published.SetsOf(0), kMany) << "its head and the first node, and each of the others";
}

TEST(ChainParts, ASiteThatNobodySharesWithIsItsOwnSetsOnly) {
    std::vector<Node> row = Row(10);
    Node second{&row[5]};
    const Published published({{row.data(), 0}, {&second, 0}, {row.data(), 0}, {nullptr, 0}});
    EXPECT_EQ(published.Nodes(), 11U);
    EXPECT_EQ(published.Sets(), 2U);
    const Published none({{nullptr, 0}});
    EXPECT_EQ(none.Sets(), 0U);
}

TEST(ChainParts, ALoopIsWalkedOnceFromWhereverItIsEntered) {
    std::vector<Node> loop = Row(5);
    loop[4].next = &loop[1];
    const std::vector<Chain> chains{{&loop[0], 0}, {&loop[3], 1}, {&loop[1], 2}, {&loop[3], 3}};
    const Published published(chains);
    EXPECT_EQ(published.Nodes(), 5U);
    for (const Chain& chain : chains) EXPECT_EQ(published.NodesOf(chain.site), PlainWalk(chains, chain.site));
    EXPECT_LE(published.SetsOf(1), 2U);
}

TEST(ChainParts, SitesHaveTheNodesOfThePlainWalkInItsOrder) {
    std::size_t shared = 0;
    for (std::uint32_t seed = 0; seed < 20000; ++seed) {
        RandomTexts random(seed);
        std::vector<Node> nodes(1 + random.Below(12));
        const bool loops = random.OneIn(3);
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const std::size_t next = random.OneIn(2) ? i + 1 : random.Below(nodes.size());
            if (next < nodes.size() && (loops || next > i)) nodes[i].next = &nodes[next];
        }
        std::vector<Chain> chains;
        const auto sites = static_cast<std::uint32_t>(1 + random.Below(5));
        for (std::uint32_t site = 0; site < sites; ++site)
            for (std::size_t count = 1 + random.Below(3); count != 0; --count)
                chains.push_back({random.OneIn(8) ? nullptr : &nodes[random.Below(nodes.size())], site});
        const Published published(chains);
        std::vector<const Node*> reached;
        std::size_t reaches = 0;
        for (std::uint32_t site = 0; site < sites; ++site) {
            const std::vector<const Node*> walked = PlainWalk(chains, site);
            ASSERT_EQ(published.NodesOf(site), walked) << "seed " << seed << " site " << site;
            reaches += walked.size();
            reached.insert(reached.end(), walked.begin(), walked.end());
        }
        std::ranges::sort(reached);
        reached.erase(std::ranges::unique(reached).begin(), reached.end());
        ASSERT_EQ(published.Nodes(), reached.size()) << "seed " << seed;
        shared += reaches > reached.size() ? 1U : 0U;
    }
    EXPECT_GT(shared, 10000U) << "too little is shared to prove anything";
}

}  // namespace
}  // namespace tarn::lists
