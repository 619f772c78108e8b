// The conversion of the system's code page as the fakes of the process inspector make it: Latin-1.
// It keeps the real one's rules: an empty text stays empty, and what does not fit with its NUL is refused.
#ifndef TARN_TESTS_FAKES_LATIN_TEXT_H
#define TARN_TESTS_FAKES_LATIN_TEXT_H

#include <algorithm>
#include <span>
#include <string_view>

namespace tarn::fakes {

inline bool LatinToWide(std::string_view text, std::span<char16_t> wide) {
    if (wide.empty()) return false;
    const bool fits = text.size() < wide.size();
    if (!fits) text = {};
    std::ranges::transform(text, wide.begin(), [](char c) { return char16_t{static_cast<unsigned char>(c)}; });
    wide[text.size()] = u'\0';
    return fits;
}

}  // namespace tarn::fakes

#endif
