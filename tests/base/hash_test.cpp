#include "base/hash.h"

#include <bit>
#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace tarn::base {
namespace {

TEST(Crc32, CheckValueOfTheCatalogue) {
    EXPECT_EQ(Crc32Of("123456789"), 0xCBF43926U);
}

TEST(Crc32, EmptyTextIsZero) {
    EXPECT_EQ(Crc32Of(std::string_view{}), 0U);
}

TEST(Crc32, BlocksGiveTheSameAsTheWhole) {
    const std::string_view text = "a text that is cut in two at every place";
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        Crc32 crc;
        crc.Add({bytes, cut});
        crc.Add({bytes + cut, text.size() - cut});
        EXPECT_EQ(crc.Value(), Crc32Of(text)) << "cut at " << cut;
    }
}

TEST(Mix64, SpreadsEachBitOverTheWholeNumber) {
    EXPECT_EQ(Mix64(0), 0U);
    for (int changed = 0; changed < 64; ++changed) {
        int differences = 0;
        for (std::uint64_t i = 1; i <= 1000; ++i) {
            const std::uint64_t key = i * kGolden64;
            differences += std::popcount(Mix64(key) ^ Mix64(key ^ (std::uint64_t{1} << changed)));
        }
        // About 32 of 64; the high bits of a key pass through the second multiplication only.
        EXPECT_GT(differences, 15 * 1000) << "bit " << changed;
        EXPECT_LT(differences, 49 * 1000) << "bit " << changed;
    }
}

TEST(Mix64, GivesNoTwoKeysOneValue) {
    // Each step undone: the factor's inverse modulo 2^64 by Newton's method.
    constexpr std::uint64_t kFactor = 0xD6E8FEB86659FD93;
    std::uint64_t inverse = kFactor;
    for (int i = 0; i < 6; ++i) inverse *= 2 - kFactor * inverse;
    ASSERT_EQ(kFactor * inverse, 1U);
    for (std::uint64_t key : {std::uint64_t{1}, std::uint64_t{0x123456789ABCDEF}, ~std::uint64_t{0}}) {
        std::uint64_t value = Mix64(key);
        value = (value ^ (value >> 32)) * inverse;
        value = (value ^ (value >> 32)) * inverse;
        EXPECT_EQ(value, key);
    }
}

TEST(HashText, EveryCharacterAndTheLengthCount) {
    std::set<std::uint64_t> hashes;
    std::size_t texts = 0;
    for (std::size_t length = 0; length < 40; ++length) {
        hashes.insert(HashText(std::string(length, '\0')));
        ++texts;
        for (std::size_t at = 0; at < length; ++at)
            for (const char c : {'\x01', 'a', '\xFF'}) {
                std::string text(length, '\0');
                text[at] = c;
                EXPECT_EQ(HashText(text), HashText(std::string(text)));
                hashes.insert(HashText(text));
                ++texts;
            }
    }
    EXPECT_EQ(hashes.size(), texts);
}

}  // namespace
}  // namespace tarn::base
