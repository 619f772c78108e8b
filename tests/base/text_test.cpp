#include "base/text.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

namespace tarn::base {
namespace {

// A copy in a heap block of exactly its size, so that a read past the end is seen.
class ExactText {
 public:
    explicit ExactText(std::string_view text) : chars_(new char[text.size()]), size_(text.size()) {
        if (!text.empty()) std::memcpy(chars_.get(), text.data(), text.size());
    }
    [[nodiscard]] std::string_view View() const { return {chars_.get(), size_}; }

 private:
    std::unique_ptr<char[]> chars_;
    std::size_t size_;
};

TEST(TextSearch, AgreesWithTheStandardLibrary) {
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 70, ' ');
        for (char& c : text) c = "ab\0"[random() % 3];
        std::string needle(1 + random() % 6, ' ');
        for (char& c : needle) c = "ab"[random() % 2];
        const ExactText exact(text);
        EXPECT_EQ(FindText(exact.View(), needle), text.find(needle)) << text;
        EXPECT_EQ(FindTextBeforeNul(exact.View(), needle), text.substr(0, text.find('\0')).find(needle)) << text;
        EXPECT_EQ(FindEither(exact.View(), 'b', '\0'), std::min(text.find_first_of({"b\0", 2}), text.size()));
        EXPECT_EQ(FindCharacter(exact.View(), 'b'), std::min(text.find('b'), text.size()));
    }
}

TEST(TextSearch, AnEmptyNeedleIsNeverFound) {
    EXPECT_EQ(FindText("abc", ""), std::string_view::npos);
    EXPECT_EQ(FindText("", ""), std::string_view::npos);
}

TEST(TextSearch, FindsAtEveryPlaceOfEveryLength) {
    for (std::size_t length = 2; length < 70; ++length) {
        for (std::size_t at = 0; at + 2 <= length; ++at) {
            std::string text(length, '.');
            text.replace(at, 2, "xy");
            const ExactText exact(text);
            EXPECT_EQ(FindText(exact.View(), "xy"), at);
        }
    }
}

TEST(TextSearch, FindsTheFirstNulOfEveryLength) {
    for (std::size_t length = 0; length < 200; ++length) {
        std::string text(length, '\xFF');
        EXPECT_EQ(FindNul(ExactText(text).View()), length);
        for (std::size_t at = length; at-- > 0;) {
            text[at] = '\0';
            EXPECT_EQ(FindNul(ExactText(text).View()), at) << length;
        }
    }
}

TEST(TextSearch, EveryCharacterOfANeedleCounts) {
    for (std::size_t length = 1; length < 40; ++length) {
        const std::string needle(length, 'a');
        const ExactText exact(needle);
        for (std::size_t changed = 0; changed <= length; ++changed) {
            std::string near = needle;
            if (changed < length) near[changed] = 'b';
            const ExactText alone(near);
            const ExactText before(near + needle);
            EXPECT_EQ(FindText(alone.View(), exact.View()), near.find(needle)) << length;
            EXPECT_EQ(FindText(before.View(), exact.View()), (near + needle).find(needle)) << length;
        }
    }
}

TEST(TextSearch, CopyLowerFoldsAsciiOnlyAtEveryLength) {
    for (std::size_t length = 0; length < 300; ++length) {
        std::string text(length, ' ');
        std::string lower(length, ' ');
        for (std::size_t i = 0; i < length; ++i) {
            text[i] = static_cast<char>(i * 7 + length);
            lower[i] = ToLowerAscii(text[i]);
        }
        const ExactText source(text);
        const std::unique_ptr<char[]> folded(new char[length]);
        CopyLower(folded.get(), source.View());
        EXPECT_EQ(std::string(folded.get(), length), lower);
        CopyLower(text.data(), text);
        EXPECT_EQ(text, lower) << "in place";
    }
}

#ifndef NDEBUG
TEST(Block16DeathTest, APartOfAWholeBlockIsCaught) {
    const char characters[Block16::kSize] = {};
    EXPECT_DEATH(static_cast<void>(Block16::LoadPart(characters, Block16::kSize)), "kSize");
}
#endif

}  // namespace
}  // namespace tarn::base
