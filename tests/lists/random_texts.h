// Random hosts, paths and patterns over small alphabets, so that lists and texts meet often.
#ifndef TARN_TESTS_LISTS_RANDOM_TEXTS_H
#define TARN_TESTS_LISTS_RANDOM_TEXTS_H

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace tarn::lists {

class RandomTexts {
 public:
    explicit RandomTexts(std::uint32_t seed) : random_(seed) {}

    std::size_t Below(std::size_t bound) { return random_() % bound; }
    bool OneIn(std::size_t odds) { return Below(odds) == 0; }
    std::uint8_t Byte(std::size_t bound) { return static_cast<std::uint8_t>(Below(bound)); }

    // Mostly short, sometimes a few strides of eight characters long.
    std::size_t Length(std::size_t longest) {
        const std::size_t bounds[] = {4, 10, 18, 35, longest};
        const std::size_t bound = bounds[OneIn(30) ? 4 : Below(4)];
        return Below((bound < longest ? bound : longest) + 1);
    }
    std::string Text(std::string_view alphabet, std::size_t length) {
        std::string text(length, ' ');
        for (char& c : text) c = alphabet[Below(alphabet.size())];
        return text;
    }
    // A piece of a text, so that it occurs there.
    std::string PieceOf(const std::string& text) {
        if (text.empty()) return text;
        const std::size_t at = OneIn(2) ? 0 : Below(text.size());
        return text.substr(at, Below(text.size() - at + 1));
    }
    // A few characters in the other case.
    std::string Recased(std::string text) {
        for (char& c : text)
            if (c >= 'a' && c <= 'z' && OneIn(4)) c = static_cast<char>(c - 32);
        return text;
    }

 private:
    std::mt19937 random_;
};

}  // namespace tarn::lists

#endif
