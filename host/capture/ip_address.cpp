#include "host/capture/ip_address.h"

#include <charconv>
#include <cstddef>
#include <fmt/format.h>
#include <vector>

namespace tarn::host {

namespace {

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t at = text.find(separator);
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos) return parts;
        text.remove_prefix(at + 1);
    }
}

bool ParseNumber(std::string_view text, int base, std::size_t maxDigits, unsigned limit, unsigned& out) {
    if (text.empty() || text.size() > maxDigits) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out, base);
    return error == std::errc{} && end == text.data() + text.size() && out <= limit;
}

bool ParseDotted(std::string_view text, std::uint8_t* out) {
    const std::vector<std::string_view> parts = Split(text, '.');
    if (parts.size() != 4) return false;
    for (std::size_t i = 0; i < 4; ++i) {
        unsigned number = 0;
        // A zero in front makes the number octal for some readers, the library among them, and decimal for others.
        if (parts[i].size() > 1 && parts[i].front() == '0') return false;
        if (!ParseNumber(parts[i], 10, 3, 255, number)) return false;
        out[i] = static_cast<std::uint8_t>(number);
    }
    return true;
}

// The groups of one side of "::"; the last one may be a dotted IPv4 address where the text allows it.
bool ParseGroups(std::string_view text, bool mayEndDotted, std::vector<std::uint8_t>& out) {
    if (text.empty()) return true;
    const std::vector<std::string_view> parts = Split(text, ':');
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::uint8_t dotted[4];
        if (mayEndDotted && i + 1 == parts.size() && ParseDotted(parts[i], dotted)) {
            out.insert(out.end(), dotted, dotted + 4);
            return true;
        }
        unsigned number = 0;
        if (!ParseNumber(parts[i], 16, 4, 0xFFFF, number)) return false;
        out.push_back(static_cast<std::uint8_t>(number >> 8));
        out.push_back(static_cast<std::uint8_t>(number & 0xFF));
    }
    return true;
}

std::string FormatGroups(const std::array<unsigned, 8>& groups, std::size_t first, std::size_t last) {
    std::string text;
    for (std::size_t i = first; i < last; ++i) text += fmt::format("{}{:x}", i == first ? "" : ":", groups[i]);
    return text;
}

}  // namespace

std::optional<IpAddress> ParseIpAddress(std::string_view text) {
    IpAddress address;
    if (text.find(':') == std::string_view::npos) {
        if (!ParseDotted(text, address.bytes.data())) return std::nullopt;
        return address;
    }
    address.isIpv6 = true;
    const std::size_t gap = text.find("::");
    std::vector<std::uint8_t> head;
    std::vector<std::uint8_t> tail;
    if (gap == std::string_view::npos) {
        if (!ParseGroups(text, true, head) || head.size() != 16) return std::nullopt;
    } else {
        if (!ParseGroups(text.substr(0, gap), false, head) || !ParseGroups(text.substr(gap + 2), true, tail))
            return std::nullopt;
        if (head.size() + tail.size() > 14) return std::nullopt;
    }
    for (std::size_t i = 0; i < head.size(); ++i) address.bytes[i] = head[i];
    for (std::size_t i = 0; i < tail.size(); ++i) address.bytes[16 - tail.size() + i] = tail[i];
    return address;
}

std::string FormatIpAddress(const IpAddress& address) {
    const auto& b = address.bytes;
    if (!address.isIpv6) return fmt::format("{}.{}.{}.{}", b[0], b[1], b[2], b[3]);
    std::array<unsigned, 8> groups{};
    for (std::size_t i = 0; i < 8; ++i) groups[i] = static_cast<unsigned>(b[2 * i] << 8 | b[2 * i + 1]);
    // The longest run of at least two zero groups becomes "::", the first one of equals.
    std::size_t runStart = 0;
    std::size_t runLength = 1;
    for (std::size_t i = 0; i < 8; ++i) {
        std::size_t length = 0;
        while (i + length < 8 && groups[i + length] == 0) ++length;
        if (length > runLength) {
            runStart = i;
            runLength = length;
        }
    }
    if (runLength < 2) return FormatGroups(groups, 0, 8);
    return FormatGroups(groups, 0, runStart) + "::" + FormatGroups(groups, runStart + runLength, 8);
}

}  // namespace tarn::host
