// The identifier of a flow and the digest below it, against vectors that others published.
#include <gmock/gmock.h>
#include <string>

#include "host/community_id.h"
#include "host/sha1.h"

namespace tarn::host {
namespace {

std::string Hex(const std::string& message) {
    const Sha1Digest digest = Sha1({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()});
    std::string text;
    for (const std::uint8_t byte : digest) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

TEST(Sha1, AgreesWithThePublishedVectors) {
    EXPECT_EQ(Hex(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(Hex("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(Hex(std::string(1000000, 'a')), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

// From where the length still fits behind the message to where it needs another block.
TEST(Sha1, AgreesAroundTheEndOfABlock) {
    EXPECT_EQ(Hex(std::string(55, 'a')), "c1c8bbdc22796e28c0e15163d20899b65621d65a");
    EXPECT_EQ(Hex(std::string(56, 'a')), "c2db330f6083854c99d4b5bfb6e8f29f201be699");
    EXPECT_EQ(Hex(std::string(63, 'a')), "03f09f5b158a7a8cdad920bddc29b81c18a551f5");
    EXPECT_EQ(Hex(std::string(64, 'a')), "0098ba824b5c16427bd7a1122a5a442a25ec644d");
}

Endpoint At(const char* address, std::uint16_t port) {
    return {*ParseIpAddress(address), port};
}

TEST(CommunityId, AgreesWithThePublishedVectors) {
    EXPECT_EQ(CommunityId({true, At("128.232.110.120", 34855), At("66.35.250.204", 80)}),
              "1:LQU9qZlK+B5F3KDmev6m5PMibrg=");
    EXPECT_EQ(CommunityId({false, At("192.168.1.52", 54585), At("8.8.8.8", 53)}), "1:d/FP5EW3wiY1vCndhwleRRKHowQ=");
    EXPECT_EQ(
        CommunityId({true, At("2001:470:e5bf:dead:4957:2174:e82c:4887", 63943), At("2607:f8b0:400c:c03::1a", 25)}),
        "1:/qFaeAR+gFe1KYjMzVDsMv+wgU4=");
}

TEST(CommunityId, IsTheSameInBothDirections) {
    const Endpoint low = At("10.0.0.1", 9);
    const Endpoint high = At("10.0.0.1", 10);
    EXPECT_EQ(CommunityId({true, low, high}), CommunityId({true, high, low}));
    EXPECT_NE(CommunityId({true, low, high}), CommunityId({false, low, high}));
}

}  // namespace
}  // namespace tarn::host
