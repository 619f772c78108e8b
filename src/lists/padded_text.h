// A copy of a text with zeros around it: eight characters may be read in front of any place, sixteen behind.
// Lives on the stack of one look-up.
#ifndef TARN_LISTS_PADDED_TEXT_H
#define TARN_LISTS_PADDED_TEXT_H

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/text.h"
#include "base/url_path.h"

namespace tarn::lists {

inline constexpr std::size_t kStride = 8;  // characters that are looked at in one step

enum class LetterCase { kKept, kFolded };

class PaddedText {
 public:
    static constexpr std::size_t kMaxLength = base::UrlText::kMaxLength;

    // A longer text than any host, path or URL can be does not fit; then this is empty.
    PaddedText(std::string_view text, LetterCase letterCase) : fits_(text.size() <= kMaxLength) {
        std::memset(chars_, 0, kStride);
        if (fits_) length_ = text.size();
        if (letterCase == LetterCase::kFolded)
            base::CopyLower(chars_ + kStride, text.substr(0, length_));
        else
            base::CopyCharacters(chars_ + kStride, text.substr(0, length_));
        std::memset(chars_ + kStride + length_, 0, base::Block16::kSize);
    }

    [[nodiscard]] bool Fits() const { return fits_; }
    [[nodiscard]] std::string_view View() const { return {chars_ + kStride, length_}; }

 private:
    std::size_t length_ = 0;
    bool fits_;
    char chars_[kStride + kMaxLength + base::Block16::kSize];
};

// The ends that a listed URL or path may have in the text it is found in.
inline bool EndsSegment(std::string_view text, std::size_t at) {
    return at == text.size() || text[at] == '/';
}
inline bool EndsUrlPart(std::string_view text, std::size_t at) {
    return EndsSegment(text, at) || text[at] == '?' || text[at] == '#';
}

}  // namespace tarn::lists

#endif
