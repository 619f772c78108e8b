#include <gtest/gtest.h>

#include "host/capture/ip_address.h"
#include "network/ip_address.h"

namespace tarn::host {
namespace {

IpAddress Ipv4(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
    return {false, {a, b, c, d}};
}

TEST(HostAddress, DottedDecimal) {
    EXPECT_EQ(ParseIpAddress("192.0.2.10"), Ipv4(192, 0, 2, 10));
    EXPECT_EQ(ParseIpAddress("0.0.0.0"), Ipv4(0, 0, 0, 0));
    EXPECT_EQ(ParseIpAddress("192.0.2"), std::nullopt);
    EXPECT_EQ(ParseIpAddress("192.0.2.256"), std::nullopt);
}

// The library, like a browser, takes "012" for ten; taken for twelve here, a request would go out to another server
// than the one that it is judged by.
TEST(HostAddress, ZerosInFrontMakeNoAddress) {
    IpAddressRecord ofLibrary{};
    ASSERT_TRUE(network::ParseIpLiteral("32.0.02.012", ofLibrary));
    EXPECT_EQ(ofLibrary.bytes[3], 10);
    EXPECT_EQ(ParseIpAddress("32.0.02.012"), std::nullopt);
    EXPECT_EQ(ParseIpAddress("00.0.0.0"), std::nullopt);
    EXPECT_EQ(ParseIpAddress("::ffff:192.0.2.010"), std::nullopt);
    EXPECT_EQ(ParseIpAddress("::ffff:192.0.2.10"), ParseIpAddress("::ffff:c000:20a"));
}

}  // namespace
}  // namespace tarn::host
