#include "host/expectations/side_by_side.h"

#include <algorithm>
#include <fmt/format.h>
#include <string_view>

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
        const std::vector<std::string> left = Pieces(Printable(one.expected), width);
        const std::vector<std::string> right = Pieces(Printable(one.found), width);
        for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i)
            text += line(i == 0 ? one.what : "", i == 0 && !one.isSame ? '!' : ' ', i < left.size() ? left[i] : "",
                         i < right.size() ? right[i] : "");
    }
    return text;
}

}  // namespace tarn::host
