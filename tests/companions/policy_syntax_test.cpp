#include <gtest/gtest.h>

#include "policy/policy_reader.h"

namespace tarn::policy {
namespace {

// The one mistake of a text that is no TOML.
Mistake OnlyMistake(std::string_view text) {
    const ReadPolicy read = ParsePolicy(text);
    EXPECT_EQ(read.mistakes.size(), 1U) << text;
    return read.mistakes.empty() ? Mistake{} : read.mistakes.front();
}

TEST(PolicySyntax, ATableNamedByNoKeyIsAMistakeWithItsPlace) {
    const Mistake mistake = OnlyMistake("[features]\nagent_status = 1\n[!x]\n");
    EXPECT_EQ(mistake.line, 3U);
    EXPECT_EQ(mistake.column, 2U);
    EXPECT_FALSE(mistake.text.empty());
    EXPECT_EQ(OnlyMistake("[=]").line, 1U);
    EXPECT_EQ(OnlyMistake("[[\x7Fsites]]\nc\x02 = 1\n").line, 1U);
}

TEST(PolicySyntax, ATableWithoutANameIsAMistake) {
    EXPECT_EQ(OnlyMistake("\n[]").line, 2U);
    EXPECT_EQ(OnlyMistake("[[ ]]").line, 1U);
}

// Of each kind of place that the parser looks for blanks in; the letters stand in the ranges that it has blanks in.
TEST(PolicySyntax, LettersBeyondAsciiOutsideTextsAreMistakes) {
    for (const std::string letter : {"\u00A1", "\u01EA", "\u038B", "\u1681", "\u2010", "\u3001", "\uFEFE"})
        for (const std::string& text : {"[features]\n" + letter + " = 1\n", "[" + letter + "features]\n",
                                        "[features]\nagent_status =" + letter + "1\n", "together = " + letter})
            EXPECT_GE(OnlyMistake(text).line, 1U) << text;
    EXPECT_EQ(OnlyMistake("[features]\nagent_status = 1\n\u01EA = 1\n").line, 3U);
}

}  // namespace
}  // namespace tarn::policy
