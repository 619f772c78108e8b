// ASCII text: case folding, comparison, bounded searching and copying, sixteen characters at a time.
// Host names and URLs on the wire are ASCII, so no locale has a say; bytes above 0x7F are left as they are. Nothing
// past the end of a text is ever read.
#ifndef TARN_BASE_TEXT_H
#define TARN_BASE_TEXT_H

#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "base/block16.h"

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

namespace detail {

// Candidates are found by the first and the last character of needle at once, then compared as a whole.
template <bool kEndsAtNul>
inline std::size_t Search(std::string_view text, std::string_view needle) {
    if (needle.empty() || needle.size() > text.size()) return std::string_view::npos;
    const char* const data = text.data();
    const std::size_t last = needle.size() - 1;
    const std::size_t starts = text.size() - last;  // places where needle can begin
    std::size_t at = 0;
    if (starts >= Block16::kSize) {
        for (;;) {
            const Block16 block = Block16::Load(data + at);
            unsigned hits = block.EqualMask(needle.front()) & Block16::Load(data + at + last).EqualMask(needle.back());
            const unsigned nuls = kEndsAtNul ? block.EqualMask('\0') : 0U;
            if (nuls != 0) hits &= (nuls & (0U - nuls)) - 1U;
            for (; hits != 0; hits &= hits - 1U) {
                const std::size_t hit = at + static_cast<std::size_t>(std::countr_zero(hits));
                if (std::memcmp(data + hit, needle.data(), needle.size()) == 0) return hit;
            }
            if (nuls != 0 || at + Block16::kSize == starts) return std::string_view::npos;
            // The last block overlaps the one before; what it sees again was refused already.
            at = at + 2 * Block16::kSize <= starts ? at + Block16::kSize : starts - Block16::kSize;
        }
    }
    const Block16 block = Block16::LoadPart(data, starts);
    unsigned hits = block.EqualMask(needle.front()) & Block16::LoadPart(data + last, starts).EqualMask(needle.back());
    hits &= (1U << starts) - 1U;
    if (kEndsAtNul) {
        const unsigned nuls = block.EqualMask('\0') | 1U << starts;
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
    for (; at + Block16::kSize <= text.size(); at += Block16::kSize) {
        const Block16 block = Block16::Load(text.data() + at);
        const unsigned hits = block.EqualMask(a) | block.EqualMask(b);
        if (hits != 0) return at + static_cast<std::size_t>(std::countr_zero(hits));
    }
    const std::size_t rest = text.size() - at;
    const Block16 block = Block16::LoadPart(text.data() + at, rest);
    const unsigned hits = block.EqualMask(a) | block.EqualMask(b) | 1U << rest;
    return at + static_cast<std::size_t>(std::countr_zero(hits));
}

inline std::size_t FindCharacter(std::string_view text, char c) {
    return FindEither(text, c, c);
}

// Writes text in lower case; destination is the text's own place or does not overlap it.
void CopyLower(char* destination, std::string_view text);

// The same without folding: faster than rep movsb for short texts, and most hosts and paths are short.
void CopyCharacters(char* destination, std::string_view text);

// A copy in lower case.
std::string Lowered(std::string_view text);

// A text without the one "/" that it may end in.
constexpr std::string_view WithoutTrailingSlash(std::string_view text) {
    if (text.ends_with('/')) text.remove_suffix(1);
    return text;
}

}  // namespace tarn::base

#endif
