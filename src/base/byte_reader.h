// Bounded reading of untrusted bytes: packets, messages, capture files. Parsers read through it and index nothing.
// Borrows the bytes, which must outlive reader and views; one reader belongs to one thread.
#ifndef TARN_BASE_BYTE_READER_H
#define TARN_BASE_BYTE_READER_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace tarn::base {

using Bytes = std::span<const std::uint8_t>;

// Untrusted bytes as characters, NULs included; lives as long as they do.
inline std::string_view TextOf(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The length bytes at offset, or nothing when they do not all lie inside whole. Cannot overflow.
constexpr std::optional<Bytes> Window(Bytes whole, std::size_t offset, std::size_t length) {
    if (offset > whole.size() || length > whole.size() - offset) return std::nullopt;
    return whole.subspan(offset, length);
}

// Reads from front to back. A read that does not fit returns false and changes neither the reader nor its output.
class ByteReader {
 public:
    explicit constexpr ByteReader(Bytes bytes) : bytes_(bytes) {}

    // One big-endian (network order) number.
    template <std::unsigned_integral T>
    [[nodiscard]] constexpr bool Be(T& out) {
        if (!Peek(out)) return false;
        position_ += sizeof(T);
        return true;
    }

    // The big-endian number that Be reads next; the reader stays where it is.
    template <std::unsigned_integral T>
    [[nodiscard]] constexpr bool Peek(T& out) const {
        if (Remaining() < sizeof(T)) return false;
        T value = 0;
        for (std::size_t i = 0; i < sizeof(T); ++i)
            value = static_cast<T>((static_cast<std::uint64_t>(value) << 8) | bytes_[position_ + i]);
        out = value;
        return true;
    }

    // One little-endian number.
    template <std::unsigned_integral T>
    [[nodiscard]] constexpr bool Le(T& out) {
        if (Remaining() < sizeof(T)) return false;
        T value = 0;
        for (std::size_t i = sizeof(T); i > 0; --i)
            value = static_cast<T>((static_cast<std::uint64_t>(value) << 8) | bytes_[position_ + i - 1]);
        position_ += sizeof(T);
        out = value;
        return true;
    }

    [[nodiscard]] constexpr bool Skip(std::size_t count) {
        if (Remaining() < count) return false;
        position_ += count;
        return true;
    }

    // A view of the next count bytes.
    [[nodiscard]] constexpr bool Take(std::size_t count, Bytes& out) {
        if (Remaining() < count) return false;
        out = bytes_.subspan(position_, count);
        position_ += count;
        return true;
    }

    // A big-endian length of type T and as many bytes behind it, both or nothing.
    template <std::unsigned_integral T>
    [[nodiscard]] constexpr bool Prefixed(Bytes& out) {
        ByteReader ahead(*this);
        T length = 0;
        if (!ahead.Be(length) || !ahead.Take(length, out)) return false;
        *this = ahead;
        return true;
    }

    // Everything that was not read yet; the reader stays where it is.
    [[nodiscard]] constexpr Bytes Rest() const { return bytes_.subspan(position_); }

    [[nodiscard]] constexpr std::size_t Position() const { return position_; }
    [[nodiscard]] constexpr std::size_t Remaining() const { return bytes_.size() - position_; }

 private:
    Bytes bytes_;
    std::size_t position_ = 0;
};

}  // namespace tarn::base

#endif
