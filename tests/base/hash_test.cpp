#include "base/hash.h"

#include <gtest/gtest.h>

namespace tarn::base {
namespace {

TEST(Crc32, CheckValueOfTheCatalogue) {
    EXPECT_EQ(Crc32Of("123456789"), 0xCBF43926U);
}

TEST(Crc32, EmptyTextIsZero) {
    EXPECT_EQ(Crc32Of(std::string_view{}), 0U);
}

TEST(Crc32, BlocksGiveTheSameAsTheWhole) {
    const std::string_view text = "a text that is cut in two at every place";
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        Crc32 crc;
        crc.Add({bytes, cut});
        crc.Add({bytes + cut, text.size() - cut});
        EXPECT_EQ(crc.Value(), Crc32Of(text)) << "cut at " << cut;
    }
}

}  // namespace
}  // namespace tarn::base
