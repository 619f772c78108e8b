// ASCII case folding and comparison: host names and URLs on the wire are ASCII, so no locale has a say.
// Bytes above 0x7F are left as they are.
#ifndef TARN_BASE_ASCII_H
#define TARN_BASE_ASCII_H

#include <cstddef>
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

}  // namespace tarn::base

#endif
