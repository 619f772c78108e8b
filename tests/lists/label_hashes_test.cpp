#include "lists/label_hashes.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/hash.h"
#include "lists/plain_walk.h"
#include "lists/random_texts.h"

namespace tarn::lists {
namespace {

using Texts = std::vector<std::string>;

void ExpectHashesOf(const std::string& host, const Texts& texts) {
    LabelHashes hashes;
    ASSERT_TRUE(ComputeLabelHashes(host, hashes)) << host;
    ASSERT_EQ(hashes.count, texts.size()) << host;
    for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(hashes.values[i], base::Crc32Of(texts[i])) << texts[i];
}

TEST(LabelHashes, WholeHostThenWhatIsBehindEachDot) {
    ExpectHashesOf("a.b.c.d", {"a.b.c.d", "b.c.d", "c.d", "d"});
    ExpectHashesOf("localhost", {"localhost"});
    ExpectHashesOf("a..b", {"a..b", ".b", "b"});
    ExpectHashesOf("WWW.Example.org", {"WWW.Example.org", "Example.org", "org"});
    ExpectHashesOf("\xFF.\xFE", {"\xFF.\xFE", "\xFE"});
}

TEST(LabelHashes, AtMostTen) {
    ExpectHashesOf("1a.2.3.4.5.6.7.8.9.10",
                   {"1a.2.3.4.5.6.7.8.9.10", "2.3.4.5.6.7.8.9.10", "3.4.5.6.7.8.9.10", "4.5.6.7.8.9.10", "5.6.7.8.9.10",
                    "6.7.8.9.10", "7.8.9.10", "8.9.10", "9.10", "10"});
    ExpectHashesOf(
        "0a.1a.2.3.4.5.6.7.8.9.10.11",
        {"0a.1a.2.3.4.5.6.7.8.9.10.11", "1a.2.3.4.5.6.7.8.9.10.11", "2.3.4.5.6.7.8.9.10.11", "3.4.5.6.7.8.9.10.11",
         "4.5.6.7.8.9.10.11", "5.6.7.8.9.10.11", "6.7.8.9.10.11", "7.8.9.10.11", "8.9.10.11", "9.10.11"});
}

TEST(LabelHashes, AddressLiteralsHaveOneHash) {
    for (const char* literal : {"192.168.0.1", "0x7f.1", "10", "::1", "1:2:3:4:5:6:1.2.3.4"}) {
        ExpectHashesOf(literal, {literal});
        LabelHashes hashes;
        ASSERT_TRUE(ComputeLabelHashes(literal, hashes));
        EXPECT_TRUE(hashes.isIpLiteral) << literal;
    }
    ExpectHashesOf("255.255.255.255", {"255.255.255.255", "255.255.255", "255.255", "255"});
    ExpectHashesOf("[1::1.2]", {"[1::1.2]", "2]"});
}

TEST(LabelHashes, RefusesEmptyAndDottedEnds) {
    LabelHashes hashes;
    for (const char* host : {"", ".", ".a", "a.", "..", ".1.2.3.4"})
        EXPECT_FALSE(ComputeLabelHashes(host, hashes)) << host;
}

TEST(LabelHashes, TheHashWithWwwFollowsFromTheHostsOwn) {
    std::string host;
    for (std::size_t length = 0; length <= 256; ++length, host += static_cast<char>('!' + length % 90))
        EXPECT_EQ(HashWithWww(base::Crc32Of(host), length), base::Crc32Of("www." + host)) << length;
}

TEST(LabelHashes, AgreeWithThePlainWalk) {
    for (std::uint32_t seed = 0; seed < 20000; ++seed) {
        RandomTexts random(seed);
        const std::string host = random.Text(random.OneIn(3) ? "1.2" : "ab.c-\xFFz9:",
                                             random.OneIn(50) ? 255 + random.Below(12) : random.Length(40));
        std::vector<std::uint32_t> expected;
        LabelHashes hashes;
        ASSERT_EQ(ComputeLabelHashes(host, hashes), plain::ComputeLabelHashes(host, expected)) << host;
        if (expected.empty()) continue;
        ASSERT_EQ(std::vector<std::uint32_t>(hashes.values.begin(),
                                             hashes.values.begin() + static_cast<std::ptrdiff_t>(hashes.count)),
                  expected)
            << "seed " << seed << ' ' << host;
    }
}

}  // namespace
}  // namespace tarn::lists
