#include "lists/label_hashes.h"

#include <algorithm>
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
    const HostKeys keys = host;
    const auto labels = keys.Labels();
    ASSERT_EQ(labels.size(), texts.size()) << host;
    for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(labels[i], base::Crc32Of(texts[i])) << texts[i];
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
        EXPECT_TRUE(HostKeys(literal).IsIpLiteral()) << literal;
    }
    ExpectHashesOf("255.255.255.255", {"255.255.255.255", "255.255.255", "255.255", "255"});
    ExpectHashesOf("[1::1.2]", {"[1::1.2]", "2]"});
}

TEST(LabelHashes, RefusesEmptyAndDottedEnds) {
    for (const char* host : {"", ".", ".a", "a.", "..", ".1.2.3.4"})
        EXPECT_TRUE(HostKeys(host).Labels().empty()) << host;
}

TEST(LabelHashes, TheHashWithWwwFollowsFromTheHostsOwn) {
    std::string host;
    for (std::size_t length = 0; length <= 256; ++length, host += static_cast<char>('!' + length % 90))
        EXPECT_EQ(HashWithWww(base::Crc32Of(host), length), base::Crc32Of("www." + host)) << length;
}

TEST(LabelHashes, TheWholeHostAndItsDotsAreHashedWhateverTheHost) {
    for (const std::string host : {"", ".", "a.", ".a.b", "10.1.2.3", "www.example.org", "www.", "a.1.2.3.4.5.6.7.8",
                                   "a.1.2.3.4.5.6.7.8.9", "a.1.2.3.4.5.6.7.8.9.", "a..1.2.3.4.5.6.7.8.9"}) {
        const HostKeys keys = host;
        EXPECT_EQ(keys.Whole().hash, base::Crc32Of(host)) << host;
        EXPECT_EQ(keys.Whole().text, host);
        std::vector<std::uint32_t> behindDots;
        for (std::size_t at = host.find('.'); at != std::string::npos; at = host.find('.', at + 1))
            behindDots.push_back(base::Crc32Of(std::string_view(host).substr(at + 1)));
        EXPECT_EQ(keys.HasMoreDots(), behindDots.size() > 9) << host;
        behindDots.resize(std::min<std::size_t>(behindDots.size(), 9));
        EXPECT_EQ(std::vector(keys.BehindDots().begin(), keys.BehindDots().end()), behindDots) << host;
    }
}

TEST(LabelHashes, AHostIsKnownWithoutItsWww) {
    for (const std::string host :
         {"www.example.org", "www.", "www", "wwwx.org", "WWW.example.org", "", "example.org"}) {
        const HostKeys keys = host;
        const std::string_view without = std::string_view(host).substr(host.starts_with("www.") ? 4 : 0);
        EXPECT_EQ(keys.WithoutWww().text, without);
        EXPECT_EQ(keys.WithoutWww().hash, base::Crc32Of(without)) << host;
    }
}

TEST(LabelHashes, ALetterInUpperCaseIsSeenWhereverItStands) {
    for (std::size_t length = 1; length < 40; ++length)
        for (std::size_t at = 0; at < length; ++at)
            for (const char c : {'A', 'Z', '@', '[', 'a', '\xC1'}) {
                std::string host(length, 'x');
                host[at] = c;
                EXPECT_EQ(HostKeys(host).HasUpper(), c == 'A' || c == 'Z') << host;
            }
}

TEST(LabelHashes, AgreeWithThePlainWalk) {
    for (std::uint32_t seed = 0; seed < 20000; ++seed) {
        RandomTexts random(seed);
        const std::string host = random.Text(random.OneIn(3) ? "1.2" : "ab.c-\xFFz9:",
                                             random.OneIn(50) ? 255 + random.Below(12) : random.Length(40));
        std::vector<std::uint32_t> expected;
        const HostKeys keys = host;
        ASSERT_EQ(!keys.Labels().empty(), plain::ComputeLabelHashes(host, expected)) << host;
        ASSERT_EQ(std::vector(keys.Labels().begin(), keys.Labels().end()), expected) << "seed " << seed << ' ' << host;
    }
}

#ifndef NDEBUG
TEST(LabelHashesDeathTest, AHostWithoutRoomForWwwIsCaught) {
    EXPECT_NE(HashWithWww(0, 256), 0U);
    EXPECT_DEATH(HashWithWww(0, 257), "kPositions");
}
#endif

}  // namespace
}  // namespace tarn::lists
