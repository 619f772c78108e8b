// The words of one line of a script, and bytes as the lines write them: hex digits, "-" for none.
#ifndef TARN_TESTS_MODEL_DRIVER_LINE_H
#define TARN_TESTS_MODEL_DRIVER_LINE_H

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::model {

using Bytes = std::vector<std::uint8_t>;

class Line {
 public:
    explicit Line(const std::string& text);
    [[nodiscard]] bool IsEmpty() const { return words_.empty(); }
    [[nodiscard]] bool IsOver() const { return next_ == words_.size(); }
    // Each takes the next word; a missing or wrong one throws std::runtime_error.
    std::string Word();
    std::uint64_t Number();
    Bytes Hex();

 private:
    std::vector<std::string> words_;
    std::size_t next_ = 0;
};

std::string HexOf(const std::uint8_t* bytes, std::size_t size);
// The runs of bytes that differ from before, as OFFSET:HEX joined by commas; "-" when none does.
std::string ChangesOf(const std::uint8_t* bytes, const std::uint8_t* before, std::size_t size);

}  // namespace tarn::model

#endif
