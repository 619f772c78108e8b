// The hashes of this system: CRC-32, which files and site lists name, and a mixer for tables that live in memory only.
// Pure functions of their arguments.
#ifndef TARN_BASE_HASH_H
#define TARN_BASE_HASH_H

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/byte_reader.h"

namespace tarn::base {

// CRC-32 of IEEE 802.3 (reflected, initial value all ones, final complement) for data that comes in blocks.
class Crc32 {
 public:
    void Add(Bytes bytes);
    [[nodiscard]] std::uint32_t Value() const { return ~state_; }

 private:
    std::uint32_t state_ = 0xFFFFFFFFU;
};

inline constexpr std::uint32_t kCrc32Polynomial = 0xEDB88320U;  // reflected

std::uint32_t Crc32Of(Bytes bytes);
std::uint32_t Crc32Of(std::string_view text);

inline constexpr std::uint64_t kGolden64 = 0x9E3779B97F4A7C15U;  // 2^64 divided by the golden ratio: Fibonacci hashing

// Two multiply-xorshift rounds, which map no two keys to one value: any bits of the result make a good table index. Not
// for files: it may change.
constexpr std::uint64_t Mix64(std::uint64_t key) {
    constexpr std::uint64_t kMultiplier = 0xD6E8FEB86659FD93U;
    key *= kMultiplier;
    key = (key ^ (key >> 32)) * kMultiplier;
    return key ^ (key >> 32);
}
// A key of two parts.
constexpr std::uint64_t Mix64(std::uint64_t a, std::uint64_t b) {
    return Mix64(a ^ (b * kGolden64));
}

// The eight characters at a place as a number.
inline std::uint64_t LoadWord64(const char* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// A text in words of eight characters, the last of which overlap when its length is no multiple. Not for files either.
inline std::uint64_t HashText(std::string_view text) {
    std::uint64_t hash = text.size();
    if (text.size() < sizeof hash) {
        std::uint64_t word = 0;
        for (const char c : text) word = word << 8 | static_cast<std::uint8_t>(c);
        return Mix64(word, hash);
    }
    const std::size_t last = text.size() - sizeof hash;
    for (std::size_t at = 0; at < last; at += sizeof hash) hash = Mix64(LoadWord64(text.data() + at), hash);
    return Mix64(LoadWord64(text.data() + last), hash);
}

}  // namespace tarn::base

#endif
