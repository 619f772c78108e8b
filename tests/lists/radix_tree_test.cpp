#include "lists/radix_tree.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "lists/random_texts.h"

namespace tarn::lists {
namespace {

using Hits = std::set<std::pair<std::size_t, std::uint32_t>>;  // length and payload

template <bool kBackward>
Hits Walk(const RadixTree<kBackward>& tree, std::uint32_t root, std::string_view text) {
    const PaddedText padded(text, LetterCase::kKept);
    const char* at = padded.View().data() + (kBackward ? text.size() : 0);
    Hits hits;
    tree.Walk(
        root, at, text.size(), [](std::size_t) { return true; },
        [&hits](std::size_t length, std::uint32_t payload) {
            EXPECT_TRUE(hits.emplace(length, payload).second) << "found twice";
            return false;
        });
    return hits;
}

// Two sets of patterns in one tree, asked with texts that share beginnings (or ends) with them.
template <bool kBackward>
void CompareWithSearch(std::uint32_t seed) {
    RandomTexts random(seed);
    std::string texts[4];
    for (std::string& text : texts) text = random.Text("ab\xFF", random.Length(1023));
    RadixTree<kBackward> tree;
    std::map<std::string, std::uint32_t> sets[2];
    std::uint32_t roots[2];
    for (int i = 0; i < 2; ++i) {
        std::vector<std::string> kept;
        for (std::size_t count = random.Below(40); count != 0; --count) {
            const std::string& text = texts[random.Below(4)];
            const std::size_t length = random.Below(text.size() + 1);
            std::string pattern = kBackward ? text.substr(text.size() - length) : text.substr(0, length);
            if (!pattern.empty() && random.OneIn(4)) pattern[random.Below(pattern.size())] = 'c';
            kept.push_back(pattern);
        }
        std::vector<typename RadixTree<kBackward>::Pattern> patterns;
        for (const std::string& pattern : kept) {
            const auto payload = static_cast<std::uint32_t>(random.Below(1000));
            patterns.push_back({pattern, payload});
            const auto [known, isNew] = sets[i].try_emplace(pattern, payload);
            if (!isNew && payload < known->second) known->second = payload;
        }
        roots[i] = tree.Add(patterns);
    }
    for (const std::string& text : texts) {
        for (int i = 0; i < 2; ++i) {
            Hits expected;
            for (const auto& [pattern, payload] : sets[i])
                if (kBackward ? text.ends_with(pattern) : text.starts_with(pattern))
                    expected.emplace(pattern.size(), payload);
            ASSERT_EQ(Walk(tree, roots[i], text), expected) << "seed " << seed << " text " << text;
        }
    }
}

TEST(RadixTree, FindsExactlyThePrefixes) {
    for (std::uint32_t seed = 0; seed < 3000; ++seed) CompareWithSearch<false>(seed);
}

TEST(RadixTree, FindsExactlyTheSuffixes) {
    for (std::uint32_t seed = 0; seed < 3000; ++seed) CompareWithSearch<true>(seed);
}

TEST(RadixTree, AnEmptySetFindsNothing) {
    PrefixTree tree;
    EXPECT_EQ(tree.Add({}), PrefixTree::kNone);
    EXPECT_TRUE(Walk(tree, PrefixTree::kNone, "a").empty());
}

TEST(RadixTree, TheLowestPayloadOfEqualPatternsStays) {
    const PrefixTree::Pattern patterns[] = {{"same", 7}, {"same", 3}, {"same", 5}, {"samesame!", 9}, {"samesame!", 8}};
    PrefixTree tree;
    const PrefixTree::Root root = tree.Add(patterns);
    EXPECT_EQ(Walk(tree, root, "samesame!"), (Hits{{4, 3}, {9, 8}}));
}

TEST(RadixTree, UnwantedLengthsAreNotReported) {
    const PrefixTree::Pattern patterns[] = {{"a", 1}, {"ab", 2}, {"abcdefghi", 3}};
    PrefixTree tree;
    const PrefixTree::Root root = tree.Add(patterns);
    const PaddedText text("abcdefghij", LetterCase::kKept);
    std::vector<std::uint32_t> found;
    EXPECT_TRUE(tree.Walk(
        root, text.View().data(), text.View().size(), [](std::size_t length) { return length != 1; },
        [&found](std::size_t, std::uint32_t payload) {
            found.push_back(payload);
            return payload == 3;
        }));
    EXPECT_EQ(found, (std::vector<std::uint32_t>{2, 3}));
}

#ifndef NDEBUG
TEST(RadixTreeDeathTest, ATooLongPatternOrNoPayloadIsCaught) {
    PrefixTree tree;
    const std::string text(65536, 'a');
    const PrefixTree::Pattern longest{std::string_view(text).substr(1), 1};
    EXPECT_NE(tree.Add({&longest, 1}), PrefixTree::kNone);
    const PrefixTree::Pattern tooLong{text, 1};
    EXPECT_DEATH(tree.Add({&tooLong, 1}), "pattern.text");
    const PrefixTree::Pattern without{"a", PrefixTree::kNone};
    EXPECT_DEATH(tree.Add({&without, 1}), "payload");
}
#endif

}  // namespace
}  // namespace tarn::lists
