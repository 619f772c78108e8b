#include "host/printable_text.h"

#include <array>
#include <chrono>
#include <fmt/format.h>

namespace tarn::host {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Length of the UTF-8 sequence at the start of text (RFC 3629), or 0; out is its character.
std::size_t DecodeUtf8(std::string_view text, char32_t& out) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) {
        out = first;
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    out = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        out = out << 6 | (byte(i) & 0x3Fu);
    }
    constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = out >= 0xD800 && out <= 0xDFFF;
    return out < kSmallest[length] || out > 0x10FFFF || isSurrogate ? 0 : length;
}

bool IsHarmless(char32_t c) {
    const bool isControl = c < 0x20 || (c >= 0x7F && c < 0xA0);
    const bool isDirection =
        (c >= 0x200B && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
    return !isControl && !isDirection && c != 0xFEFF;
}

void AppendUtf8(std::string& out, char32_t c) {
    const auto put = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

// The printable form and its width.
struct Prepared {
    std::string text;
    std::size_t width = 0;
};

Prepared Prepare(std::string_view text, std::size_t width) {
    constexpr std::string_view kDots = "...";
    Prepared result;
    std::size_t cutAt = 0;
    std::size_t cutWidth = 0;
    while (!text.empty()) {
        char32_t c = 0;
        std::size_t length = DecodeUtf8(text, c);
        std::string piece;
        if (length != 0 && IsHarmless(c)) {
            piece = text.substr(0, length);
            ++result.width;
        } else {
            if (length == 0) length = 1;
            for (const char byte : text.substr(0, length))
                piece += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
            result.width += piece.size();
        }
        if (result.width > width) {
            result.text.resize(cutAt);
            result.text += kDots.substr(0, width);
            result.width = cutWidth + kDots.substr(0, width).size();
            return result;
        }
        result.text += piece;
        text.remove_prefix(length);
        if (width >= kDots.size() && result.width <= width - kDots.size()) {
            cutAt = result.text.size();
            cutWidth = result.width;
        }
    }
    return result;
}

}  // namespace

std::string Printable(std::string_view text, std::size_t width) {
    return Prepare(text, width).text;
}

std::string Column(std::string_view text, std::size_t width) {
    Prepared prepared = Prepare(text, width);
    prepared.text.append(width - prepared.width, ' ');
    return prepared.text;
}

std::string ToUtf8(std::u16string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        const bool isHigh = c >= 0xD800 && c <= 0xDBFF;
        if (isHigh && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
        else if (c >= 0xD800 && c <= 0xDFFF)
            c = kReplacement;
        AppendUtf8(out, c);
    }
    return out;
}

std::string FormatTime(std::uint64_t nanoseconds) {
    if (nanoseconds == 0) return {};
    const std::chrono::sys_time<std::chrono::microseconds> time(
        std::chrono::microseconds(static_cast<std::int64_t>(nanoseconds / 1000)));
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

}  // namespace tarn::host
