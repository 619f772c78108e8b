// Names and numbers as SMB messages carry them: little-endian, UTF-16, at any address.
// Where a field stands is left to the two message parsers.
#ifndef TARN_SMB_WIRE_TEXT_H
#define TARN_SMB_WIRE_TEXT_H

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>

#include "base/bounded_text.h"
#include "base/byte_reader.h"

namespace tarn::smb {

inline constexpr std::size_t kMaxNameUnits = base::kPathCapacity - 1;  // a name always fits a field of the report

// The little-endian number at offset, or nothing when it does not lie inside message.
template <std::unsigned_integral T>
constexpr std::optional<T> FieldAt(base::Bytes message, std::size_t offset) {
    base::ByteReader reader(message);
    T value = 0;
    if (!reader.Skip(offset) || !reader.Le(value)) return std::nullopt;
    return value;
}

// Bytes of the text up to its NUL, or of limit units when the NUL does not come before; nothing when bytes ends first.
std::optional<base::Bytes> TextUpToNul(base::Bytes bytes, std::size_t limit);

// The text in bytes up to its first NUL, at most kMaxNameUnits. A byte behind the last whole unit does not count.
std::u16string NameOf(base::Bytes bytes);

}  // namespace tarn::smb

#endif
