#include "base/text.h"

namespace tarn::base {
namespace {

// Copies text block by block through change. The last piece overlaps the one before, so change applied twice must be
// the same as once.
template <class Change>
void CopyBlocks(char* destination, std::string_view text, Change change) {
    const char* const source = text.data();
    const std::size_t length = text.size();
    const auto block = [&](std::size_t at) { change(Block16::Load(source + at)).Store(destination + at); };
    const auto half = [&](std::size_t at) { change(Block16::LoadHalf(source + at)).StoreHalf(destination + at); };
    if (length >= Block16::kSize) {
        for (std::size_t at = 0; at + Block16::kSize < length; at += Block16::kSize) block(at);
        block(length - Block16::kSize);
    } else if (length >= Block16::kSize / 2) {
        half(0);
        half(length - Block16::kSize / 2);
    } else {
        std::uint64_t rest = change(Block16::LoadPart(source, length)).Half();
        for (std::size_t at = 0; at < length; ++at, rest >>= 8) destination[at] = static_cast<char>(rest & 0xFFU);
    }
}

}  // namespace

void CopyLower(char* destination, std::string_view text) {
    CopyBlocks(destination, text, [](Block16 block) { return block.Lower(); });
}

void CopyCharacters(char* destination, std::string_view text) {
    CopyBlocks(destination, text, [](Block16 block) { return block; });
}

std::string Lowered(std::string_view text) {
    std::string lowered(text.size(), '\0');
    CopyLower(lowered.data(), text);
    return lowered;
}

}  // namespace tarn::base
