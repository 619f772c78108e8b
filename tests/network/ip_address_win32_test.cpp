// The literals against the system's own functions.
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <winsock2.h>
#include <ws2tcpip.h>

#include "network/ip_address.h"
#include "network/ip_literals.h"

namespace tarn::network {
namespace {

class IpAddressAgainstTheSystem : public ::testing::Test {
 protected:
    static void SetUpTestSuite() {
        WSADATA data;
        ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    }
    static void TearDownTestSuite() { WSACleanup(); }

    // What the system makes of text.
    static bool SystemParse(const std::string& text, IpAddressRecord& out) {
        out = {};
        const unsigned long number = inet_addr(text.c_str());
        if (number != INADDR_NONE) {
            std::memcpy(out.bytes, &number, 4);
            return true;
        }
        out.family = TARN_FAMILY_IPV6;
        return inet_pton(AF_INET6, text.c_str(), out.bytes) == 1;
    }

    static void ExpectSame(const std::string& text) {
        IpAddressRecord expected;
        IpAddressRecord actual{};
        const bool isLiteral = SystemParse(text, expected);
        ASSERT_EQ(ParseIpLiteral(text, actual), isLiteral) << '"' << text << '"';
        if (isLiteral) {
            EXPECT_EQ(std::memcmp(&actual, &expected, sizeof actual), 0) << '"' << text << '"';
        }
    }
};

TEST_F(IpAddressAgainstTheSystem, Tables) {
    for (const Ipv4Literal& literal : kIpv4Literals) ExpectSame(literal.text);
    for (const Ipv6Literal& literal : kIpv6Literals) ExpectSame(literal.text);
}

TEST_F(IpAddressAgainstTheSystem, RandomTexts) {
    std::mt19937 random(7);
    const std::string pieces[] = {"0",    "1", "9", "255", "256", "0x", "07", "08", "f",
                                  "ffff", ".", ".", ":",   ":",   "::", " ",  "x"};
    for (int round = 0; round < 200000; ++round) {
        std::string text;
        for (unsigned count = 1 + random() % 15; count != 0; --count) text += pieces[random() % std::size(pieces)];
        ExpectSame(text);
        if (HasFatalFailure()) return;
    }
}

TEST_F(IpAddressAgainstTheSystem, ShortForms) {
    std::mt19937 random(11);
    const std::uint16_t groups[] = {0, 0, 0, 0, 1, 0xFFFF, 0x5EFE, 0x200, 0x1234};
    for (int round = 0; round < 100000; ++round) {
        IpAddressRecord record{};
        record.family = TARN_FAMILY_IPV6;
        for (int i = 0; i < 8; ++i) {
            const std::uint16_t group = groups[random() % std::size(groups)];
            record.bytes[2 * i] = static_cast<std::uint8_t>(group >> 8);
            record.bytes[2 * i + 1] = static_cast<std::uint8_t>(group);
        }
        char expected[65];
        ASSERT_NE(inet_ntop(AF_INET6, record.bytes, expected, sizeof expected), nullptr);
        ASSERT_EQ(FormatIpAddress(record).View(), expected);
        record.family = TARN_FAMILY_IPV4;
        in_addr address{};
        std::memcpy(&address, record.bytes, 4);
        ASSERT_EQ(FormatIpAddress(record).View(), inet_ntoa(address));
    }
}

}  // namespace
}  // namespace tarn::network
