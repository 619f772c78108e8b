// The text forms of addresses, both ways.
#include <array>
#include <cstring>

#include "network/ip_address.h"

namespace tarn::network {
namespace {

constexpr int kNotADigit = 16;

int DigitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return kNotADigit;
}

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Takes one number off the front of text: "0x" hexadecimal, a leading "0" octal, else decimal. Too large a number
// stays at the largest.
bool TakeNumber(std::string_view& text, std::uint32_t& number) {
    if (text.empty() || DigitValue(text.front()) > 9) return false;
    std::uint32_t base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') && DigitValue(text[2]) < kNotADigit) {
        base = 16;
        text.remove_prefix(2);
    } else if (text[0] == '0') {
        base = 8;
    }
    std::uint64_t value = 0;
    while (!text.empty() && static_cast<std::uint32_t>(DigitValue(text.front())) < base) {
        value = value * base + static_cast<std::uint32_t>(DigitValue(text.front()));
        if (value > UINT32_MAX) value = UINT32_MAX;
        text.remove_prefix(1);
    }
    number = static_cast<std::uint32_t>(value);
    return true;
}

bool ParseIpv4(std::string_view text, std::uint32_t& address) {
    // QUIRK: a single blank is the address 0.  Test: Ipv4LiteralTable
    if (text == " ") {
        address = 0;
        return true;
    }
    std::array<std::uint32_t, 4> numbers{};
    std::size_t count = 0;
    for (;;) {
        if (count == numbers.size() || !TakeNumber(text, numbers[count++])) return false;
        if (text.empty() || IsBlank(text.front())) break;
        if (text.front() != '.') return false;
        text.remove_prefix(1);
    }
    // The last number fills all bytes that the others leave.
    std::uint64_t value = 0;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        if (numbers[i] > 0xFF) return false;
        value |= static_cast<std::uint64_t>(numbers[i]) << (24 - 8 * i);
    }
    if (numbers[count - 1] > (0xFFFFFFFFU >> (8 * (count - 1)))) return false;
    value |= numbers[count - 1];
    address = static_cast<std::uint32_t>(value);
    return address != 0xFFFFFFFFU;
}

// Four decimal numbers, as the tail of an IPv6 literal holds them.
bool ParseDotted(std::string_view text, std::uint8_t* out) {
    for (int i = 0; i < 4; ++i) {
        int value = 0;
        std::size_t digits = 0;
        while (digits < text.size() && DigitValue(text[digits]) < 10) {
            value = value * 10 + DigitValue(text[digits++]);
            if (digits > 3 || (digits == 2 && value < 10)) return false;  // no leading zero
        }
        if (digits == 0 || value > 255) return false;
        out[i] = static_cast<std::uint8_t>(value);
        text.remove_prefix(digits);
        if (i == 3) break;
        if (text.empty() || text.front() != '.') return false;
        text.remove_prefix(1);
    }
    return text.empty();
}

bool ParseIpv6(std::string_view text, std::uint8_t* out) {
    std::array<std::uint8_t, 16> bytes{};
    std::size_t used = 0;
    std::size_t gap = bytes.size() + 1;  // where "::" stands, none yet
    if (text.starts_with("::")) {
        gap = 0;
        text.remove_prefix(2);
    }
    while (!text.empty()) {
        std::uint32_t group = 0;
        std::size_t digits = 0;
        while (digits < text.size() && DigitValue(text[digits]) < kNotADigit) {
            if (digits == 4) return false;
            group = group * 16 + static_cast<std::uint32_t>(DigitValue(text[digits++]));
        }
        if (digits == 0) return false;
        if (digits < text.size() && text[digits] == '.') {
            if (used > 12 || !ParseDotted(text, bytes.data() + used)) return false;
            used += 4;
            break;
        }
        if (used == bytes.size()) return false;
        bytes[used++] = static_cast<std::uint8_t>(group >> 8);
        bytes[used++] = static_cast<std::uint8_t>(group & 0xFF);
        text.remove_prefix(digits);
        if (text.empty()) break;
        if (text.starts_with("::")) {
            if (gap <= bytes.size()) return false;
            gap = used;
            text.remove_prefix(2);
        } else {
            if (text.size() < 2 || text.front() != ':') return false;
            text.remove_prefix(1);
        }
    }
    if (gap > bytes.size()) {
        if (used != bytes.size()) return false;
        std::memcpy(out, bytes.data(), bytes.size());
        return true;
    }
    if (used == bytes.size()) return false;
    const std::size_t behind = used - gap;
    std::memset(out, 0, bytes.size());
    std::memcpy(out, bytes.data(), gap);
    std::memcpy(out + bytes.size() - behind, bytes.data() + gap, behind);
    return true;
}

