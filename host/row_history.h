// Which rows of a report are news when the same captures are judged again.
// Nothing is remembered before the first BeginRound.
#ifndef TARN_HOST_ROW_HISTORY_H
#define TARN_HOST_ROW_HISTORY_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

class RowHistory {
 public:
    struct News {
        bool isNew = true;
        std::string_view stateBefore;  // what was said of the same row in the round before; empty when it was not there
    };

    void BeginRound();
    void BeginCapture();
    // what: the row without its verdict. said: the whole row. state must live as long as the history.
    [[nodiscard]] News Add(std::string_view what, std::string_view said, std::string_view state);

 private:
    // Hashes, since a round may have millions of rows.
    struct Row {
        std::size_t what;
        std::size_t said;
        std::string_view state;
    };
    using Capture = std::vector<Row>;

    bool isUsed_ = false;
    std::vector<Capture> before_;
    std::vector<Capture> now_;
};

}  // namespace tarn::host

#endif
