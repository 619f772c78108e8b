#include "host/fitted_output.h"

#include <algorithm>
#include <vector>

namespace tarn::host {

namespace {

constexpr char kEscape = '\x1b';

// A character of UTF-8 with the escape sequences in front of it.
struct Cell {
    std::string_view bytes;
    bool isBlank;
    std::size_t width;
};

std::size_t EscapeLength(std::string_view text) {
    const std::size_t end = text.find('m');
    return end == std::string_view::npos ? text.size() : end + 1;
}

std::vector<Cell> CellsOf(std::string_view text) {
    std::vector<Cell> cells;
    while (!text.empty()) {
        std::size_t length = 0;
        std::size_t width = 1;
        while (length < text.size() && text[length] == kEscape) length += EscapeLength(text.substr(length));
        width += length;
        const bool isBlank = length < text.size() && text[length] == ' ';
        if (length < text.size()) ++length;
        while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
        const std::size_t end = length;
        // What ends a colour belongs to the character that it ends behind.
        while (length < text.size() && text[length] == kEscape) length += EscapeLength(text.substr(length));
        cells.push_back({text.substr(0, length), isBlank, width + length - end});
        text.remove_prefix(length);
    }
    return cells;
}

// Where the line goes on: below the last column that begins in its left half, else below its own beginning.
std::size_t IndentOf(const std::vector<Cell>& cells, std::size_t columns) {
    std::size_t indent = 0;
    for (std::size_t i = 0; i < cells.size() && i <= columns / 2; ++i)
        if (!cells[i].isBlank && (i == 0 || (cells[i - 1].isBlank && (i == 1 || cells[i - 2].isBlank)))) indent = i;
    return indent;
}

}  // namespace

std::string FitLine(std::string_view line, std::size_t columns) {
    const std::vector<Cell> cells = CellsOf(line);
    // Where the cells end that have room from begin on.
    const auto endOfRoom = [&](std::size_t begin, std::size_t room) {
        std::size_t end = begin;
        for (; end < cells.size() && cells[end].width <= room; ++end) room -= cells[end].width;
        return end;
    };
    std::size_t fit = endOfRoom(0, columns);
    if (columns == 0 || fit == cells.size()) return std::string(line);
    const std::size_t indent = IndentOf(cells, columns);
    std::string fitted;
    std::size_t begin = 0;
    for (; fit != cells.size(); fit = endOfRoom(begin, columns - indent)) {
        if (fit == begin) ++fit;
        // The last blank that leaves something on the line; a word that is longer than the line is cut.
        const std::size_t least = begin == 0 ? indent : begin;
        std::size_t end = std::min(fit, cells.size() - 1);
        while (end > least && !cells[end].isBlank) --end;
        if (end <= least) end = fit;
        for (; begin < end; ++begin) fitted += cells[begin].bytes;
        for (; begin < cells.size() && cells[begin].isBlank; ++begin)
            for (const char c : cells[begin].bytes)
                if (c != ' ') fitted += c;  // a colour may end here
        if (begin == cells.size()) return fitted;
        fitted += '\n' + std::string(indent, ' ');
    }
    for (; begin < cells.size(); ++begin) fitted += cells[begin].bytes;
    return fitted;
}

FittedOutput::int_type FittedOutput::overflow(int_type next) {
    const char c = traits_type::to_char_type(next);
    if (traits_type::eq_int_type(next, traits_type::eof())) return sync() == 0 ? traits_type::not_eof(next) : next;
    return xsputn(&c, 1) == 1 ? next : traits_type::eof();
}

std::streamsize FittedOutput::xsputn(const char* text, std::streamsize count) {
    if (columns_ == 0) {
        out_.write(text, count);
        return out_ ? count : 0;
    }
    line_.append(text, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = line_.find('\n', begin)) != std::string::npos; begin = end + 1)
        out_ << FitLine(std::string_view(line_).substr(begin, end - begin), columns_) + '\n';
    line_.erase(0, begin);
    return out_ ? count : 0;
}

int FittedOutput::sync() {
    out_ << FitLine(line_, columns_);
    line_.clear();
    out_.flush();
    return out_ ? 0 : -1;
}

}  // namespace tarn::host
