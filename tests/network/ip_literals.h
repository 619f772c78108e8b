// Address literals and what is not one, shared by the table tests of both targets.
#ifndef TARN_TESTS_NETWORK_IP_LITERALS_H
#define TARN_TESTS_NETWORK_IP_LITERALS_H

#include <cstdint>

#include "tarn/records.h"

namespace tarn::network {

struct Ipv4Literal {
    const char* text;
    bool isLiteral;
    unsigned number;  // host order
};

inline constexpr Ipv4Literal kIpv4Literals[] = {
    {"1.2.3.4", true, 0x01020304},
    {"0.0.0.0", true, 0},
    {"255.255.255.254", true, 0xFFFFFFFE},
    {"255.255.255.255", false, 0},
    {"256.1.1.1", false, 0},
    {"1.2.3.256", false, 0},
    {"1.2.3", true, 0x01020003},
    {"1.2.65535", true, 0x0102FFFF},
    {"1.2.65536", false, 0},
    {"1.2", true, 0x01000002},
    {"1.16777215", true, 0x01FFFFFF},
    {"1.16777216", false, 0},
    {"1", true, 1},
    {"4294967294", true, 0xFFFFFFFE},
    {"4294967295", false, 0},
    {"4294967296", false, 0},
    {"99999999999999999999", false, 0},
    {"0x7f.1", true, 0x7F000001},
    {"0X7F000001", true, 0x7F000001},
    {"0xc0a80001", true, 0xC0A80001},
    {"0177.0.0.01", true, 0x7F000001},
    {"010", true, 8},
    {"08", false, 0},
    {"0x", false, 0},
    {"0xg", false, 0},
    {"0x.1", false, 0},
    {"1.2.3.4.5", false, 0},
    {"1.2.3.4.", false, 0},
    {"1.2.3.", false, 0},
    {"1..2", false, 0},
    {".1", false, 0},
    {"", false, 0},
    {" ", true, 0},
    {"  ", false, 0},
    {" 1.2.3.4", false, 0},
    {"1.2.3.4 ", true, 0x01020304},
    {"1.2.3.4 x", true, 0x01020304},
    {"1.2.3.4\tx", true, 0x01020304},
    {"1.2.3.4x", false, 0},
    {"1.2.-3.4", false, 0},
    {"1.2.+3.4", false, 0},
    {"-1", false, 0},
    {"1a.2.3.4", false, 0},
    {"1.2.3.0x10", true, 0x01020310},
    {"example.org", false, 0},
    {"1.example.org", false, 0},
};

struct Ipv6Literal {
    const char* text;
    const char* groups;  // null when it is no literal
};

inline constexpr Ipv6Literal kIpv6Literals[] = {
    {"::", "0000:0000:0000:0000:0000:0000:0000:0000"},
    {"::1", "0000:0000:0000:0000:0000:0000:0000:0001"},
    {"1::", "0001:0000:0000:0000:0000:0000:0000:0000"},
    {"1:2:3:4:5:6:7:8", "0001:0002:0003:0004:0005:0006:0007:0008"},
    {"1:2:3:4:5:6:7::", "0001:0002:0003:0004:0005:0006:0007:0000"},
    {"::2:3:4:5:6:7:8", "0000:0002:0003:0004:0005:0006:0007:0008"},
    {"1::4:5:6:7:8", "0001:0000:0000:0004:0005:0006:0007:0008"},
    {"2001:DB8::aBcD", "2001:0db8:0000:0000:0000:0000:0000:abcd"},
    {"::1.2.3.4", "0000:0000:0000:0000:0000:0000:0102:0304"},
    {"::ffff:1.2.3.4", "0000:0000:0000:0000:0000:ffff:0102:0304"},
    {"1:2:3:4:5:6:1.2.3.4", "0001:0002:0003:0004:0005:0006:0102:0304"},
    {"0001:0002::0", "0001:0002:0000:0000:0000:0000:0000:0000"},
    {"1:2:3:4:5:6:7", nullptr},
    {"1:2:3:4:5:6:7:8:9", nullptr},
    {"1:2:3:4:5:6:7:1.2.3.4", nullptr},
    {":1", nullptr},
    {"1:", nullptr},
    {":", nullptr},
    {"", nullptr},
    {":::", nullptr},
    {"1:::2", nullptr},
    {"1::2::3", nullptr},
    {"00001::", nullptr},
    {"12345::", nullptr},
    {"g::", nullptr},
    {"[::1]", nullptr},
    {"::1 ", nullptr},
    {" ::1", nullptr},
    {"::1%1", nullptr},
    {"::1/64", nullptr},
    {"::1.2.3", nullptr},
    {"::1.2.3.4.5", nullptr},
    {"::1.2.3.256", nullptr},
    {"::1.2.3.4:5", nullptr},
    {"::1.2..4", nullptr},
    {"1:2:3:4:5:6:7:8:", nullptr},
    {"example.org", nullptr},
};

inline IpAddressRecord Ipv4Record(std::uint32_t number) {
    IpAddressRecord record{};
    for (int i = 0; i < 4; ++i) record.bytes[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
    return record;
}

}  // namespace tarn::network

#endif
