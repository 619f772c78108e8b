// Bytes of a format with lengths, counts and sums: they are written right, and their places are remembered, so that one
// of them can be broken afterwards.
#ifndef TARN_FUZZ_MAKING_MARKED_BYTES_H
#define TARN_FUZZ_MAKING_MARKED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "target.h"

namespace tarn::fuzz {

enum class ByteOrder : std::uint8_t { kNetwork, kLittle };

class MarkedBytes {
 public:
    explicit MarkedBytes(ByteOrder order = ByteOrder::kNetwork) : order_(order) {}

    // Of the numbers that follow.
    void SetOrder(ByteOrder order) { order_ = order; }
    [[nodiscard]] std::size_t Size() const { return bytes_.size(); }
    [[nodiscard]] const ByteList& All() const { return bytes_; }

    void Put(std::uint64_t number, std::size_t size);
    // A number that readers rely on.
    void PutMarked(std::uint64_t number, std::size_t size);
    void PutBytes(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void PutText(std::string_view text) { PutBytes(AsBytes(text)); }
    void PutZeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
    // With its marks.
    void PutAll(const MarkedBytes& other);

    // The length of what follows, up to Close; the place is Close's argument.
    [[nodiscard]] std::size_t Open(std::size_t size);
    // What stands behind the length, and so many bytes more, in units.
    void Close(std::size_t place, std::size_t more = 0, std::size_t unit = 1);
    // Puts another number in the place of a marked one.
    void Set(std::size_t place, std::uint64_t number);

    // Changes one marked number, or ends the bytes early. False when they stayed as they were.
    bool Break(Pieces& choice);
    // Breaks them with a chance of one in four. True when they are as they were written.
    bool MayBreak(Pieces& choice);

 private:
    struct Mark {
        std::size_t place;
        std::size_t size;
        ByteOrder order;
    };
    [[nodiscard]] std::uint64_t Read(const Mark& mark) const;
    void Write(const Mark& mark, std::uint64_t number);

    ByteList bytes_;
    std::vector<Mark> marks_;
    ByteOrder order_;
};

}  // namespace tarn::fuzz

#endif
