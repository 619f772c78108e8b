// Address records: equality, private ranges, and their text forms both ways.
// Pure functions. The literals follow the rules of the system's inet_addr, inet_pton and inet_ntop.
#ifndef TARN_NETWORK_IP_ADDRESS_H
#define TARN_NETWORK_IP_ADDRESS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tarn/records.h"

#include "base/bounded_text.h"

namespace tarn::network {

using AddressText = base::FixedText<65>;

// Same family and same address: four bytes for IPv4, sixteen for any other family.
bool CompareIPAddress(const IpAddressRecord& a, const IpAddressRecord& b);

// IPv6: the first byte is 0xFD. Any other family is IPv4: 10/8, 172.16/12, 192.168/16 and 169.254/16 without their
// lowest and highest address.
bool IsPrivateIP(const IpAddressRecord& address);

// An IPv4 literal of one to four numbers (decimal, octal or hexadecimal; a blank ends the text), else an IPv6 literal
// (RFC 4291, without brackets or scope). "255.255.255.255" is no literal. out is written only on true.
bool ParseIpLiteral(std::string_view text, IpAddressRecord& out);

// Dotted decimal, or the shortened form of an IPv6 address (family 1).
AddressText FormatIpAddress(const IpAddressRecord& address);

inline constexpr std::size_t kIpv6GroupsLength = 39;

// Eight groups of four lower-case hexadecimal digits joined by ":". When capacity (with the NUL) is too small the
// output is emptied and false returned.
bool FormatIpv6Groups(const std::uint8_t* bytes16, char* out, std::size_t capacity);

}  // namespace tarn::network

#endif
