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

TEST(ByteReader, PeekReadsTheNextNumberAndStaysThere) {
    ByteReader reader(kFive);
    ASSERT_TRUE(reader.Skip(3));
    std::uint16_t number = 0;
    ASSERT_TRUE(reader.Peek(number));
    EXPECT_EQ(number, 0x0405);
    EXPECT_EQ(reader.Position(), 3U);
    ASSERT_TRUE(reader.Skip(1));
    EXPECT_FALSE(reader.Peek(number));
    EXPECT_EQ(number, 0x0405);
}

TEST(ByteReader, RestIsWhatWasNotReadYet) {
    ByteReader reader(kFive);
    EXPECT_EQ(reader.Rest().size(), 5U);
    ASSERT_TRUE(reader.Skip(3));
    ASSERT_EQ(reader.Rest().size(), 2U);
    EXPECT_EQ(reader.Rest().front(), 0x04);
    EXPECT_EQ(reader.Remaining(), 2U);
    ASSERT_TRUE(reader.Skip(2));
    EXPECT_TRUE(reader.Rest().empty());
}

TEST(ByteReader, PrefixedTakesLengthAndBody) {
    constexpr std::array<std::uint8_t, 7> kBytes = {0x02, 0xAA, 0xBB, 0x00, 0x01, 0xCC, 0x00};
    ByteReader reader(kBytes);
    Bytes body;
    ASSERT_TRUE(reader.Prefixed<std::uint8_t>(body));
    ASSERT_EQ(body.size(), 2U);
    EXPECT_EQ(body.back(), 0xBB);
    ASSERT_TRUE(reader.Prefixed<std::uint16_t>(body));
    ASSERT_EQ(body.size(), 1U);
    EXPECT_EQ(body.front(), 0xCC);
    ASSERT_TRUE(reader.Prefixed<std::uint8_t>(body));
    EXPECT_TRUE(body.empty());
    EXPECT_EQ(reader.Remaining(), 0U);
}

TEST(ByteReader, APrefixedBodyThatDoesNotFitChangesNothing) {
    constexpr std::array<std::uint8_t, 3> kBytes = {0x00, 0x02, 0xAA};
    ByteReader reader(kBytes);
    Bytes body = kFive;
    EXPECT_FALSE(reader.Prefixed<std::uint16_t>(body));
    EXPECT_FALSE(reader.Prefixed<std::uint32_t>(body));
    EXPECT_EQ(body.size(), 5U);
    EXPECT_EQ(reader.Position(), 0U);
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
