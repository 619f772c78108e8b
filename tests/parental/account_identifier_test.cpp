#include "parental/account_identifier.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>

#include "parental/session_builders.h"

namespace tarn::parental {
namespace {

TEST(AccountIdentifier, LengthFollowsTheSubAuthorities) {
    for (std::uint8_t count = 0; count <= 14; ++count)
        EXPECT_EQ(IdentifierLength(Sid(1, count)), 8U + 4U * count) << int{count};
}

TEST(AccountIdentifier, FifteenSubAuthoritiesDoNotFitARecord) {
    EXPECT_EQ(IdentifierLength(LongSid(1, 15)), 68U);
    EXPECT_FALSE(IsValidIdentifier(Sid(1, 15)));
}

TEST(AccountIdentifier, OtherRevisionsAndLongerOnesAreInvalid) {
    EXPECT_FALSE(IsValidIdentifier(AccountSid{}));
    AccountSid sid = Sid(1);
    sid[0] = 2;
    EXPECT_FALSE(IsValidIdentifier(sid));
    sid[0] = 0x11;
    EXPECT_FALSE(IsValidIdentifier(sid));
    EXPECT_FALSE(IsValidIdentifier(LongSid(1, 16)));
    EXPECT_FALSE(IsValidIdentifier(LongSid(1, 255)));
}

TEST(AccountIdentifier, EveryTruncation) {
    const AccountSid whole = Sid(9);
    const std::size_t length = IdentifierLength(whole);
    for (std::size_t size = 0; size <= length; ++size) {
        const auto bytes = std::make_unique<std::uint8_t[]>(size);
        std::memcpy(bytes.get(), whole.data(), size);
        const std::span<const std::uint8_t> cut(bytes.get(), size);
        EXPECT_EQ(IdentifierLength(cut), size == length ? length : 0) << size;
        EXPECT_EQ(EqualIdentifiers(whole, cut), size == length) << size;
        EXPECT_EQ(EqualIdentifiers(cut, whole), size == length) << size;
    }
}

TEST(AccountIdentifier, BytesBehindTheLengthDoNotCount) {
    AccountSid padded = Sid(9);
    padded[28] = 0xEE;
    EXPECT_TRUE(EqualIdentifiers(Sid(9), padded));
    EXPECT_TRUE(EqualIdentifiers(padded, Sid(9)));
    EXPECT_TRUE(EqualIdentifiers(Sid(9), LongSid(9)));
    padded[27] ^= 1;
    EXPECT_FALSE(EqualIdentifiers(Sid(9), padded));
}

TEST(AccountIdentifier, EveryByteOfTheLengthCounts) {
    for (std::size_t i = 0; i < 28; ++i) {
        AccountSid other = Sid(9);
        other[i] ^= 1;
        EXPECT_FALSE(EqualIdentifiers(Sid(9), other)) << i;
    }
}

TEST(AccountIdentifier, AnInvalidOneEqualsNotEvenItself) {
    EXPECT_FALSE(EqualIdentifiers(AccountSid{}, AccountSid{}));
    EXPECT_FALSE(EqualIdentifiers(Sid(1, 15), Sid(1, 15)));
}

}  // namespace
}  // namespace tarn::parental
