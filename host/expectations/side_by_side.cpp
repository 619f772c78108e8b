#include "host/expectations/side_by_side.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>
#include <utility>

#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr std::size_t kUsualColumns = 80;
constexpr std::size_t kLeastColumn = 8;
constexpr std::size_t kAround = 9;  // "    ", a blank, "| " and "! "

bool IsInsideCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Pieces of at most width characters, broken at a blank where there is one in the second half.
std::vector<std::string> Pieces(const std::string& text, std::size_t width) {
    std::vector<std::string> pieces;
    std::string_view rest = text;
    while (!rest.empty()) {
        std::size_t end = 0;
        std::size_t blank = 0;
        for (std::size_t characters = 0; end < rest.size(); ++end) {
            if (IsInsideCharacter(rest[end])) continue;
            if (characters == width) break;
            if (rest[end] == ' ' && characters > width / 2) blank = end;
            ++characters;
        }
        if (end < rest.size() && blank != 0) end = blank;
        pieces.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end);
        if (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    }
    if (pieces.empty()) pieces.emplace_back();
    return pieces;
}

// Long texts are cut to a few lines: behind what both begin with, if they differ further on.
std::pair<std::string, std::string> Shortened(const Comparison& one, std::size_t width) {
    constexpr std::size_t kMostLines = 4;
    constexpr std::size_t kBefore = 16;  // characters that are shown in front of the difference
    const std::size_t most = kMostLines * width;
    std::string left = Printable(one.expected);
    std::string right = Printable(one.found);
    if (!one.isSame && std::max(left.size(), right.size()) > most) {
        const std::size_t least = std::min(left.size(), right.size());
        const auto same = static_cast<std::size_t>(
            std::mismatch(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(least), right.begin()).first -
            left.begin());
        std::size_t begin = same > most / 2 ? same - kBefore : 0;
        while (begin != 0 && IsInsideCharacter(left[begin])) --begin;
        if (begin != 0) {
            left.replace(0, begin, "...");
            right.replace(0, begin, "...");
        }
    }
    return {Printable(left, most), Printable(right, most)};
}

std::string WithoutBlanksAtEnd(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

}  // namespace

std::string SideBySide(const std::vector<Comparison>& comparisons, std::size_t columns) {
    std::size_t label = 0;
    for (const Comparison& one : comparisons) label = std::max(label, one.what.size());
    const std::size_t all = columns == 0 ? kUsualColumns : columns;
    const std::size_t fixed = label + kAround;
    const std::size_t width = std::max(kLeastColumn, all > fixed ? (all - fixed) / 2 : 0);
    const auto line = [&](std::string_view what, char mark, const std::string& left, const std::string& right) {
        return WithoutBlanksAtEnd(
            fmt::format("  {} {} {} | {}", mark, Column(what, label), Column(left, width), right));
    };
    std::string text = line("", ' ', "expected", "found");
    for (const Comparison& one : comparisons) {
        const auto [expected, found] = Shortened(one, width);
        const std::vector<std::string> left = Pieces(expected, width);
        const std::vector<std::string> right = Pieces(found, width);
        for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i)
            text += line(i == 0 ? one.what : "", i == 0 && !one.isSame ? '!' : ' ', i < left.size() ? left[i] : "",
                         i < right.size() ? right[i] : "");
    }
    return text;
}

}  // namespace tarn::host
