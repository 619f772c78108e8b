// Sixteen characters in one SSE2 register, which every x86-64 processor has.
#ifndef TARN_BASE_BLOCK16_H
#define TARN_BASE_BLOCK16_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>

#include "base/assert.h"

namespace tarn::base {

class Block16 {
 public:
    static constexpr std::size_t kSize = 16;

    static Block16 Load(const char* at) { return Block16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))); }
    // The first eight characters; zeros behind them.
    static Block16 LoadHalf(const char* at) { return Block16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at))); }
    // Fewer than sixteen characters, zeros behind them; nothing past them is read.
    static Block16 LoadPart(const char* at, std::size_t count) {
        TARN_ASSERT(count < kSize);
        // Two loads that may overlap: what both hold is the same characters.
        std::uint64_t low = 0;
        std::uint64_t high = 0;
        if (count > 8) {
            low = LoadWord<std::uint64_t>(at);
            high = LoadWord<std::uint64_t>(at + count - 8) >> (8 * (kSize - count));
        } else if (count >= 4) {
            low = LoadWord<std::uint32_t>(at) | static_cast<std::uint64_t>(LoadWord<std::uint32_t>(at + count - 4))
                                                    << (8 * (count - 4));
        } else {
            for (std::size_t i = count; i > 0; --i) low = low << 8 | static_cast<std::uint8_t>(at[i - 1]);
        }
        return Block16(_mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low)));
    }

    void Store(char* at) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), value_); }
    void StoreHalf(char* at) const { _mm_storel_epi64(reinterpret_cast<__m128i*>(at), value_); }
    // The first eight characters as a little-endian number.
    [[nodiscard]] std::uint64_t Half() const { return static_cast<std::uint64_t>(_mm_cvtsi128_si64(value_)); }

    // One bit for each character that equals c, the first character's lowest.
    [[nodiscard]] unsigned EqualMask(char c) const {
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(value_, _mm_set1_epi8(c))));
    }

    // The lower one of each two characters as unsigned numbers: NUL where either is NUL.
    [[nodiscard]] Block16 Min(Block16 other) const { return Block16(_mm_min_epu8(value_, other.value_)); }

    // In ASCII lower case.
    [[nodiscard]] Block16 Lower() const {
        return Block16(_mm_add_epi8(value_, _mm_and_si128(IsUpper(), _mm_set1_epi8('a' - 'A'))));
    }
    // One bit for each letter in upper case.
    [[nodiscard]] unsigned UpperMask() const { return static_cast<unsigned>(_mm_movemask_epi8(IsUpper())); }

 private:
    explicit Block16(__m128i value) : value_(value) {}

    // All ones for each letter in upper case. The comparison is signed, so bytes above 0x7F are none.
    [[nodiscard]] __m128i IsUpper() const {
        return _mm_and_si128(_mm_cmpgt_epi8(value_, _mm_set1_epi8('A' - 1)),
                             _mm_cmplt_epi8(value_, _mm_set1_epi8('Z' + 1)));
    }

    template <class Word>
    static Word LoadWord(const char* at) {
        Word word;
        std::memcpy(&word, at, sizeof word);
        return word;
    }

    __m128i value_;
};

}  // namespace tarn::base

#endif
