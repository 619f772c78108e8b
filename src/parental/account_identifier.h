// Security identifiers in packed form: validity, length and comparison as the system defines them.
// Pure functions of bytes that come from the host, the settings or the system.
#ifndef TARN_PARENTAL_ACCOUNT_IDENTIFIER_H
#define TARN_PARENTAL_ACCOUNT_IDENTIFIER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::parental {

// The identifier of a session record, zeros behind it. The system's longest identifiers, of 68 bytes, do not fit and
// count as invalid.
using AccountSid = std::array<std::uint8_t, 64>;

// A revision byte 1, the number of sub-authorities (at most 15), a six-byte authority, four bytes per sub-authority.
// The length in bytes, or 0 when the identifier is invalid or runs past the end of bytes.
[[nodiscard]] std::size_t IdentifierLength(std::span<const std::uint8_t> bytes);

[[nodiscard]] inline bool IsValidIdentifier(std::span<const std::uint8_t> bytes) {
    return IdentifierLength(bytes) != 0;
}

// Compares over the length of the first one. An invalid identifier equals nothing.
[[nodiscard]] bool EqualIdentifiers(std::span<const std::uint8_t> identifier, std::span<const std::uint8_t> other);

}  // namespace tarn::parental

#endif
