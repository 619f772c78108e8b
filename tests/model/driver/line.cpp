#include "model/driver/line.h"

#include <sstream>
#include <stdexcept>

namespace tarn::model {

Line::Line(const std::string& text) {
    std::istringstream in(text);
    for (std::string word; in >> word;) words_.push_back(word);
}

std::string Line::Word() {
    if (IsOver()) throw std::runtime_error("a word is missing");
    return words_[next_++];
}

std::uint64_t Line::Number() {
    return std::stoull(Word());
}

Bytes Line::Hex() {
    const std::string word = Word();
    Bytes bytes;
    if (word == "-") return bytes;
    if (word.size() % 2 != 0) throw std::runtime_error("an odd number of hex digits");
    for (std::size_t i = 0; i < word.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string HexOf(const std::uint8_t* bytes, std::size_t size) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

std::string ChangesOf(const std::uint8_t* bytes, const std::uint8_t* before, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size;) {
        if (bytes[i] == before[i]) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < size && bytes[end] != before[end]) ++end;
        if (!text.empty()) text += ',';
        text += std::to_string(i) + ':' + HexOf(bytes + i, end - i);
        i = end;
    }
    return text.empty() ? "-" : text;
}

}  // namespace tarn::model
