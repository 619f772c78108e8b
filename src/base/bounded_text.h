// Copies and formats text into fixed buffers by the platform's safe-string rules; every path and URL is built with it.
// A truncation is a failure that leaves the cut, terminated text behind.
#ifndef TARN_BASE_BOUNDED_TEXT_H
#define TARN_BASE_BOUNDED_TEXT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "base/assert.h"
#include "base/text.h"

namespace tarn::base {

// The three results, with the values of the platform's HRESULTs.
enum class TextResult : std::uint32_t {
    kOk = 0,
    kInvalidArgument = 0x80070057,
    kInsufficientBuffer = 0x8007007A,
};
constexpr bool Succeeded(TextResult result) {
    return result == TextResult::kOk;
}

inline constexpr std::size_t kMaxTextCapacity = 0x7FFFFFFF;  // units, the NUL included
inline constexpr std::size_t kPathCapacity = 260;            // units of a path buffer, the NUL included

using PathBuffer = std::array<char16_t, kPathCapacity>;

// The text of a fixed field: up to its NUL, or up to its last unit when no NUL stands inside (which then counts as
// one).
template <class Char>
constexpr std::basic_string_view<Char> FieldText(const Char* field, std::size_t capacity) {
    std::size_t length = 0;
    while (length + 1 < capacity && field[length] != Char{}) ++length;
    return {field, length};
}
template <class Char, std::size_t N>
constexpr std::basic_string_view<Char> FieldText(const std::array<Char, N>& field) {
    return FieldText(field.data(), N);
}

// A piece of a formatted text: a view, or a number in decimal with at least minimumDigits digits ("%d", "%02d").
template <class Char>
class TextPiece {
 public:
    constexpr TextPiece(std::basic_string_view<Char> text) : text_(text) {}
    constexpr TextPiece(const Char* text) : text_(text) {}
    constexpr TextPiece(std::uint32_t number, std::size_t minimumDigits = 1) {
        std::size_t at = digits_.size();
        do {
            digits_[--at] = static_cast<Char>(Char{'0'} + static_cast<Char>(number % 10));
            number /= 10;
        } while (number != 0 || digits_.size() - at < std::min(minimumDigits, digits_.size()));
        first_ = at;
        isNumber_ = true;
    }
    [[nodiscard]] constexpr std::basic_string_view<Char> Text() const {
        return isNumber_ ? std::basic_string_view<Char>(digits_.data() + first_, digits_.size() - first_) : text_;
    }

 private:
    std::basic_string_view<Char> text_;
    std::array<Char, 10> digits_{};
    std::size_t first_ = 0;
    bool isNumber_ = false;
};

// Appends pieces behind the first used units of destination. capacity counts the NUL.
template <class Char>
constexpr TextResult AppendPieces(Char* destination, std::size_t capacity, std::size_t used,
                                  std::initializer_list<TextPiece<std::type_identity_t<Char>>> pieces) {
    if (capacity == 0) return TextResult::kInvalidArgument;
    if (capacity > kMaxTextCapacity) {
        destination[0] = Char{};
        return TextResult::kInvalidArgument;
    }
    TextResult result = TextResult::kOk;
    std::size_t at = std::min(used, capacity - 1);
    for (const TextPiece<Char>& piece : pieces) {
        const std::basic_string_view<Char> text = piece.Text();
        const std::size_t count = std::min(text.size(), capacity - 1 - at);
        for (std::size_t i = 0; i < count; ++i) destination[at + i] = text[i];
        at += count;
        if (count < text.size()) {
            result = TextResult::kInsufficientBuffer;
            break;
        }
    }
    destination[at] = Char{};
    return result;
}

// "formatted print": the pieces one behind the other.
template <class Char>
constexpr TextResult FormatText(Char* destination, std::size_t capacity,
                                std::initializer_list<TextPiece<std::type_identity_t<Char>>> pieces) {
    return AppendPieces(destination, capacity, 0, pieces);
}
template <class Char, std::size_t N>
constexpr TextResult FormatText(std::array<Char, N>& destination,
                                std::initializer_list<TextPiece<std::type_identity_t<Char>>> pieces) {
    return FormatText(destination.data(), N, pieces);
}

// Bounded copy: up to capacity - 1 units, always terminated.
template <class Char>
constexpr TextResult CopyText(Char* destination, std::size_t capacity, std::basic_string_view<Char> source) {
    if (capacity == 0) return TextResult::kInvalidArgument;
    const bool isTooLarge = capacity > kMaxTextCapacity;
    const std::size_t count = isTooLarge ? 0 : std::min(source.size(), capacity - 1);
    if (std::is_constant_evaluated())  // where clang's analyser refuses move
        std::copy_n(source.data(), count, destination);
    else
        std::char_traits<Char>::move(destination, source.data(), count);
    destination[count] = Char{};
    if (isTooLarge) return TextResult::kInvalidArgument;
    return count == source.size() ? TextResult::kOk : TextResult::kInsufficientBuffer;
}
constexpr TextResult CopyText(char* destination, std::size_t capacity, std::string_view source) {
    return CopyText<char>(destination, capacity, source);
}
constexpr TextResult CopyText(char16_t* destination, std::size_t capacity, std::u16string_view source) {
    return CopyText<char16_t>(destination, capacity, source);
}
template <class Char, std::size_t N>
constexpr TextResult CopyText(std::array<Char, N>& destination,
                              std::type_identity_t<std::basic_string_view<Char>> source) {
    return CopyText<Char>(destination.data(), N, source);
}

// Bounded concatenation behind the text that destination holds.
template <class Char>
constexpr TextResult AppendText(Char* destination, std::size_t capacity,
                                std::type_identity_t<std::basic_string_view<Char>> source) {
    if (capacity == 0) return TextResult::kInvalidArgument;
    if (capacity > kMaxTextCapacity) return AppendPieces<Char>(destination, capacity, 0, {});
    return AppendPieces<Char>(destination, capacity, FieldText(destination, capacity).size(), {source});
}

// Writes UTF-16 text into a field of a packed record (which may stand at an odd address), cut to fit and terminated.
template <std::size_t N>
void StoreField(void* field, std::u16string_view text) {
    const std::size_t length = std::min(text.size(), N - 1);
    const char16_t nul = 0;
    std::memcpy(field, text.data(), length * sizeof(char16_t));
    std::memcpy(static_cast<char*>(field) + length * sizeof(char16_t), &nul, sizeof nul);
}

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

    [[nodiscard]] bool BeginsInside(std::string_view text) const {
        return !text.empty() && std::greater_equal<>{}(text.data(), chars_) &&
               std::less<>{}(text.data(), chars_ + Capacity);
    }

    void Clear() { SetLength(0); }
    // text may not begin inside this buffer.
    bool Assign(std::string_view text) {
        TARN_ASSERT(!BeginsInside(text));
        length_ = 0;
        return Append(text);
    }
    bool Append(std::string_view text) {
        const std::size_t count = std::min(text.size(), kMaxLength - length_);
        CopyCharacters(chars_ + length_, text.substr(0, count));
        SetLength(length_ + count);
        return count == text.size();
    }

    // For code that fills the buffer itself: at most kMaxLength characters, then their count is set.
    [[nodiscard]] char* Data() { return chars_; }
    void SetLength(std::size_t length) {
        TARN_ASSERT(length <= kMaxLength);
        length_ = static_cast<std::uint32_t>(length);
        chars_[length] = '\0';
    }

 private:
    std::uint32_t length_;
    char chars_[Capacity];
};

}  // namespace tarn::base

#endif