void AppendNumber(AddressText& text, std::uint32_t number, std::uint32_t base) {
    std::array<char, 8> digits{};
    std::size_t at = digits.size();
    do {
        digits[--at] = "0123456789abcdef"[number % base];
        number /= base;
    } while (number != 0);
    text.Append({digits.data() + at, digits.size() - at});
}

// An address text holds every form of an address, so the digits need no check of their own.
void AppendDotted(AddressText& text, const std::uint8_t* bytes) {
    char* at = text.Data() + text.Length();
    for (int i = 0; i < 4; ++i) {
        const unsigned value = bytes[i];
        if (i != 0) *at++ = '.';
        if (value >= 100) *at++ = static_cast<char>('0' + value / 100);
        if (value >= 10) *at++ = static_cast<char>('0' + value / 10 % 10);
        *at++ = static_cast<char>('0' + value % 10);
    }
    text.SetLength(static_cast<std::size_t>(at - text.Data()));
}

using Groups = std::array<std::uint32_t, 8>;

// The forms that end in a dotted IPv4 address: compatible (::a.b.c.d), mapped (::ffff:a.b.c.d), translated
// (::ffff:0:a.b.c.d) and ISATAP (…:0:5efe:a.b.c.d, or 200:5efe).
bool EndsDotted(const Groups& groups) {
    const bool fourZeros = (groups[0] | groups[1] | groups[2] | groups[3]) == 0;
    if (fourZeros && groups[6] != 0) {
        if (groups[4] == 0 && (groups[5] == 0 || groups[5] == 0xFFFF)) return true;
        if (groups[4] == 0xFFFF && groups[5] == 0) return true;
    }
    return (groups[4] & ~0x200U) == 0 && groups[5] == 0x5EFE;
}

// The shortened form: the first longest run of at least two zero groups becomes "::".
void AppendIpv6(AddressText& text, const std::uint8_t* bytes) {
    Groups groups{};
    for (std::size_t i = 0; i < groups.size(); ++i)
        groups[i] = (static_cast<std::uint32_t>(bytes[2 * i]) << 8) | bytes[2 * i + 1];
    const bool dotted = EndsDotted(groups);
    const std::size_t count = dotted ? 6 : 8;

    std::size_t gap = count;
    std::size_t gapLength = 1;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t run = 0;
        while (i + run < count && groups[i + run] == 0) ++run;
        if (run > gapLength) {
            gap = i;
            gapLength = run;
        }
    }
    for (std::size_t i = 0; i < count;) {
        if (i == gap) {
            text.Append("::");
            i += gapLength;
            continue;
        }
        if (i != 0 && i != gap + gapLength) text.Append(":");
        AppendNumber(text, groups[i++], 16);
    }
    if (!dotted) return;
    if (!text.View().ends_with(':')) text.Append(":");
    AppendDotted(text, bytes + 12);
}

}  // namespace

bool ParseIpLiteral(std::string_view text, IpAddressRecord& out) {
    std::uint32_t number = 0;
    if (ParseIpv4(text, number)) {
        out = {};
        out.family = TARN_FAMILY_IPV4;
        for (int i = 0; i < 4; ++i) out.bytes[i] = static_cast<std::uint8_t>(number >> (24 - 8 * i));
        return true;
    }
    std::uint8_t bytes[16];
    if (!ParseIpv6(text, bytes)) return false;
    out.family = TARN_FAMILY_IPV6;
    std::memcpy(out.bytes, bytes, sizeof bytes);
    return true;
}

AddressText FormatIpAddress(const IpAddressRecord& address) {
    AddressText text;
    if (address.family == TARN_FAMILY_IPV6)
        AppendIpv6(text, address.bytes);
    else
        AppendDotted(text, address.bytes);
    return text;
}

}  // namespace tarn::network
