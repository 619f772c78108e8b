#include <gmock/gmock.h>

#include "host/capture_bytes.h"

namespace tarn::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const ByteList kFrame{1, 2, 3, 4, 5};
const ByteList kOtherFrame{9, 8, 7};

TEST(PcapSource, ReadsMicrosecondsInEitherByteOrder) {
    for (const bool bigEndian : {false, true}) {
        const ReadResult result =
            ReadAll(Joined({PcapHeader({.bigEndian = bigEndian}), PcapFrame(1700000000, 123456, kFrame, bigEndian),
                            PcapFrame(1700000001, 0, kOtherFrame, bigEndian)}));
        EXPECT_THAT(result.error, IsEmpty());
        ASSERT_EQ(result.frames.size(), 2u);
        EXPECT_EQ(result.frames[0].bytes, kFrame);
        EXPECT_EQ(result.frames[0].number, 1u);
        EXPECT_EQ(result.frames[0].timeNanoseconds, 1700000000123456000u);
        EXPECT_EQ(result.frames[1].bytes, kOtherFrame);
        EXPECT_EQ(result.frames[1].number, 2u);
        EXPECT_EQ(result.frames[1].timeNanoseconds, 1700000001000000000u);
    }
}

TEST(PcapSource, ReadsNanosecondsInEitherByteOrder) {
    for (const bool bigEndian : {false, true}) {
        const ReadResult result = ReadAll(Joined(
            {PcapHeader({.bigEndian = bigEndian, .magic = 0xA1B23C4D}), PcapFrame(7, 999999999, kFrame, bigEndian)}));
        EXPECT_THAT(result.error, IsEmpty());
        ASSERT_EQ(result.frames.size(), 1u);
        EXPECT_EQ(result.frames[0].timeNanoseconds, 7999999999u);
    }
}

TEST(PcapSource, TakesASnapLengthOfZeroForNone) {
    const ReadResult result = ReadAll(Joined({PcapHeader({.snapLength = 0}), PcapFrame(1, 0, kFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 1u);
    EXPECT_EQ(result.frames[0].bytes, kFrame);
}

TEST(PcapSource, ReadsAnEmptyFrame) {
    const ReadResult result = ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, {}), PcapFrame(1, 0, kFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_THAT(result.frames[0].bytes, IsEmpty());
}

TEST(PcapSource, IgnoresTheCheckSequenceLengthBesideTheLinkType) {
    const ReadResult result = ReadAll(Joined({PcapHeader({.linkType = 0x54000001}), PcapFrame(1, 0, kFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    EXPECT_EQ(result.frames.size(), 1u);
}

TEST(PcapSource, NamesALinkTypeThatIsNotReplayed) {
    EXPECT_THAT(ReadAll(PcapHeader({.linkType = 105})).error, HasSubstr("link type 105 (IEEE 802.11)"));
    EXPECT_THAT(ReadAll(PcapHeader({.linkType = 999})).error, HasSubstr("link type 999 ("));
}

TEST(PcapSource, RefusesAnotherVersion) {
    EXPECT_THAT(ReadAll(PcapHeader({.major = 3})).error, HasSubstr("version is 3.4"));
}

TEST(PcapSource, SaysWhereAFrameIsTooLong) {
    BytesWriter damaged;
    damaged.U32(1).U32(0).U32(0xFFFFFFF0).U32(0xFFFFFFF0);
    const ReadResult result = ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, kFrame), damaged.bytes, ByteList(100)}));
    EXPECT_EQ(result.frames.size(), 1u);
    EXPECT_THAT(result.error, HasSubstr("the frame at offset 45 says that it has 4294967280 bytes"));
}

TEST(PcapSource, TakesTheLongestFrameAndNotOneByteMore) {
    EXPECT_EQ(ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, ByteList(262144))})).frames.size(), 1u);
    EXPECT_EQ(ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, ByteList(262145))})).frames.size(), 0u);
}

// Cut at every length, the file yields its whole frames and, unless the cut stands between two, a message with the
// offset.
TEST(PcapSource, EveryTruncationIsReported) {
    const ByteList file = Joined({PcapHeader(), PcapFrame(1, 0, kFrame), PcapFrame(2, 0, kOtherFrame)});
    const std::size_t firstEnd = 24 + 16 + kFrame.size();
    for (std::size_t length = 0; length < file.size(); ++length) {
        SCOPED_TRACE(length);
        const ReadResult result = ReadAll(ByteList(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_EQ(result.frames.size(), length >= firstEnd ? 1u : 0u);
        if (length == 24 || length == firstEnd)
            EXPECT_THAT(result.error, IsEmpty());
        else if (length == 0)
            EXPECT_THAT(result.error, HasSubstr("the file is empty"));
        else
            EXPECT_THAT(result.error, HasSubstr("ends at offset " + std::to_string(length)));
    }
}

TEST(CaptureReader, RefusesWhatIsNoCapture) {
    EXPECT_THAT(ReadAll({'G', 'I', 'F', '8', '9', 'a'}).error, HasSubstr("begins with 47 49 46 38 and is no capture"));
    EXPECT_THAT(ReadAll({0xA1, 0xB2, 0xCD, 0x34}).error, HasSubstr("is no capture"));
    EXPECT_THAT(ReadAll({0x1F, 0x8B, 8, 0}).error, HasSubstr("compressed"));
}

TEST(CaptureReader, StaysAtItsEnd) {
    const ByteList file = Joined({PcapHeader(), PcapFrame(1, 0, kFrame)});
    std::istringstream input(std::string(file.begin(), file.end()));
    CaptureReader reader(input);
    CapturedFrame frame;
    EXPECT_TRUE(reader.Next(frame));
    EXPECT_FALSE(reader.Next(frame));
    EXPECT_FALSE(reader.Next(frame));
    EXPECT_EQ(reader.FrameCount(), 1u);
    EXPECT_EQ(reader.BytesRead(), file.size());
}

}  // namespace
}  // namespace tarn::host
