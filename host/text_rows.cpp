#include "host/text_rows.h"

#include <fmt/format.h>

#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

// A row on one line needs about as much as this.
constexpr std::size_t kColumnsOfOneLine = 150;

// Widths of the columns; the reason's text ends the line and may be as long as it is.
constexpr std::size_t kTimeWidth = 15;       // 12:34:56.123456
constexpr std::size_t kShortTimeWidth = 12;  // 12:34:56.123
constexpr std::size_t kHostWidth = 26;
constexpr std::size_t kPathWidth = 32;
constexpr std::size_t kReasonWidth = 39;  // " 7 category blocked by parental control"
constexpr std::size_t kDateWidth = 10;    // 2026-01-31
constexpr std::size_t kLeastWidth = 10;   // of what is shortened

struct Headings {
    const char* client;
    const char* host;
    const char* path;
    const char* both;
    const char* state;
    const char* reason;
};

const Headings& HeadingsOf(RowKind kind) {
    static constexpr Headings kRequests{"client", "host", "path", "request", "verdict", "reason"};
    static constexpr Headings kAttacks{"remote", "packet", "rule", "packet and rule", "verdict", "attack"};
    static constexpr Headings kFiles{"client", "share", "file", "file on a share", "event", ""};
    return kind == RowKind::kRequest ? kRequests : kind == RowKind::kAttack ? kAttacks : kFiles;
}

std::string TimeOfDay(std::uint64_t nanoseconds, std::size_t width) {
    const std::string time = FormatTime(nanoseconds);
    return Column(time.empty() ? "-" : time.substr(time.find('T') + 1, width), width);
}

std::string WithoutTrailingBlanks(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

// Host and path as one text.
std::string Joined(const TextRow& row) {
    const RequestView& view = row.view;
    if (view.host.empty() || view.path.empty()) return view.host + view.path;
    if (row.kind == RowKind::kFile) return view.host + "\\" + view.path;
    const char* const between = row.kind == RowKind::kAttack ? ": " : view.path.front() == '/' ? "" : " ";
    return view.host + between + view.path;
}

}  // namespace

bool TextRows::IsNarrow() const {
    return columns_ != 0 && columns_ < kColumnsOfOneLine;
}

std::string TextRows::State(const TextRow& row) const {
    std::string text = Column(row.state, kStateWidth);
    if (!hasColour_) return text;
    std::string_view code = "\x1b[32m";  // green
    if (row.colour == Colour::kNotice) code = "\x1b[33m";
    if (row.colour == Colour::kBad) code = "\x1b[31m";
    return fmt::format("{}{}\x1b[0m", code, text);
}

void TextRows::PrintLine(const std::string& line) {
    out_ << WithoutTrailingBlanks(line) << '\n';
}

void TextRows::NameColumns(RowKind kind) {
    named_.at(static_cast<std::size_t>(kind)) = true;
    const Headings& names = HeadingsOf(kind);
    if (IsNarrow()) {
        PrintLine(fmt::format("{}  {}  {}", Column("time (UTC)", kShortTimeWidth), Column(names.state, kStateWidth),
                              names.both));
        PrintLine(std::string(kShortTimeWidth + 2, ' ') +
                  fmt::format("{}  {}", Column(names.client, clientWidth_), names.reason));
        return;
    }
    PrintLine(fmt::format("{}  {}  {}  {}  {}  {}", Column("time (UTC)", kTimeWidth),
                          Column(names.client, clientWidth_), Column(names.host, kHostWidth),
                          Column(names.path, kPathWidth), Column(names.state, kStateWidth), names.reason));
}

void TextRows::Print(const TextRow& row) {
    if (row.client.size() > clientWidth_) {
        clientWidth_ = row.client.size();
        NameColumnsAgain();
    }
    if (!row.client.empty()) {
        if (row.timeNanoseconds != 0) {
            const std::string date = FormatTime(row.timeNanoseconds).substr(0, kDateWidth);
            if (date != date_) out_ << date << '\n';
            date_ = date;
        }
        if (!named_.at(static_cast<std::size_t>(row.kind))) NameColumns(row.kind);
    }
    if (IsNarrow())
        PrintOnTwoLines(row);
    else
        PrintOnOneLine(row);
}

void TextRows::PrintOnOneLine(const TextRow& row) {
    std::string line;
    if (!row.client.empty())
        line = fmt::format("{}  {}  ", TimeOfDay(row.timeNanoseconds, kTimeWidth), Column(row.client, clientWidth_));
    line += fmt::format("{}  {}  {}  {:<{}}", Column(row.view.host, kHostWidth), Column(row.view.path, kPathWidth),
                        State(row), row.reason, row.text.empty() ? 0 : kReasonWidth);
    if (!row.text.empty()) line += "  " + row.text;
    PrintLine(line);
}

void TextRows::PrintOnTwoLines(const TextRow& row) {
    std::string line;
    std::string indent(kStateWidth + 2, ' ');
    if (!row.client.empty()) {
        line = TimeOfDay(row.timeNanoseconds, kShortTimeWidth) + "  ";
        indent = std::string(kShortTimeWidth + 2, ' ') + Column(row.client, clientWidth_) + "  ";
    }
    const std::size_t used = line.size() + State(row).size() + 2;  // the colour counts, too: see fitted_output.h
    const std::size_t left = columns_ > used + kLeastWidth ? columns_ - used : kLeastWidth;
    PrintLine(line + State(row) + "  " + Printable(Joined(row), left));
    PrintLine(indent + row.reason + (row.text.empty() ? "" : ": " + row.text));
}

}  // namespace tarn::host
