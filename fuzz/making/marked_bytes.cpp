#include "making/marked_bytes.h"

#include <algorithm>

namespace tarn::fuzz {

void MarkedBytes::Put(std::uint64_t number, std::size_t size) {
    bytes_.resize(bytes_.size() + size);
    Write({bytes_.size() - size, size, order_}, number);
}

void MarkedBytes::PutMarked(std::uint64_t number, std::size_t size) {
    marks_.push_back({Size(), size, order_});
    Put(number, size);
}

void MarkedBytes::PutAll(const MarkedBytes& other) {
    for (Mark mark : other.marks_) {
        mark.place += Size();
        marks_.push_back(mark);
    }
    PutBytes(other.bytes_);
}

std::size_t MarkedBytes::Open(std::size_t size) {
    PutMarked(0, size);
    return marks_.back().place;
}

void MarkedBytes::Close(std::size_t place, std::size_t more, std::size_t unit) {
    const auto mark = std::ranges::find(marks_, place, &Mark::place);
    Require(mark != marks_.end(), "a length is opened before it is closed");
    Write(*mark, (Size() - place - mark->size + more) / unit);
}

void MarkedBytes::Set(std::size_t place, std::uint64_t number) {
    const auto mark = std::ranges::find(marks_, place, &Mark::place);
    Require(mark != marks_.end(), "only a marked number is set");
    Write(*mark, number);
}

bool MarkedBytes::Break(Pieces& choice) {
    if (marks_.empty()) return false;
    const ByteList whole = bytes_;
    const Mark mark = marks_[choice.Number() % marks_.size()];
    const std::uint64_t number = Read(mark);
    switch (choice.Byte() % 9) {
        case 0:
            Write(mark, 0);
            break;
        case 1:
            Write(mark, ~std::uint64_t{0});
            break;
        case 2:
            Write(mark, number + 1);
            break;
        case 3:
            Write(mark, number - 1);
            break;
        case 4:
            Write(mark, number * 2);
            break;
        case 5:
            Write(mark, number ^ std::uint64_t{1} << (mark.size * 8 - 1));
            break;
        case 6:
            Write(mark, choice.Number());
            break;
        case 7:
            bytes_.resize(mark.place);
            break;
        default:
            bytes_.resize(choice.Number() % (bytes_.size() + 1));
    }
    return bytes_ != whole;
}

bool MarkedBytes::MayBreak(Pieces& choice) {
    constexpr std::uint8_t kOneOf = 4;
    return choice.Byte() % kOneOf != 1 || !Break(choice);
}

std::uint64_t MarkedBytes::Read(const Mark& mark) const {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < mark.size; ++i) {
        const std::size_t at = mark.order == ByteOrder::kNetwork ? i : mark.size - 1 - i;
        number = number << 8 | bytes_[mark.place + at];
    }
    return number;
}

void MarkedBytes::Write(const Mark& mark, std::uint64_t number) {
    for (std::size_t i = 0; i < mark.size; ++i) {
        const std::size_t at = mark.order == ByteOrder::kLittle ? i : mark.size - 1 - i;
        bytes_[mark.place + at] = static_cast<std::uint8_t>(number >> (8 * i) & 0xFF);
    }
}

}  // namespace tarn::fuzz
