// CRC-32 of IEEE 802.3: reflected polynomial 0xEDB88320, initial value all ones, final complement.
// The product data file and the hashed site lists use it.
#ifndef TARN_BASE_HASH_H
#define TARN_BASE_HASH_H

#include <array>
#include <cstdint>
#include <string_view>

#include "base/byte_reader.h"

namespace tarn::base {

// Running form for data that comes in blocks.
class Crc32 {
 public:
    void Add(Bytes bytes);
    [[nodiscard]] std::uint32_t Value() const { return ~state_; }

 private:
    std::uint32_t state_ = 0xFFFFFFFFU;
};

std::uint32_t Crc32Of(Bytes bytes);
std::uint32_t Crc32Of(std::string_view text);

}  // namespace tarn::base

#endif
