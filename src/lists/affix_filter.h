// A filter in front of a radix tree: says at once of most texts that they begin (or end) with none of its patterns.
// Holds hashes only. Any number of threads may ask while nobody adds.
#ifndef TARN_LISTS_AFFIX_FILTER_H
#define TARN_LISTS_AFFIX_FILTER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "base/hash.h"
#include "base/key_filter.h"

namespace tarn::lists {

// Of each pattern the first (or last) 4, 8, 12 or 16 characters are kept, as many as it has; a text is asked with those
// lengths that occur. The first (or last) eight of every pattern that has them are kept once more: most texts are held
// back by those alone. A pattern of fewer than four characters lets every text pass.
template <bool kBackward>
class AffixFilter {
 public:
    AffixFilter() = default;
    // Empty, for up to count patterns.
    explicit AffixFilter(std::size_t count) : keys_(2 * count) {}

    void Add(std::string_view pattern) {
        std::size_t length = 0;
        for (const std::size_t one : {4U, 8U, 12U, 16U})
            if (pattern.size() >= one) length = one;
        lengths_ |= 1U << length;
        if (length != 0) keys_.Add(KeyOf(pattern, length));
        if (length >= kWord) keys_.Add(WordOf(pattern));
    }

    // False: the text begins (or ends) with no pattern.
    [[nodiscard]] bool MayMatch(std::string_view text) const {
        if ((lengths_ & 1U) != 0 || MayMatchWith<4>(text)) return true;
        if ((lengths_ >> kWord) == 0 || text.size() < kWord || !keys_.MayHold(WordOf(text))) return false;
        return MayMatchWith<8>(text) || MayMatchWith<12>(text) || MayMatchWith<16>(text);
    }
    [[nodiscard]] bool Empty() const { return lengths_ == 0; }

 private:
    static constexpr std::size_t kWord = 8;

    template <std::size_t kLength>
    [[nodiscard]] bool MayMatchWith(std::string_view text) const {
        return (lengths_ >> kLength & 1U) != 0 && text.size() >= kLength && keys_.MayHold(KeyOf(text, kLength));
    }

    // The first (or last) length characters of a text that has them.
    static const char* Affix(std::string_view text, std::size_t length) {
        return text.data() + (kBackward ? text.size() - length : 0);
    }
    // The keys, whose bits the filter mixes.
    static std::uint64_t WordOf(std::string_view text) { return base::LoadWord64(Affix(text, kWord)); }
    static std::uint64_t KeyOf(std::string_view text, std::size_t length) {
        const char* const at = Affix(text, length);
        if (length < kWord) {
            std::uint32_t word;
            std::memcpy(&word, at, sizeof word);
            return ~std::uint64_t{word};
        }
        // The two words of twelve characters overlap, those of eight are one.
        return base::LoadWord64(at) ^ (base::LoadWord64(at + length - kWord) + length) * base::kGolden64;
    }

    base::KeyFilter keys_;
    std::uint32_t lengths_ = 0;  // bit n: patterns are kept by n characters
};

using PrefixFilter = AffixFilter<false>;
using SuffixFilter = AffixFilter<true>;
static_assert(std::is_nothrow_move_assignable_v<PrefixFilter> && std::is_nothrow_move_assignable_v<SuffixFilter>);

}  // namespace tarn::lists

#endif
