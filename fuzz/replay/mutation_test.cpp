#include "replay/mutation.h"

#include <gtest/gtest.h>
#include <set>

namespace tarn::fuzz {
namespace {

std::vector<ByteList> Many(std::uint32_t seed, std::size_t count) {
    const std::vector<ByteList> inputs{ByteList(100, 1), {}, {9, 10}};
    Mutation mutation(seed);
    std::vector<ByteList> all;
    for (std::size_t i = 0; i < count; ++i) all.push_back(mutation.Next(inputs));
    return all;
}

TEST(Mutation, EqualSeedsMakeEqualInputs) {
    EXPECT_EQ(Many(1, 500), Many(1, 500));
    EXPECT_NE(Many(1, 500), Many(2, 500));
}

TEST(Mutation, InputsDiffer) {
    const std::vector<ByteList> all = Many(1, 500);
    EXPECT_GT(std::set<ByteList>(all.begin(), all.end()).size(), 250U);  // of the empty one there are few
}

}  // namespace
}  // namespace tarn::fuzz
