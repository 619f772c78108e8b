// Output that fits the width of a terminal: a longer line is broken at a blank and goes on below its last column.
// What is written passes line by line to the stream below, which must outlive it. Escape sequences are never broken;
// they count as characters, since Wine's console gives them room.
#ifndef TARN_HOST_FITTED_OUTPUT_H
#define TARN_HOST_FITTED_OUTPUT_H

#include <cstddef>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace tarn::host {

class FittedOutput : public std::streambuf {
 public:
    // columns: 0 leaves every line as it is.
    FittedOutput(std::ostream& out, std::size_t columns) : out_(out), columns_(columns) {}
    ~FittedOutput() override { sync(); }
    FittedOutput(const FittedOutput&) = delete;
    FittedOutput& operator=(const FittedOutput&) = delete;

    void SetColumns(std::size_t columns) { columns_ = columns; }

 protected:
    int_type overflow(int_type next) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

 private:
    std::ostream& out_;
    std::size_t columns_;
    std::string line_;  // that has not ended yet
};

// The line, without its end, as lines of up to that many columns.
std::string FitLine(std::string_view line, std::size_t columns);

}  // namespace tarn::host

#endif
