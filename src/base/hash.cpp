#include "base/hash.h"

namespace tarn::base {
namespace {

constexpr std::array<std::uint32_t, 256> kTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) value = (value & 1U) != 0 ? (value >> 1) ^ kCrc32Polynomial : value >> 1;
        table[i] = value;
    }
    return table;
}();

constexpr std::uint32_t Step(std::uint32_t state, std::uint8_t byte) {
    return kTable[(state ^ byte) & 0xFFU] ^ (state >> 8);
}

}  // namespace

void Crc32::Add(Bytes bytes) {
    for (const std::uint8_t byte : bytes) state_ = Step(state_, byte);
}

std::uint32_t Crc32Of(Bytes bytes) {
    Crc32 crc;
    crc.Add(bytes);
    return crc.Value();
}

std::uint32_t Crc32Of(std::string_view text) {
    std::uint32_t state = 0xFFFFFFFFU;
    for (const char c : text) state = Step(state, static_cast<std::uint8_t>(c));
    return ~state;
}

}  // namespace tarn::base
