// The CRC-32 of a host and of what stands behind each of its dots: the keys of the hashed site tables.
// Pure functions of their arguments.
#ifndef TARN_LISTS_LABEL_HASHES_H
#define TARN_LISTS_LABEL_HASHES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tarn::lists {

inline constexpr std::size_t kMaxLabelHashes = 10;

struct LabelHashes {
    std::array<std::uint32_t, kMaxLabelHashes> values;  // the first one is of the whole host
    std::size_t count;
    bool isIpLiteral;  // then only the whole text is hashed
};

// CRC-32 of a host, faster than byte by byte.
std::uint32_t HostHash(std::string_view host);

// The hash of "www." and a host, from the host's own hash and its length, at most 256.
std::uint32_t HashWithWww(std::uint32_t hostHash, std::size_t hostLength);

// False for an empty host and for one that begins or ends with ".". Hashes past the tenth are left out.
bool ComputeLabelHashes(std::string_view host, LabelHashes& hashes);

}  // namespace tarn::lists

#endif
