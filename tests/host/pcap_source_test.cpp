#include <algorithm>
#include <gmock/gmock.h>
#include <istream>
#include <streambuf>
#include <string>

#include "host/capture_bytes.h"

namespace tarn::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const ByteList kOtherFrame{9, 8, 7};

TEST(PcapSource, ReadsMicrosecondsInEitherByteOrder) {
    for (const bool bigEndian : {false, true}) {
        const ReadResult result =
            ReadAll(Joined({PcapHeader({.bigEndian = bigEndian}), PcapFrame(1700000000, 123456, kSomeFrame, bigEndian),
                            PcapFrame(1700000001, 0, kOtherFrame, bigEndian)}));
        EXPECT_THAT(result.error, IsEmpty());
        ASSERT_EQ(result.frames.size(), 2u);
        EXPECT_EQ(result.frames[0].bytes, kSomeFrame);
        EXPECT_EQ(result.frames[0].number, 1u);
        EXPECT_EQ(result.frames[0].timeNanoseconds, 1700000000123456000u);
        EXPECT_EQ(result.frames[1].bytes, kOtherFrame);
        EXPECT_EQ(result.frames[1].number, 2u);
        EXPECT_EQ(result.frames[1].timeNanoseconds, 1700000001000000000u);
    }
}

TEST(PcapSource, ReadsNanosecondsInEitherByteOrder) {
    for (const bool bigEndian : {false, true}) {
        const ReadResult result = ReadAll(Joined({PcapHeader({.bigEndian = bigEndian, .magic = 0xA1B23C4D}),
                                                  PcapFrame(7, 999999999, kSomeFrame, bigEndian)}));
        EXPECT_THAT(result.error, IsEmpty());
        ASSERT_EQ(result.frames.size(), 1u);
        EXPECT_EQ(result.frames[0].timeNanoseconds, 7999999999u);
    }
}

TEST(PcapSource, TakesASnapLengthOfZeroForNone) {
    const ReadResult result = ReadAll(Joined({PcapHeader({.snapLength = 0}), PcapFrame(1, 0, kSomeFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 1u);
    EXPECT_EQ(result.frames[0].bytes, kSomeFrame);
}

TEST(PcapSource, ReadsAnEmptyFrame) {
    const ReadResult result = ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, {}), PcapFrame(1, 0, kSomeFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_THAT(result.frames[0].bytes, IsEmpty());
}

TEST(PcapSource, IgnoresTheCheckSequenceLengthBesideTheLinkType) {
    const ReadResult result = ReadAll(Joined({PcapHeader({.linkType = 0x54000001}), PcapFrame(1, 0, kSomeFrame)}));
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
    const ReadResult result =
        ReadAll(Joined({PcapHeader(), PcapFrame(1, 0, kSomeFrame), damaged.bytes, ByteList(100)}));
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
    const ByteList file = Joined({PcapHeader(), PcapFrame(1, 0, kSomeFrame), PcapFrame(2, 0, kOtherFrame)});
    const std::size_t firstEnd = 24 + 16 + kSomeFrame.size();
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

// Hands out a file in pieces, as a pipe does. Without a buffer it hands out single bytes.
class Pieces : public std::streambuf {
 public:
    Pieces(const ByteList& file, std::size_t piece) : file_(file.begin(), file.end()), piece_(piece) {}

    [[nodiscard]] std::size_t Given() const { return given_; }

 protected:
    int_type underflow() override {
        if (given_ == file_.size()) return traits_type::eof();
        if (piece_ == 0) return traits_type::to_int_type(file_[given_]);
        const std::size_t count = std::min(piece_, file_.size() - given_);
        setg(&file_[given_], &file_[given_], &file_[given_] + count);
        given_ += count;
        return traits_type::to_int_type(*gptr());
    }
    int_type uflow() override {
        if (piece_ != 0) return std::streambuf::uflow();
        const int_type byte = underflow();
        if (byte != traits_type::eof()) ++given_;
        return byte;
    }

 private:
    std::string file_;
    std::size_t piece_;
    std::size_t given_ = 0;
};

TEST(CaptureReader, ReadsTheSameFramesInWhateverPiecesTheFileComes) {
    const ByteList longFrame(3000, 7);
    const ByteList file = Joined({PcapHeader(), PcapFrame(1, 0, kSomeFrame), PcapFrame(2, 0, {}),
                                  PcapFrame(3, 0, longFrame), PcapFrame(4, 0, kOtherFrame)});
    for (const std::size_t piece : {0u, 1u, 7u, 16u, 24u, 1000u, 100000u}) {
        Pieces pieces(file, piece);
        std::istream input(&pieces);
        CaptureReader reader(input);
        std::vector<ByteList> frames;
        CapturedFrame frame;
        while (reader.Next(frame)) frames.push_back(frame.bytes);
        EXPECT_THAT(reader.Error(), IsEmpty()) << piece;
        EXPECT_THAT(frames, testing::ElementsAre(kSomeFrame, ByteList(), longFrame, kOtherFrame)) << piece;
        EXPECT_EQ(reader.BytesRead(), file.size()) << piece;
    }
}

TEST(CaptureReader, WaitsForNothingBehindTheFrameThatItHandsOut) {
    const ByteList begin = Joined({PcapHeader(), PcapFrame(1, 0, kSomeFrame)});
    Pieces pieces(Joined({begin, PcapFrame(2, 0, kOtherFrame)}), 1);
    std::istream input(&pieces);
    CaptureReader reader(input);
    CapturedFrame frame;
    ASSERT_TRUE(reader.Next(frame));
    EXPECT_EQ(frame.bytes, kSomeFrame);
    EXPECT_EQ(pieces.Given(), begin.size()) << "a running capture may pause here for hours";
}

TEST(CaptureReader, StaysAtItsEnd) {
    const ByteList file = Joined({PcapHeader(), PcapFrame(1, 0, kSomeFrame)});
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
