// A fuzz target: one function that reads an input in every way that the product would, and ends the process when what
// must hold for every input does not.
#ifndef TARN_FUZZ_TARGET_H
#define TARN_FUZZ_TARGET_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"

namespace tarn::fuzz {

using base::Bytes;
using ByteList = std::vector<std::uint8_t>;

struct Target {
    std::string_view name;
    void (*run)(Bytes input);
    std::size_t mostBytes;             // longer inputs tell nothing new; they are cut
    std::size_t replays;               // how many beginnings and how many changed inputs the tests can afford
    std::string_view dictionary = {};  // a file of fuzz/dictionaries with words of the format
};

std::span<const Target> AllTargets();
// Null when there is none of that name.
const Target* FindTarget(std::string_view name);
void RunTarget(const Target& target, Bytes input);

[[noreturn]] void EndWith(const char* rule);
// Ends the process with the rule as its message when it does not hold.
inline void Require(bool holds, const char* rule) {
    if (!holds) EndWith(rule);
}

// Bytes in a heap block of exactly their size, so that the sanitizer sees every step past either end.
class ExactBlock {
 public:
    explicit ExactBlock(Bytes bytes, std::size_t spare = 0);
    [[nodiscard]] std::uint8_t* Data() { return block_.get(); }
    [[nodiscard]] Bytes View() const { return {block_.get(), size_}; }
    [[nodiscard]] std::string_view Text() const { return {reinterpret_cast<const char*>(block_.get()), size_}; }

 private:
    std::size_t size_;  // without the spare bytes
    std::unique_ptr<std::uint8_t[]> block_;
};

// Cuts an input into the arguments of a target. Behind the end there are zeros and empty pieces.
class Pieces {
 public:
    explicit Pieces(Bytes input) : rest_(input) {}
    [[nodiscard]] bool AtEnd() const { return rest_.empty(); }
    std::uint8_t Byte();
    std::uint16_t Number();
    // At most count bytes.
    Bytes Take(std::size_t count);
    std::string_view TakeText(std::size_t count);
    // A piece with its length (two bytes, little-endian) in front.
    Bytes Piece() { return Take(Number()); }
    // Up to the next line feed, which is dropped.
    std::string_view Line();
    Bytes Rest() { return Take(rest_.size()); }

 private:
    Bytes rest_;
};

inline std::string_view AsText(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
inline Bytes AsBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Whether a field of a packed record, at any address, holds a NUL.
template <class Char>
bool IsTerminated(const void* field, std::size_t bytes) {
    for (std::size_t at = 0; at + sizeof(Char) <= bytes; at += sizeof(Char)) {
        Char unit;
        std::memcpy(&unit, static_cast<const std::uint8_t*>(field) + at, sizeof unit);
        if (unit == Char{}) return true;
    }
    return false;
}

}  // namespace tarn::fuzz

#endif
