// Values that a policy writes as text: bytes, addresses, account identifiers, times of day.
// These only say whether a text is a value; the readers report the mistakes.
#ifndef TARN_COMPANIONS_POLICY_VALUES_H
#define TARN_COMPANIONS_POLICY_VALUES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

namespace tarn::policy {

std::string LowerCase(std::string_view text);

// Pairs of hexadecimal digits, blanks between them allowed.
bool BytesOfHex(std::string_view text, std::vector<std::uint8_t>& bytes);

// "S-1-5-21-…" in its packed form, zeros behind it.
bool SidOfText(std::string_view text, std::array<std::uint8_t, 68>& sid);

// "192.0.2.1" as a host-order number in the first four bytes, or an IPv6 address without brackets.
bool AddressOfText(std::string_view text, IpAddressRecord& address);

// "08:00-12:30". The end may be 23:59 at the latest, which reaches midnight.
bool TimeRangeOfText(std::string_view text, TimeRange& range);

// UTF-16 of UTF-8; a byte that is none becomes U+FFFD.
std::u16string Utf16(std::string_view text);

}  // namespace tarn::policy

#endif
