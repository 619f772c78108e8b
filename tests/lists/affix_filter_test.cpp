#include "lists/affix_filter.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lists/random_texts.h"

namespace tarn::lists {
namespace {

// Texts are asked with every pattern at their front or back.
template <bool kBackward>
std::string Joined(const std::string& pattern, const std::string& rest) {
    return kBackward ? rest + pattern : pattern + rest;
}

template <bool kBackward>
void EveryPatternPasses() {
    for (std::uint32_t seed = 0; seed < 1000; ++seed) {
        RandomTexts random(seed);
        std::vector<std::string> patterns(1 + random.Below(20));
        for (std::string& pattern : patterns) pattern = random.Text("ab.\xFF", random.Length(60));
        AffixFilter<kBackward> filter(patterns.size());
        for (const std::string& pattern : patterns) filter.Add(pattern);
        for (const std::string& pattern : patterns)
            for (const std::size_t more : {0U, 1U, 3U, 20U})
                ASSERT_TRUE(filter.MayMatch(Joined<kBackward>(pattern, random.Text("ab.", more)))) << seed << pattern;
    }
}

TEST(AffixFilter, EveryPatternPasses) {
    EveryPatternPasses<false>();
    EveryPatternPasses<true>();
}

template <bool kBackward>
void MostOthersAreHeldBack(std::size_t length) {
    RandomTexts random(static_cast<std::uint32_t>(length));
    AffixFilter<kBackward> filter(1000);
    for (int i = 0; i < 1000; ++i) filter.Add(random.Text("abcdefghijklmnop", length));
    std::size_t passed = 0;
    for (int i = 0; i < 10000; ++i) passed += filter.MayMatch(random.Text("qrstuvwxyz", 40)) ? 1U : 0U;
    EXPECT_LT(passed, 1000U) << length;
}

TEST(AffixFilter, MostOthersAreHeldBack) {
    for (const std::size_t length : {4U, 7U, 8U, 11U, 12U, 15U, 16U, 17U, 60U}) {
        MostOthersAreHeldBack<false>(length);
        MostOthersAreHeldBack<true>(length);
    }
}

TEST(AffixFilter, AnEmptyOneHoldsEverythingBack) {
    const PrefixFilter none;
    const SuffixFilter forNothing(0);
    for (std::size_t length = 0; length < 40; ++length) {
        EXPECT_FALSE(none.MayMatch(std::string(length, 'a')));
        EXPECT_FALSE(forNothing.MayMatch(std::string(length, 'a')));
    }
    EXPECT_TRUE(none.Empty());
}

TEST(AffixFilter, AShortPatternLetsEverythingPass) {
    for (const char* const pattern : {"", "a", "abc"}) {
        PrefixFilter filter(1);
        filter.Add(pattern);
        EXPECT_TRUE(filter.MayMatch("anything")) << pattern;
        EXPECT_TRUE(filter.MayMatch("")) << pattern;
    }
}

}  // namespace
}  // namespace tarn::lists
