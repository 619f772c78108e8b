// Bounded searching and folding, sixteen characters at a time; nothing past the end of a text is ever read.
// The C library's functions leave these bounds open and cost a call each; case rules are those of ascii.h.
#ifndef TARN_BASE_TEXT_SEARCH_H
#define TARN_BASE_TEXT_SEARCH_H

#include <bit>
#include <cstddef>
#include <cstring>
#include <emmintrin.h>
#include <string_view>

#include "base/ascii.h"

namespace tarn::base {

inline constexpr std::size_t kBlock = 16;  // characters of one SSE2 register, which every x86-64 processor has

namespace detail {

inline __m128i LoadBlock(const char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

inline unsigned EqualMask(__m128i block, char c) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}

// Lower case of the sixteen characters; the comparison is signed, so bytes above 0x7F stay as they are.
inline __m128i LowerBlock(__m128i block) {
    const __m128i isUpper =
        _mm_and_si128(_mm_cmpgt_epi8(block, _mm_set1_epi8('A' - 1)), _mm_cmplt_epi8(block, _mm_set1_epi8('Z' + 1)));
    return _mm_add_epi8(block, _mm_and_si128(isUpper, _mm_set1_epi8('a' - 'A')));
}

// Candidates are found by the first and the last character of needle at once, then compared as a whole.
template <bool kEndsAtNul>
inline std::size_t Search(std::string_view text, std::string_view needle) {
    if (needle.empty() || needle.size() > text.size()) return std::string_view::npos;
    const char* const data = text.data();
    const std::size_t last = needle.size() - 1;
    const std::size_t starts = text.size() - last;  // places where needle can begin
    std::size_t at = 0;
    if (starts >= kBlock) {
        for (;;) {
            const __m128i block = LoadBlock(data + at);
            unsigned hits = EqualMask(block, needle.front()) & EqualMask(LoadBlock(data + at + last), needle.back());
            const unsigned nuls = kEndsAtNul ? EqualMask(block, '\0') : 0U;
            if (nuls != 0) hits &= (nuls & (0U - nuls)) - 1U;
            for (; hits != 0; hits &= hits - 1U) {
                const std::size_t hit = at + static_cast<std::size_t>(std::countr_zero(hits));
                if (std::memcmp(data + hit, needle.data(), needle.size()) == 0) return hit;
            }
            if (nuls != 0 || at + kBlock == starts) return std::string_view::npos;
            // The last block overlaps the one before; what it sees again was refused already.
            at = at + 2 * kBlock <= starts ? at + kBlock : starts - kBlock;
        }
    }
    for (; at < starts; ++at) {
        if (kEndsAtNul && data[at] == '\0') return std::string_view::npos;
        if (data[at] == needle.front() && std::memcmp(data + at, needle.data(), needle.size()) == 0) return at;
    }
    return std::string_view::npos;
}

}  // namespace detail

// The first occurrence of needle in text; npos when there is none. An empty needle is never found.
inline std::size_t FindText(std::string_view text, std::string_view needle) {
    return detail::Search<false>(text, needle);
}

// The same in a text that ends at its first NUL, if it holds one. needle holds none.
inline std::size_t FindTextBeforeNul(std::string_view text, std::string_view needle) {
    return detail::Search<true>(text, needle);
}

// Where the first of two characters stands; the length of text when it holds neither.
inline std::size_t FindEither(std::string_view text, char a, char b) {
    std::size_t at = 0;
    for (; at + kBlock <= text.size(); at += kBlock) {
        const __m128i block = detail::LoadBlock(text.data() + at);
        const unsigned hits = detail::EqualMask(block, a) | detail::EqualMask(block, b);
        if (hits != 0) return at + static_cast<std::size_t>(std::countr_zero(hits));
    }
    while (at < text.size() && text[at] != a && text[at] != b) ++at;
    return at;
}

inline std::size_t FindCharacter(std::string_view text, char c) {
    return FindEither(text, c, c);
}

// Writes text in lower case; destination is the text's own place or does not overlap it.
inline void CopyLower(char* destination, std::string_view text) {
    std::size_t at = 0;
    for (; at + kBlock <= text.size(); at += kBlock)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + at),
                         detail::LowerBlock(detail::LoadBlock(text.data() + at)));
    for (; at < text.size(); ++at) destination[at] = ToLowerAscii(text[at]);
}

}  // namespace tarn::base

#endif
