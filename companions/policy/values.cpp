#include "policy/values.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

#include "base/text.h"

namespace tarn::policy {
namespace {

std::optional<unsigned> HexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    c = base::ToLowerAscii(c);
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
    return std::nullopt;
}

// Takes a decimal number of at most `most` from the front of text.
bool TakeNumber(std::string_view& text, std::uint64_t& number, std::uint64_t most) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || number > most) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool TakeCharacter(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

bool TakeTime(std::string_view& text, std::uint32_t& hour, std::uint32_t& minute) {
    std::uint64_t h = 0;
    std::uint64_t m = 0;
    if (!TakeNumber(text, h, 23) || !TakeCharacter(text, ':') || text.size() < 2) return false;
    if (!TakeNumber(text, m, 59)) return false;
    hour = static_cast<std::uint32_t>(h);
    minute = static_cast<std::uint32_t>(m);
    return true;
}

bool Ipv4OfText(std::string_view text, IpAddressRecord& address) {
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) {
        std::uint64_t part = 0;
        if (i != 0 && !TakeCharacter(text, '.')) return false;
        if (!TakeNumber(text, part, 255)) return false;
        number = (number << 8) | static_cast<std::uint32_t>(part);
    }
    if (!text.empty()) return false;
    address = {};
    std::memcpy(address.bytes, &number, sizeof number);
    return true;
}

// The groups of one side of "::".
bool TakeGroups(std::string_view text, std::vector<std::uint16_t>& groups) {
    while (!text.empty()) {
        const std::size_t colon = std::min(text.find(':'), text.size());
        const std::string_view group = text.substr(0, colon);
        unsigned value = 0;
        if (group.empty() || group.size() > 4) return false;
        for (const char c : group) {
            const auto digit = HexDigit(c);
            if (!digit) return false;
            value = value * 16 + *digit;
        }
        groups.push_back(static_cast<std::uint16_t>(value));
        if (colon == text.size()) return true;
        text.remove_prefix(colon + 1);
        if (text.empty()) return false;
    }
    return true;
}

bool Ipv6OfText(std::string_view text, IpAddressRecord& address) {
    constexpr std::size_t kGroups = 8;
    const std::size_t gap = text.find("::");
    std::vector<std::uint16_t> groups;
    std::vector<std::uint16_t> behind;
    if (!TakeGroups(text.substr(0, gap), groups)) return false;
    if (gap != std::string_view::npos) {
        if (!TakeGroups(text.substr(gap + 2), behind) || groups.size() + behind.size() >= kGroups) return false;
        groups.resize(kGroups - behind.size(), 0);
        groups.insert(groups.end(), behind.begin(), behind.end());
    }
    if (groups.size() != kGroups) return false;
    address = {};
    address.family = TARN_FAMILY_IPV6;
    for (std::size_t i = 0; i < kGroups; ++i) {
        address.bytes[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
        address.bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i]);
    }
    return true;
}

}  // namespace

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    base::LowerAscii(lower.data(), lower.size());
    return lower;
}

bool BytesOfHex(std::string_view text, std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        const auto high = HexDigit(text[i]);
        const auto low = i + 1 < text.size() ? HexDigit(text[i + 1]) : std::nullopt;
        if (!high || !low) return false;
        bytes.push_back(static_cast<std::uint8_t>(*high * 16 + *low));
        i += 2;
    }
    return !bytes.empty();
}

bool SidOfText(std::string_view text, std::array<std::uint8_t, 68>& sid) {
    constexpr std::size_t kMaxSubAuthorities = 15;
    std::uint64_t authority = 0;
    if (!text.starts_with("S-1-")) return false;
    text.remove_prefix(4);
    if (!TakeNumber(text, authority, 0xFFFFFFFFFFFF)) return false;
    sid.fill(0);
    sid[0] = 1;
    for (std::size_t i = 0; i < 6; ++i) sid[2 + i] = static_cast<std::uint8_t>(authority >> (40 - 8 * i));
    std::size_t count = 0;
    while (!text.empty()) {
        std::uint64_t part = 0;
        if (count == kMaxSubAuthorities || !TakeCharacter(text, '-') || !TakeNumber(text, part, 0xFFFFFFFF))
            return false;
        const auto value = static_cast<std::uint32_t>(part);
        std::memcpy(&sid[8 + 4 * count], &value, sizeof value);
        ++count;
    }
    sid[1] = static_cast<std::uint8_t>(count);
    return count != 0;
}

bool AddressOfText(std::string_view text, IpAddressRecord& address) {
    return Ipv4OfText(text, address) || Ipv6OfText(text, address);
}

bool TimeRangeOfText(std::string_view text, TimeRange& range) {
    std::uint32_t startHour = 0;
    std::uint32_t startMinute = 0;
    std::uint32_t endHour = 0;
    std::uint32_t endMinute = 0;
    if (!TakeTime(text, startHour, startMinute) || !TakeCharacter(text, '-') || !TakeTime(text, endHour, endMinute))
        return false;
    if (!text.empty() || endHour * 60 + endMinute <= startHour * 60 + startMinute) return false;
    range = {startHour, startMinute, endHour, endMinute};
    return true;
}

std::u16string Utf16(std::string_view text) {
    constexpr char16_t kReplacement = 0xFFFD;
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80         ? 1
                                   : (lead >> 5) == 6  ? 2
                                   : (lead >> 4) == 14 ? 3
                                   : (lead >> 3) == 30 ? 4
                                                       : 0;
        if (length == 0 || i + length > text.size()) {
            out.push_back(kReplacement);
            ++i;
            continue;
        }
        std::uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t k = 1; k < length; ++k) code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3FU);
        i += length;
        if (code < 0x10000) {
            out.push_back(static_cast<char16_t>(code));
        } else {
            out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
        }
    }
    return out;
}

}  // namespace tarn::policy
