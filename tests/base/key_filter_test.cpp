#include "base/key_filter.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <utility>

namespace tarn::base {
namespace {

TEST(KeyFilter, LetsPassWhatWasAdded) {
    for (std::size_t count = 1; count < 3000; count = count * 3 / 2 + 1) {
        KeyFilter filter(count);
        std::mt19937_64 hashes(count);
        for (std::size_t i = 0; i < count; ++i) filter.Add(i % 2 == 0 ? hashes() : i);
        std::mt19937_64 again(count);
        for (std::size_t i = 0; i < count; ++i) EXPECT_TRUE(filter.MayHold(i % 2 == 0 ? again() : i)) << count;
    }
}

TEST(KeyFilter, HoldsBackMostOthers) {
    constexpr std::uint32_t kCount = 10000;
    for (const std::uint64_t step : {std::uint64_t{1}, std::uint64_t{1} << 20, kGolden64}) {
        KeyFilter filter(kCount);
        for (std::uint32_t i = 0; i < kCount; ++i) filter.Add(i * step);
        std::uint32_t passed = 0;
        for (std::uint32_t i = kCount; i < 11 * kCount; ++i) passed += filter.MayHold(i * step) ? 1U : 0U;
        EXPECT_LT(passed, 10 * kCount / 20) << step;
    }
}

TEST(KeyFilter, NothingPassesWhereNothingIs) {
    const KeyFilter none;
    const KeyFilter forNothing(0);
    KeyFilter cleared(100);
    for (std::uint64_t hash = 0; hash < 100; ++hash) cleared.Add(hash);
    cleared.Clear();
    for (std::uint64_t hash = 0; hash < 1000; ++hash) {
        EXPECT_FALSE(none.MayHold(hash));
        EXPECT_FALSE(forNothing.MayHold(hash));
        EXPECT_FALSE(cleared.MayHold(hash));
    }
}

TEST(KeyFilter, TakesMoreThanItWasMadeFor) {
    KeyFilter filter(1);
    for (std::uint64_t hash = 0; hash < 1000; ++hash) filter.Add(hash);
    const KeyFilter moved = std::move(filter);
    for (std::uint64_t hash = 0; hash < 1000; ++hash) EXPECT_TRUE(moved.MayHold(hash));
}

#ifndef NDEBUG
TEST(KeyFilterDeathTest, AddingToAFilterForNothingIsCaught) {
    KeyFilter forNothing(0);
    EXPECT_DEATH(forNothing.Add(1), "words_");
}
#endif

}  // namespace
}  // namespace tarn::base
