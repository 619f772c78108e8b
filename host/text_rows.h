// Rows of a report for people: the date when it changes, the headings of each kind of row once, and the columns.
// A row is one line, or two on a narrow terminal.
#ifndef TARN_HOST_TEXT_ROWS_H
#define TARN_HOST_TEXT_ROWS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "host/request_view.h"

namespace tarn::host {

enum class RowKind { kRequest, kAttack, kFile };
inline constexpr std::size_t kRowKinds = 3;
enum class Colour { kGood, kBad, kNotice };

// Texts of the wire as they are; the rows make them harmless.
struct TextRow {
    RowKind kind = RowKind::kRequest;
    std::uint64_t timeNanoseconds = 0;
    std::string client;  // empty for a request that is in no capture, which has no time either
    RequestView view;    // what stands in the place of host and path
    std::string_view state;
    Colour colour = Colour::kGood;
    std::string reason;
    std::string text;  // behind the reason, printable
};

class TextRows {
 public:
    TextRows(std::ostream& out, bool hasColour, std::size_t columns)
        : out_(out), hasColour_(hasColour), columns_(columns) {}

    void Print(const TextRow& row);
    // The next row of each kind stands below its heading again.
    void NameColumnsAgain() { named_ = {}; }
    // And below its date.
    void NameDateAgain() { date_.clear(); }

 private:
    [[nodiscard]] bool IsNarrow() const;
    [[nodiscard]] std::string State(const TextRow& row) const;
    void NameColumns(RowKind kind);
    void PrintOnOneLine(const TextRow& row);
    void PrintOnTwoLines(const TextRow& row);
    void PrintLine(const std::string& line);

    std::ostream& out_;
    bool hasColour_;
    std::size_t columns_;
    std::size_t clientWidth_ = 15;  // a dotted address, until a longer one comes
    std::string date_;
    std::array<bool, kRowKinds> named_{};  // whose headings stand above the next row
};

}  // namespace tarn::host

#endif
