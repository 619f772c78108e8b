// Makes text from the wire harmless and short enough for a terminal.
// JSON output escapes by its own rules and needs only ToUtf8.
#ifndef TARN_HOST_PRINTABLE_TEXT_H
#define TARN_HOST_PRINTABLE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::host {

// Valid UTF-8 stays; control characters, bytes that are no UTF-8 and marks that turn the direction of writing become
// "\x..". A text of more than width characters is cut and ends in "...".
std::string Printable(std::string_view text, std::size_t width = std::string_view::npos);

// Printable, with blanks behind it up to width characters.
std::string Column(std::string_view text, std::size_t width);

// UTF-16 as UTF-8; a lone surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

// "2026-01-31T12:34:56.123456Z"; empty for 0, which stands for an unknown time.
std::string FormatTime(std::uint64_t nanoseconds);

}  // namespace tarn::host

#endif
