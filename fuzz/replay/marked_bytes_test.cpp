// Bytes that are written right and then broken in one place.
#include "making/marked_bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

namespace tarn::fuzz {
namespace {

using testing::ElementsAre;

MarkedBytes Message() {
    MarkedBytes made;
    const std::size_t length = made.Open(2);
    made.PutText("abc");
    made.Close(length);
    made.SetOrder(ByteOrder::kLittle);
    made.PutMarked(0x0102, 2);
    return made;
}

TEST(MarkedBytes, CountWhatTheyHold) {
    EXPECT_THAT(Message().All(), ElementsAre(0, 3, 'a', 'b', 'c', 2, 1));
    MarkedBytes made;
    const std::size_t length = made.Open(1);
    made.PutZeros(4);
    made.Close(length, 3, 2);
    EXPECT_THAT(made.All(), ElementsAre((4 + 3) / 2, 0, 0, 0, 0)) << "three more, in units of two";
    made.PutAll(Message());
    made.Set(5, 9);
    EXPECT_THAT(made.All(), ElementsAre(3, 0, 0, 0, 0, 0, 9, 'a', 'b', 'c', 2, 1)) << "marks move along";
}

TEST(MarkedBytes, AreBrokenInOneMarkAlone) {
    std::set<ByteList> different;
    for (int mark = 0; mark < 2; ++mark)
        for (int how = 0; how < 9; ++how) {
            MarkedBytes made = Message();
            const ByteList choices{static_cast<std::uint8_t>(mark), 0, static_cast<std::uint8_t>(how), 5, 0};
            Pieces choice(choices);
            const bool isBroken = made.Break(choice);
            EXPECT_EQ(isBroken, made.All() != Message().All());
            different.insert(made.All());
            if (made.Size() != Message().Size()) continue;
            for (std::size_t i = 0; i < made.Size(); ++i) {
                const bool mayDiffer = mark == 0 ? i < 2 : i > 4;
                EXPECT_TRUE(mayDiffer || made.All()[i] == Message().All()[i]) << mark << " " << how << " " << i;
            }
        }
    EXPECT_GT(different.size(), 14U);
}

TEST(MarkedBytes, AreBrokenNowAndThen) {
    int whole = 0;
    for (int first = 0; first < 256; ++first) {
        MarkedBytes made = Message();
        const ByteList choices{static_cast<std::uint8_t>(first), 1, 0, 2};
        Pieces choice(choices);
        const bool isWhole = made.MayBreak(choice);
        EXPECT_EQ(isWhole, made.All() == Message().All());
        whole += isWhole ? 1 : 0;
    }
    EXPECT_EQ(whole, 192);
}

TEST(MarkedBytes, WithoutMarksStayWhole) {
    MarkedBytes made;
    made.PutText("abc");
    const ByteList choices{1, 0, 0, 0};
    Pieces choice(choices);
    EXPECT_TRUE(made.MayBreak(choice));
    EXPECT_FALSE(made.Break(choice));
}

}  // namespace
}  // namespace tarn::fuzz
