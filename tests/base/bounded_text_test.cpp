#include "base/bounded_text.h"

#include <gtest/gtest.h>
#include <string>

namespace tarn::base {
namespace {

template <class Char>
class BoundedText : public testing::Test {};

using Widths = testing::Types<char, char16_t>;
TYPED_TEST_SUITE(BoundedText, Widths);

template <class Char>
std::basic_string<Char> Repeat(std::size_t count, char c) {
    return std::basic_string<Char>(count, static_cast<Char>(c));
}

TYPED_TEST(BoundedText, ATextThatFillsAllButTheNulIsCopied) {
    std::array<TypeParam, 8> buffer{};
    EXPECT_EQ(CopyText(buffer, Repeat<TypeParam>(7, 'x')), TextResult::kOk);
    EXPECT_EQ(FieldText(buffer), Repeat<TypeParam>(7, 'x'));
}

TYPED_TEST(BoundedText, OneUnitMoreIsCutAndReported) {
    std::array<TypeParam, 8> buffer{};
    buffer.fill(TypeParam{'?'});
    EXPECT_EQ(CopyText(buffer, Repeat<TypeParam>(8, 'x')), TextResult::kInsufficientBuffer);
    EXPECT_EQ(buffer[7], TypeParam{});
    EXPECT_EQ(FieldText(buffer), Repeat<TypeParam>(7, 'x'));
}

TYPED_TEST(BoundedText, CapacityZeroIsInvalidAndTouchesNothing) {
    TypeParam unit{'?'};
    EXPECT_EQ(CopyText<TypeParam>(&unit, 0, Repeat<TypeParam>(1, 'x')), TextResult::kInvalidArgument);
    EXPECT_EQ(AppendText<TypeParam>(&unit, 0, Repeat<TypeParam>(1, 'x')), TextResult::kInvalidArgument);
    EXPECT_EQ(FormatText<TypeParam>(&unit, 0, {}), TextResult::kInvalidArgument);
    EXPECT_EQ(unit, TypeParam{'?'});
}

TYPED_TEST(BoundedText, ACapacityAboveTheLimitIsInvalidAndEmptiesTheDestination) {
    for (const auto operation : {0, 1, 2}) {
        std::array<TypeParam, 4> buffer{TypeParam{'?'}, TypeParam{'?'}};
        const std::size_t capacity = kMaxTextCapacity + 1;
        const auto storage = Repeat<TypeParam>(1, 'x');
        const std::basic_string_view<TypeParam> text = storage;
        const TextResult result = operation == 0   ? CopyText<TypeParam>(buffer.data(), capacity, text)
                                  : operation == 1 ? AppendText<TypeParam>(buffer.data(), capacity, text)
                                                   : FormatText<TypeParam>(buffer.data(), capacity, {text});
        EXPECT_EQ(result, TextResult::kInvalidArgument);
        EXPECT_EQ(buffer[0], TypeParam{});
    }
}

TYPED_TEST(BoundedText, AppendsBehindTheExistingTextAndReportsTheCut) {
    std::array<TypeParam, 6> buffer{};
    EXPECT_EQ(CopyText(buffer, Repeat<TypeParam>(3, 'a')), TextResult::kOk);
    EXPECT_EQ(AppendText(buffer.data(), buffer.size(), Repeat<TypeParam>(2, 'b')), TextResult::kOk);
    EXPECT_EQ(FieldText(buffer), Repeat<TypeParam>(3, 'a') + Repeat<TypeParam>(2, 'b'));
    EXPECT_EQ(AppendText(buffer.data(), buffer.size(), Repeat<TypeParam>(1, 'c')), TextResult::kInsufficientBuffer);
    EXPECT_EQ(FieldText(buffer), Repeat<TypeParam>(3, 'a') + Repeat<TypeParam>(2, 'b'));
}

TYPED_TEST(BoundedText, AnEmptySourceTerminates) {
    std::array<TypeParam, 2> buffer{TypeParam{'?'}, TypeParam{'?'}};
    EXPECT_EQ(CopyText(buffer, {}), TextResult::kOk);
    EXPECT_EQ(buffer[0], TypeParam{});
}

TEST(FormatText, NumbersKeepTheirWidth) {
    PathBuffer buffer{};
    EXPECT_EQ(FormatText(buffer, {u"HOSTASVC", 5U, TextPiece<char16_t>(1U, 2), u".EXE"}), TextResult::kOk);
    EXPECT_EQ(FieldText(buffer), u"HOSTASVC501.EXE");
    EXPECT_EQ(FormatText(buffer, {u"HOSTASVC", 12U, TextPiece<char16_t>(3U, 2), u".EXE"}), TextResult::kOk);
    EXPECT_EQ(FieldText(buffer), u"HOSTASVC1203.EXE");
    EXPECT_EQ(FormatText(buffer, {4294967295U, u" ", 0U}), TextResult::kOk);
    EXPECT_EQ(FieldText(buffer), u"4294967295 0");
}

TEST(FormatText, StopsAtThePieceThatDoesNotFit) {
    std::array<char, 6> buffer{};
    EXPECT_EQ(FormatText(buffer, {"abcd", "efg", "h"}), TextResult::kInsufficientBuffer);
    EXPECT_EQ(FieldText(buffer), "abcde");
}

TEST(FieldText, AFieldWithoutNulEndsAtItsLastUnit) {
    const std::array<char, 4> field = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(FieldText(field), "abc");
}

TEST(StoreField, CutsAndTerminatesAtAnOddAddress) {
    std::array<unsigned char, 9> record{};
    record.fill(0xEE);
    StoreField<4>(record.data() + 1, u"wxyz");
    std::array<char16_t, 4> field{};
    std::memcpy(field.data(), record.data() + 1, sizeof field);
    EXPECT_EQ(FieldText(field), u"wxy");
    EXPECT_EQ(field[3], u'\0');
    EXPECT_EQ(record[0], 0xEE);
}

TEST(FixedText, KeepsItsBound) {
    FixedText<4> text;
    EXPECT_FALSE(text.Assign("abcd"));
    EXPECT_EQ(text.View(), "abc");
    text.SetLength(FixedText<4>::kMaxLength);
    EXPECT_EQ(text.View(), "abc");
    text.SetLength(1);
    EXPECT_EQ(text.View(), "a");
}

#ifndef NDEBUG
TEST(FixedTextDeathTest, ALengthPastTheBufferOrATextFromTheBufferIsCaught) {
    FixedText<4> text;
    text.Assign("abc");
    EXPECT_DEATH(text.SetLength(4), "length <= kMaxLength");
    EXPECT_DEATH(text.Assign(text.View().substr(1)), "text");
}
#endif

}  // namespace
}  // namespace tarn::base
