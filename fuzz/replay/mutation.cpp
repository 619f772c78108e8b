#include "replay/mutation.h"

#include <algorithm>
#include <array>

namespace tarn::fuzz {
namespace {

// Where lengths, signs and texts turn over.
constexpr std::array<std::uint8_t, 16> kNotable{0,   1,    2,    0x0D, 0x0A, ' ',  '/',  ':',
                                                '.', 0x3F, 0x40, 0x7F, 0x80, 0xC0, 0xFE, 0xFF};

}  // namespace

ByteList Mutation::Next(std::span<const ByteList> inputs) {
    ByteList bytes = inputs[Below(inputs.size())];
    for (std::size_t changes = 1 + Below(4); changes > 0; --changes) Change(bytes, inputs);
    return bytes;
}

void Mutation::Change(ByteList& bytes, std::span<const ByteList> inputs) {
    const auto at = [&](std::size_t place) { return bytes.begin() + static_cast<std::ptrdiff_t>(place); };
    const std::size_t place = Below(bytes.size() + 1);
    const std::size_t length = 1 + Below(std::min<std::size_t>(64, bytes.size() - place + 1));
    const std::size_t end = std::min(place + length, bytes.size());
    switch (Below(7)) {
        case 0:
            if (place < bytes.size()) bytes[place] = static_cast<std::uint8_t>(bytes[place] ^ 1U << Below(8));
            break;
        case 1:
            if (place < bytes.size()) bytes[place] = kNotable[Below(kNotable.size())];
            break;
        case 2:
            if (place < bytes.size()) bytes[place] = static_cast<std::uint8_t>(bytes[place] + Below(9) - 4);
            break;
        case 3:
            bytes.erase(at(place), at(end));
            break;
        case 4:
            bytes.insert(at(place), length, kNotable[Below(kNotable.size())]);
            break;
        case 5: {
            const ByteList piece(at(place), at(end));
            const std::size_t target = Below(bytes.size() + 1);
            bytes.insert(at(target), piece.begin(), piece.end());
            break;
        }
        default: {
            // The rest of another input.
            const ByteList& other = inputs[Below(inputs.size())];
            const std::size_t from = Below(other.size() + 1);
            bytes.erase(at(place), bytes.end());
            bytes.insert(bytes.end(), other.begin() + static_cast<std::ptrdiff_t>(from), other.end());
        }
    }
}

}  // namespace tarn::fuzz
