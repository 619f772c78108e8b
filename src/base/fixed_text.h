// A narrow text in a buffer of fixed size that knows its length: hosts, paths and URLs of one scan.
// What a text that does not fit means is the caller's business; here it is a false and the cut text.
#ifndef TARN_BASE_FIXED_TEXT_H
#define TARN_BASE_FIXED_TEXT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tarn::base {

// Always terminated; bytes behind the NUL are never written, so making one costs nothing. Capacity counts the NUL.
template <std::size_t Capacity>
class FixedText {
 public:
    static constexpr std::size_t kMaxLength = Capacity - 1;

    FixedText() { Clear(); }
    FixedText(const FixedText& other) { *this = other; }
    FixedText& operator=(const FixedText& other) {
        if (this != &other) Assign(other.View());
        return *this;
    }

    [[nodiscard]] std::string_view View() const {
        if (length_ > kMaxLength) __builtin_unreachable();  // tells the compiler the bound that every writer keeps
        return {chars_, length_};
    }
    [[nodiscard]] const char* Text() const { return chars_; }
    [[nodiscard]] std::size_t Length() const { return length_; }
    [[nodiscard]] bool Empty() const { return length_ == 0; }

    void Clear() { SetLength(0); }
    // text may not lie inside this buffer.
    bool Assign(std::string_view text) {
        length_ = 0;
        return Append(text);
    }
    bool Append(std::string_view text) {
        const std::size_t count = std::min(text.size(), kMaxLength - length_);
        if (count != 0) std::memcpy(chars_ + length_, text.data(), count);
        SetLength(length_ + count);
        return count == text.size();
    }

    // For code that fills the buffer itself: kMaxLength characters may be written, then the length is told.
    [[nodiscard]] char* Data() { return chars_; }
    void SetLength(std::size_t length) {
        length_ = static_cast<std::uint32_t>(length);
        chars_[length] = '\0';
    }

 private:
    std::uint32_t length_;
    char chars_[Capacity];
};

}  // namespace tarn::base

#endif
