// A stream that looks for signals whenever it needs more bytes, so that a reader is interrupted between two scans.
// The owner provides the bytes.
#ifndef TARN_HOST_WATCHED_INPUT_H
#define TARN_HOST_WATCHED_INPUT_H

#include <array>
#include <cstddef>
#include <functional>
#include <span>
#include <streambuf>

namespace tarn::host {

class WatchedInput : public std::streambuf {
 public:
    // Fills the buffer and gives how much; 0 ends the stream.
    using Fill = std::function<std::size_t(std::span<char>)>;
    explicit WatchedInput(Fill fill) : fill_(std::move(fill)) {}

 protected:
    int_type underflow() override {
        const std::size_t count = isAtEnd_ ? 0 : fill_(buffer_);
        isAtEnd_ = count == 0;
        setg(buffer_.data(), buffer_.data(), buffer_.data() + count);
        return isAtEnd_ ? traits_type::eof() : traits_type::to_int_type(buffer_[0]);
    }

 private:
    Fill fill_;
    bool isAtEnd_ = false;
    std::array<char, 4096> buffer_{};  // small: a signal waits for the frames in it
};

}  // namespace tarn::host

#endif
