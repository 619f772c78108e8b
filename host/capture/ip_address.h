// An address as captures and the command line name it, and its text form.
#ifndef TARN_HOST_CAPTURE_IP_ADDRESS_H
#define TARN_HOST_CAPTURE_IP_ADDRESS_H

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::host {

// In network order; an IPv4 address takes the first four bytes and the rest are zero.
struct IpAddress {
    bool isIpv6 = false;
    std::array<std::uint8_t, 16> bytes{};

    friend constexpr auto operator<=>(const IpAddress&, const IpAddress&) = default;
};

// Four decimal numbers without zeros in front, or the IPv6 forms of RFC 4291 (an IPv4 tail included, a zone not).
std::optional<IpAddress> ParseIpAddress(std::string_view text);

// The dotted form, or the shortest IPv6 form (RFC 5952).
std::string FormatIpAddress(const IpAddress& address);

}  // namespace tarn::host

#endif
