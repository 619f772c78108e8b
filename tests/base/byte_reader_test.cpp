#include "base/byte_reader.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>

namespace tarn::base {
namespace {

constexpr std::array<std::uint8_t, 5> kFive = {0x01, 0x02, 0x03, 0x04, 0x05};

TEST(ByteReader, ReadsBothByteOrders) {
    ByteReader reader(kFive);
    std::uint16_t big = 0;
    std::uint16_t little = 0;
    ASSERT_TRUE(reader.Be(big));
    ASSERT_TRUE(reader.Le(little));
    EXPECT_EQ(big, 0x0102);
    EXPECT_EQ(little, 0x0403);
    EXPECT_EQ(reader.Remaining(), 1U);
}

TEST(ByteReader, AReadThatDoesNotFitChangesNothing) {
    ByteReader reader(kFive);
    ASSERT_TRUE(reader.Skip(3));
    std::uint32_t number = 7;
    Bytes view = kFive;
    EXPECT_FALSE(reader.Be(number));
    EXPECT_FALSE(reader.Le(number));
    EXPECT_FALSE(reader.Skip(3));
    EXPECT_FALSE(reader.Take(3, view));
    EXPECT_EQ(number, 7U);
    EXPECT_EQ(view.size(), 5U);
    EXPECT_EQ(reader.Position(), 3U);
}

TEST(ByteReader, TakesTheRestExactly) {
    ByteReader reader(kFive);
    Bytes view;
    ASSERT_TRUE(reader.Skip(1));
    ASSERT_TRUE(reader.Take(4, view));
    EXPECT_EQ(view.front(), 0x02);
    EXPECT_EQ(view.size(), 4U);
    EXPECT_EQ(reader.Remaining(), 0U);
    EXPECT_TRUE(reader.Skip(0));
}

TEST(Window, RefusesWhatPassesTheEndWithoutOverflow) {
    EXPECT_TRUE(Window(kFive, 5, 0).has_value());
    EXPECT_TRUE(Window(kFive, 0, 5).has_value());
    EXPECT_FALSE(Window(kFive, 6, 0).has_value());
    EXPECT_FALSE(Window(kFive, 1, 5).has_value());
    EXPECT_FALSE(Window(kFive, 1, std::numeric_limits<std::size_t>::max()).has_value());
}

}  // namespace
}  // namespace tarn::base
