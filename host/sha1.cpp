#include "host/sha1.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace tarn::host {

namespace {

constexpr std::size_t kBlock = 64;
constexpr std::size_t kLength = 8;  // bytes of the message's length, at the end of the last block
constexpr int kRounds = 80;

using State = std::array<std::uint32_t, 5>;

void AddBlock(base::Bytes block, State& state) {
    std::array<std::uint32_t, kRounds> words{};
    base::ByteReader reader(block);
    for (std::size_t i = 0; i < kBlock / 4; ++i)
        if (!reader.Be(words[i])) return;  // a block is whole
    for (std::size_t i = 16; i < words.size(); ++i)
        words[i] = std::rotl(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
    auto [a, b, c, d, e] = state;
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::uint32_t mixed = b ^ c ^ d;
        std::uint32_t constant = i < 40 ? 0x6ED9EBA1 : 0xCA62C1D6;
        if (i < 20) {
            mixed = (b & c) | (~b & d);
            constant = 0x5A827999;
        } else if (i >= 40 && i < 60) {
            mixed = (b & c) | (b & d) | (c & d);
            constant = 0x8F1BBCDC;
        }
        const std::uint32_t next = std::rotl(a, 5) + mixed + e + constant + words[i];
        e = d;
        d = c;
        c = std::rotl(b, 30);
        b = a;
        a = next;
    }
    const State added{a, b, c, d, e};
    for (std::size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

void PutBe(std::uint64_t number, std::size_t bytes, std::uint8_t* out) {
    for (std::size_t i = 0; i < bytes; ++i) out[i] = static_cast<std::uint8_t>(number >> (8 * (bytes - 1 - i)));
}

}  // namespace

Sha1Digest Sha1(base::Bytes message) {
    State state{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    const std::uint64_t bits = std::uint64_t{8} * message.size();
    for (; message.size() >= kBlock; message = message.subspan(kBlock)) AddBlock(message.first(kBlock), state);

    // The rest, a one bit, zeros and the length: in one block, or in two.
    std::array<std::uint8_t, 2 * kBlock> last{};
    std::copy(message.begin(), message.end(), last.begin());
    last[message.size()] = 0x80;
    const std::size_t length = message.size() + 1 + kLength > kBlock ? 2 * kBlock : kBlock;
    PutBe(bits, kLength, &last[length - kLength]);
    for (std::size_t at = 0; at < length; at += kBlock) AddBlock(base::Bytes(last).subspan(at, kBlock), state);

    Sha1Digest digest{};
    for (std::size_t i = 0; i < state.size(); ++i) PutBe(state[i], 4, &digest[i * 4]);
    return digest;
}

}  // namespace tarn::host
