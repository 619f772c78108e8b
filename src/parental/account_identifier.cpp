#include "parental/account_identifier.h"

#include <algorithm>

namespace tarn::parental {
namespace {

constexpr std::size_t kFixedBytes = 8;
constexpr std::size_t kSubAuthorityBytes = 4;
constexpr std::uint8_t kRevision = 1;
constexpr std::uint8_t kMaxSubAuthorities = 15;

}  // namespace

std::size_t IdentifierLength(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kFixedBytes || bytes[0] != kRevision || bytes[1] > kMaxSubAuthorities) return 0;
    const std::size_t length = kFixedBytes + kSubAuthorityBytes * bytes[1];
    return length <= bytes.size() ? length : 0;
}

bool EqualIdentifiers(std::span<const std::uint8_t> identifier, std::span<const std::uint8_t> other) {
    const std::size_t length = IdentifierLength(identifier);
    if (length == 0 || length > other.size()) return false;
    return std::ranges::equal(identifier.first(length), other.first(length));
}

}  // namespace tarn::parental
