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

// Whether two texts of this length are the same. Inline, and never the run-time library's memcmp, which costs more than
// most of these comparisons.
inline bool EqualCharacters(const char* a, const char* b, std::size_t length) {
    const auto differ = [a, b](std::size_t at) {
        return Block16::LoadHalf(a + at).Half() ^ Block16::LoadHalf(b + at).Half();
    };
    constexpr std::size_t kHalf = Block16::kSize / 2;
    if (length < kHalf) return Block16::LoadPart(a, length).Half() == Block16::LoadPart(b, length).Half();
    for (std::size_t at = 0; at + kHalf < length; at += kHalf)
        if (differ(at) != 0) return false;
    return differ(length - kHalf) == 0;
}

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
                if (EqualCharacters(data + hit, needle.data(), needle.size())) return hit;
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
        if (EqualCharacters(data + at, needle.data(), needle.size())) return at;
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

// Gives maskOf(block) of a text block by block, one bit for each of its characters: calls use(at, mask), the mask's
// lowest bit standing for the character at `at`, until it returns true, which is then the result.
template <class MaskOf, class Use>
inline bool AnyBlockMask(std::string_view text, MaskOf maskOf, Use use) {
    constexpr std::size_t kSize = Block16::kSize;
    std::size_t at = 0;
    for (; at + kSize <= text.size(); at += kSize)
        if (use(at, maskOf(Block16::Load(text.data() + at)))) return true;
    const std::size_t rest = text.size() - at;
    if (rest == 0) return false;
    // The last block may overlap the one before.
    if (at != 0) return use(at, maskOf(Block16::Load(text.data() + text.size() - kSize)) >> (kSize - rest));
    return use(at, maskOf(Block16::LoadPart(text.data(), rest)) & ((1U << rest) - 1U));
}

// Where the first of two characters stands; the length of text when it holds neither.
inline std::size_t FindEither(std::string_view text, char a, char b) {
    std::size_t found = text.size();
    AnyBlockMask(
        text, [a, b](Block16 block) { return block.EqualMask(a) | block.EqualMask(b); },
        [&found](std::size_t at, unsigned mask) {
            if (mask != 0) found = at + static_cast<std::size_t>(std::countr_zero(mask));
            return mask != 0;
        });
    return found;
}

inline std::size_t FindCharacter(std::string_view text, char c) {
    return FindEither(text, c, c);
}

// Where the first NUL stands; the length of text when it holds none. Four blocks a step, since most texts hold none.
inline std::size_t FindNul(std::string_view text) {
    constexpr std::size_t kStep = 4 * Block16::kSize;
    std::size_t at = 0;
    for (; at + kStep <= text.size(); at += kStep) {
        const auto block = [&](std::size_t i) { return Block16::Load(text.data() + at + i * Block16::kSize); };
        if (block(0).Min(block(1)).Min(block(2).Min(block(3))).EqualMask('\0') != 0) break;
    }
    return at + FindCharacter(text.substr(at), '\0');
}

// Whether a letter in upper case stands in text.
inline bool HasUpper(std::string_view text) {
    return AnyBlockMask(
        text, [](Block16 block) { return block.UpperMask(); }, [](std::size_t, unsigned mask) { return mask != 0; });
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
