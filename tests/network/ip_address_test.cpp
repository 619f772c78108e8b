#include "network/ip_address.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "network/ip_literals.h"

namespace tarn::network {
namespace {

IpAddressRecord Ipv6(const char* text) {
    IpAddressRecord record{};
    EXPECT_TRUE(ParseIpLiteral(text, record)) << text;
    EXPECT_EQ(record.family, TARN_FAMILY_IPV6) << text;
    return record;
}

TEST(CompareIPAddress, FamilyAndAddressMustBeEqual) {
    IpAddressRecord a = Ipv4Record(0x01020304);
    IpAddressRecord b = a;
    EXPECT_TRUE(CompareIPAddress(a, b));
    b.bytes[4] = 9;
    b.bytes[15] = 9;
    EXPECT_TRUE(CompareIPAddress(a, b)) << "IPv4 is four bytes";
    b.bytes[3] = 9;
    EXPECT_FALSE(CompareIPAddress(a, b));

    a = Ipv6("1:2:3:4:5:6:7:8");
    for (std::size_t i = 0; i < 16; ++i) {
        b = a;
        EXPECT_TRUE(CompareIPAddress(a, b));
        b.bytes[i] ^= 1;
        EXPECT_FALSE(CompareIPAddress(a, b)) << i;
    }
    b = a;
    b.family = TARN_FAMILY_IPV4;
    EXPECT_FALSE(CompareIPAddress(a, b));
}

TEST(IsPrivateIP, PrivateRangesLeaveOutTheirEnds) {
    const struct {
        std::uint32_t lowest;
        std::uint32_t highest;
    } ranges[] = {
        {0x0A000000, 0x0AFFFFFF}, {0xAC100000, 0xAC1FFFFF}, {0xC0A80000, 0xC0A8FFFF}, {0xA9FE0000, 0xA9FEFFFF}};
    for (const auto& range : ranges) {
        EXPECT_FALSE(IsPrivateIP(Ipv4Record(range.lowest - 1)));
        EXPECT_FALSE(IsPrivateIP(Ipv4Record(range.lowest)));
        EXPECT_TRUE(IsPrivateIP(Ipv4Record(range.lowest + 1)));
        EXPECT_TRUE(IsPrivateIP(Ipv4Record(range.highest - 1)));
        EXPECT_FALSE(IsPrivateIP(Ipv4Record(range.highest)));
        EXPECT_FALSE(IsPrivateIP(Ipv4Record(range.highest + 1)));
    }
    EXPECT_FALSE(IsPrivateIP(Ipv4Record(0x7F000001)));
}

TEST(IsPrivateIP, Ipv6IsPrivateBelowFd) {
    EXPECT_TRUE(IsPrivateIP(Ipv6("fd00::1")));
    EXPECT_TRUE(IsPrivateIP(Ipv6("fdff::")));
    EXPECT_FALSE(IsPrivateIP(Ipv6("fc00::1")));
    EXPECT_FALSE(IsPrivateIP(Ipv6("fe80::1")));
    EXPECT_FALSE(IsPrivateIP(Ipv6("a00:1::")));
}

TEST(IsPrivateIP, AnyOtherFamilyIsIpv4) {
    IpAddressRecord record = Ipv4Record(0x0A000001);
    record.family = 7;
    EXPECT_TRUE(IsPrivateIP(record));
    record.bytes[0] = 0xFD;
    EXPECT_FALSE(IsPrivateIP(record));
}

TEST(ParseIpLiteral, Ipv4LiteralTable) {
    for (const Ipv4Literal& literal : kIpv4Literals) {
        IpAddressRecord record;
        std::memset(&record, 0xEE, sizeof record);
        ASSERT_EQ(ParseIpLiteral(literal.text, record), literal.isLiteral) << literal.text;
        if (!literal.isLiteral) {
            EXPECT_EQ(record.family, 0xEE) << "left alone";
            continue;
        }
        const IpAddressRecord expected = Ipv4Record(literal.number);
        EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0) << literal.text;
    }
}

TEST(ParseIpLiteral, Ipv6LiteralTable) {
    for (const Ipv6Literal& literal : kIpv6Literals) {
        IpAddressRecord record{};
        ASSERT_EQ(ParseIpLiteral(literal.text, record), literal.groups != nullptr) << literal.text;
        if (literal.groups == nullptr) continue;
        EXPECT_EQ(record.family, TARN_FAMILY_IPV6);
        char groups[40];
        ASSERT_TRUE(FormatIpv6Groups(record.bytes, groups, sizeof groups));
        EXPECT_STREQ(groups, literal.groups) << literal.text;
    }
}

TEST(FormatIpAddress, ShortForms) {
    const struct {
        const char* text;
        const char* shortForm;
    } cases[] = {
        {"::", "::"},
        {"::1", "::1"},
        {"1::", "1::"},
        {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
        {"1:0:0:2:3:0:0:4", "1::2:3:0:0:4"},
        {"1:0:2:3:4:5:6:7", "1:0:2:3:4:5:6:7"},
        {"0:0:3:4:5:6:7:8", "::3:4:5:6:7:8"},
        {"2001:0DB8::00FF", "2001:db8::ff"},
        {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
        {"::1.2.3.4", "::1.2.3.4"},
        {"::ffff:0:1.2.3.4", "::ffff:0:1.2.3.4"},
        {"fe80::5efe:1.2.3.4", "fe80::5efe:1.2.3.4"},
        {"fe80::200:5efe:1.2.3.4", "fe80::200:5efe:1.2.3.4"},
        {"::1:2", "::0.1.0.2"},
        {"ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    };
    for (const auto& c : cases) EXPECT_EQ(FormatIpAddress(Ipv6(c.text)).View(), c.shortForm) << c.text;
    EXPECT_EQ(FormatIpAddress(Ipv4Record(0xC0A80001)).View(), "192.168.0.1");
    EXPECT_EQ(FormatIpAddress(Ipv4Record(0xFFFFFFFF)).View(), "255.255.255.255");
    IpAddressRecord other = Ipv4Record(1);
    other.family = 9;
    EXPECT_EQ(FormatIpAddress(other).View(), "0.0.0.1") << "only family 1 is IPv6";
}

TEST(FormatIpv6Groups, NeedsRoomForFortyCharacters) {
    const IpAddressRecord record = Ipv6("1:23:456:789a:bcde:f012:3456:789a");
    char text[41] = "x";
    EXPECT_TRUE(FormatIpv6Groups(record.bytes, text, 40));
    EXPECT_STREQ(text, "0001:0023:0456:789a:bcde:f012:3456:789a");
    EXPECT_FALSE(FormatIpv6Groups(record.bytes, text, 39));
    EXPECT_STREQ(text, "");
    EXPECT_FALSE(FormatIpv6Groups(record.bytes, text, 0));
}

}  // namespace
}  // namespace tarn::network
