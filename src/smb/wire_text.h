// Names as SMB messages carry them: UTF-16, little-endian, at any address. Pure functions; views borrow the frame.
#ifndef TARN_SMB_WIRE_TEXT_H
#define TARN_SMB_WIRE_TEXT_H

#include <cstddef>
#include <optional>
#include <string>

#include "base/bounded_text.h"
#include "base/byte_reader.h"

namespace tarn::smb {

inline constexpr std::size_t kMaxNameUnits = base::kPathCapacity - 1;  // a name always fits a field of the report

// Bytes of the text up to its NUL, or of limit units when the NUL does not come before; nothing when bytes ends first.
std::optional<base::Bytes> TextUpToNul(base::Bytes bytes, std::size_t limit);

// The text in bytes up to its first NUL, at most kMaxNameUnits. A byte behind the last whole unit does not count.
std::u16string NameOf(base::Bytes bytes);

}  // namespace tarn::smb

#endif
