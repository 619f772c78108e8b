#include "base/text.h"

namespace tarn::base {
namespace {

using detail::LoadBlock;
using detail::LoadPart;

// Copies text block by block through change. The last piece overlaps the one before, so change applied twice must be
// the same as once.
template <class Change>
void CopyBlocks(char* destination, std::string_view text, Change change) {
    const char* const source = text.data();
    const std::size_t length = text.size();
    const auto block = [&](std::size_t at) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + at), change(LoadBlock(source + at)));
    };
    const auto half = [&](std::size_t at) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(destination + at),
                         change(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + at))));
    };
    if (length >= kBlock) {
        for (std::size_t at = 0; at + kBlock < length; at += kBlock) block(at);
        block(length - kBlock);
    } else if (length >= kBlock / 2) {
        half(0);
        half(length - kBlock / 2);
    } else {
        auto rest = static_cast<std::uint64_t>(_mm_cvtsi128_si64(change(LoadPart(source, length))));
        for (std::size_t at = 0; at < length; ++at, rest >>= 8) destination[at] = static_cast<char>(rest & 0xFFU);
    }
}

}  // namespace

void CopyLower(char* destination, std::string_view text) {
    CopyBlocks(destination, text, [](__m128i block) { return detail::LowerBlock(block); });
}

void CopyCharacters(char* destination, std::string_view text) {
    CopyBlocks(destination, text, [](__m128i block) { return block; });
}

}  // namespace tarn::base
