// Which rows of a report are news when the same captures are judged again.
// Nothing is remembered before the first BeginRound.
#ifndef TARN_HOST_ROW_HISTORY_H
#define TARN_HOST_ROW_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

class RowHistory {
 public:
    struct News {
        bool isNew = true;
        std::string_view stateBefore;  // what was said of the same row in the round before; empty when it was not there
        std::uint32_t deciderBefore = 0;
    };

    void BeginRound();
    void BeginCapture();
    // what: the row without its verdict. said: the whole row. state must live as long as the history. decider: a number
    // of the caller's.
    [[nodiscard]] News Add(std::string_view what, std::string_view said, std::string_view state,
                           std::uint32_t decider = 0);
    // Rows of the captures that were judged in both rounds which the round before had and this one lacks.
    [[nodiscard]] std::uint64_t Gone() const;
    [[nodiscard]] bool IsUsed() const { return isUsed_; }

 private:
    // Hashes, since a round may have millions of rows.
    struct Row {
        std::size_t what;
        std::size_t said;
        std::string_view state;
        std::uint32_t decider;
    };
    struct Capture {
        std::vector<Row> rows;
        std::size_t next = 0;   // of the rows of this capture in the round before
        std::size_t found = 0;  // of them
    };

    bool isUsed_ = false;
    std::vector<Capture> before_;
    std::vector<Capture> now_;
};

}  // namespace tarn::host

#endif
