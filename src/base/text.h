// ASCII text: case folding, comparison, bounded searching and copying, sixteen characters at a time.
// Host names and URLs on the wire are ASCII, so no locale has a say; bytes above 0x7F are left as they are. Nothing
// past the end of a text is ever read.
#ifndef TARN_BASE_TEXT_H
#define TARN_BASE_TEXT_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <emmintrin.h>
#include <string_view>

namespace tarn::base {

template <class Char>
constexpr Char ToLowerAscii(Char c) {
    return (c >= Char{'A'} && c <= Char{'Z'}) ? static_cast<Char>(c + Char{'a' - 'A'}) : c;
}

template <class Char>
constexpr void LowerAscii(Char* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) text[i] = ToLowerAscii(text[i]);
}

template <class Char>
constexpr bool EqualIgnoringCase(std::basic_string_view<Char> a, std::basic_string_view<Char> b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (ToLowerAscii(a[i]) != ToLowerAscii(b[i])) return false;
    return true;
}
constexpr bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return EqualIgnoringCase<char>(a, b);
}
constexpr bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
    return EqualIgnoringCase<char16_t>(a, b);
}

constexpr bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && EqualIgnoringCase(text.substr(0, prefix.size()), prefix);
}

// The first occurrence of needle in text, ignoring case; npos when there is none. An empty needle is never found.
constexpr std::size_t FindIgnoringCase(std::string_view text, std::string_view needle) {
    if (needle.empty() || needle.size() > text.size()) return std::string_view::npos;
    const char first = ToLowerAscii(needle.front());
    for (std::size_t i = 0; i + needle.size() <= text.size(); ++i)
        if (ToLowerAscii(text[i]) == first && EqualIgnoringCase(text.substr(i, needle.size()), needle)) return i;
    return std::string_view::npos;
}

inline constexpr std::size_t kBlock = 16;  // characters of one SSE2 register, which every x86-64 processor has

namespace detail {

inline __m128i LoadBlock(const char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

inline unsigned EqualMask(__m128i block, char c) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}

template <class Word>
inline Word LoadWord(const char* at) {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// Fewer than sixteen characters, zeros behind them. Pieces that overlap hold the same characters.
inline __m128i LoadPart(const char* at, std::size_t count) {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    if (count > 8) {
        low = LoadWord<std::uint64_t>(at);
        high = LoadWord<std::uint64_t>(at + count - 8) >> (8 * (kBlock - count));
    } else if (count >= 4) {
        low = LoadWord<std::uint32_t>(at) | static_cast<std::uint64_t>(LoadWord<std::uint32_t>(at + count - 4))
                                                << (8 * (count - 4));
    } else {
        for (std::size_t i = count; i > 0; --i) low = low << 8 | static_cast<std::uint8_t>(at[i - 1]);
    }
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
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
    const __m128i block = LoadPart(data, starts);
    unsigned hits = EqualMask(block, needle.front()) & EqualMask(LoadPart(data + last, starts), needle.back());
    hits &= (1U << starts) - 1U;
    if (kEndsAtNul) {
        const unsigned nuls = EqualMask(block, '\0') | 1U << starts;
        hits &= (nuls & (0U - nuls)) - 1U;
    }
    for (; hits != 0; hits &= hits - 1U) {
        at = static_cast<std::size_t>(std::countr_zero(hits));
        if (std::memcmp(data + at, needle.data(), needle.size()) == 0) return at;
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
    const std::size_t rest = text.size() - at;
    const __m128i block = detail::LoadPart(text.data() + at, rest);
    const unsigned hits = detail::EqualMask(block, a) | detail::EqualMask(block, b) | 1U << rest;
    return at + static_cast<std::size_t>(std::countr_zero(hits));
}

inline std::size_t FindCharacter(std::string_view text, char c) {
    return FindEither(text, c, c);
}

// Writes text in lower case; destination is the text's own place or does not overlap it.
void CopyLower(char* destination, std::string_view text);

// Short texts are copied faster so than by the string instructions that compilers choose.
void CopyCharacters(char* destination, std::string_view text);

}  // namespace tarn::base

#endif
