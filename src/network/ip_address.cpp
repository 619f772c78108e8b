#include "network/ip_address.h"

#include <cstring>

#include "base/contract_relics.h"

namespace tarn::network {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

struct Range {
    std::uint32_t first;
    std::uint32_t end;  // not included
};

// QUIRK: the .0 network address and the highest address of each range count as public.
// Test: PrivateRangesLeaveOutTheirEnds
constexpr Range kPrivateRanges[] = {
    {0x0A000001, 0x0AFFFFFF},
    {0xAC100001, 0xAC1FFFFF},
    {0xC0A80001, 0xC0A8FFFF},
    {0xA9FE0001, 0xA9FEFFFF},
};

std::uint32_t Ipv4Number(const IpAddressRecord& address) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) number = (number << 8) | address.bytes[i];
    return number;
}

}  // namespace

// The trace scopes are constexpr: building a record per call would cost more than the comparison.

bool CompareIPAddress(const IpAddressRecord& a, const IpAddressRecord& b) {
    [[maybe_unused]] constexpr base::TraceScope trace(u"CompareIPAddress");
    if (a.family != b.family) return false;
    return std::memcmp(a.bytes, b.bytes, a.family == TARN_FAMILY_IPV4 ? 4 : 16) == 0;
}

bool IsPrivateIP(const IpAddressRecord& address) {
    [[maybe_unused]] constexpr base::TraceScope trace(u"IsPrivateIP");
    if (address.family == TARN_FAMILY_IPV6) return address.bytes[0] == 0xFD;
    const std::uint32_t number = Ipv4Number(address);
    for (const Range& range : kPrivateRanges)
        if (number >= range.first && number < range.end) return true;
    return false;
}

bool FormatIpv6Groups(const std::uint8_t* bytes16, char* out, std::size_t capacity) {
    if (capacity == 0) return false;
    out[0] = '\0';
    if (capacity <= kIpv6GroupsLength) return false;
    char* at = out;
    for (int i = 0; i < 16; ++i) {
        if (i != 0 && i % 2 == 0) *at++ = ':';
        *at++ = kHexDigits[bytes16[i] >> 4];
        *at++ = kHexDigits[bytes16[i] & 15];
    }
    *at = '\0';
    return true;
}

}  // namespace tarn::network
