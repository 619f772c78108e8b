#include "host/capture/pcapng_source.h"

#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>

#include "host/capture_bytes.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// Blocks of one section, in one byte order.
class Pcapng {
 public:
    explicit Pcapng(bool bigEndian) : bigEndian_(bigEndian) {}

    [[nodiscard]] BytesWriter Writer() const { return BytesWriter(bigEndian_); }
    [[nodiscard]] ByteList Block(std::uint32_t type, const ByteList& body) const {
        const ByteList padded = BytesWriter().Append(body).Pad().bytes;
        const std::size_t length = padded.size() + 12;
        return Writer().U32(type).U32(length).Append(padded).U32(length).bytes;
    }
    [[nodiscard]] ByteList Section(std::uint16_t major = 1) const {
        return Block(
            0x0A0D0D0A,
            Writer().U32(0x1A2B3C4D).U16(major).U16(0).U32(0xFFFFFFFF).U32(0xFFFFFFFF).Append(Comment()).bytes);
    }
    [[nodiscard]] ByteList Comment() const {
        return Writer().U16(1).U16(3).U8('a').U8('b').U8('c').Pad().U16(0).U16(0).bytes;
    }
    [[nodiscard]] ByteList Interface(const ByteList& options = {}, std::uint16_t linkType = 1,
                                     std::uint32_t snapLength = 262144) const {
        return Block(1, Writer().U16(linkType).U16(0).U32(snapLength).Append(options).bytes);
    }
    [[nodiscard]] ByteList Resolution(std::uint8_t value) const {
        return Writer().U16(9).U16(1).U8(value).Pad().U16(0).U16(0).bytes;
    }
    [[nodiscard]] ByteList Enhanced(std::uint64_t time, const ByteList& frame, std::uint32_t interface = 0) const {
        return Block(6, Writer()
                            .U32(interface)
                            .U32(time >> 32)
                            .U32(time & 0xFFFFFFFF)
                            .U32(frame.size())
                            .U32(frame.size() + 10)
                            .Append(frame)
                            .Pad()
                            .Append(Comment())
                            .bytes);
    }
    [[nodiscard]] ByteList Simple(std::uint32_t originalLength, const ByteList& frame) const {
        return Block(3, Writer().U32(originalLength).Append(frame).bytes);
    }

 private:
    bool bigEndian_;
};

class PcapngInEitherOrder : public testing::TestWithParam<bool> {
 protected:
    Pcapng file_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(ByteOrders, PcapngInEitherOrder, testing::Bool());

TEST_P(PcapngInEitherOrder, ReadsEnhancedAndSimplePackets) {
    const ReadResult result =
        ReadAll(Joined({file_.Section(), file_.Interface(), file_.Enhanced(1700000000123456, kSomeFrame),
                        file_.Simple(3, {7, 8, 9})}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_EQ(result.frames[0].bytes, kSomeFrame);
    EXPECT_EQ(result.frames[0].timeNanoseconds, 1700000000123456000u);
    EXPECT_EQ(result.frames[1].bytes, (ByteList{7, 8, 9}));
    EXPECT_EQ(result.frames[1].timeNanoseconds, 0u);
    EXPECT_EQ(result.frames[1].number, 2u);
}

TEST_P(PcapngInEitherOrder, CutsASimplePacketAtTheSnapLength) {
    const ByteList padded{1, 2, 3, 4};
    const ReadResult cut = ReadAll(Joined({file_.Section(), file_.Interface({}, 1, 2), file_.Simple(900, padded)}));
    ASSERT_EQ(cut.frames.size(), 1u);
    EXPECT_EQ(cut.frames[0].bytes, (ByteList{1, 2}));
    const ReadResult whole = ReadAll(Joined({file_.Section(), file_.Interface({}, 1, 0), file_.Simple(4, padded)}));
    ASSERT_EQ(whole.frames.size(), 1u);
    EXPECT_EQ(whole.frames[0].bytes, padded);
}

TEST_P(PcapngInEitherOrder, CountsTimeAsTheInterfaceSays) {
    const ByteList offset = file_.Writer().U16(14).U16(8).Number(100, 8).U16(0).U16(0).bytes;
    const ReadResult result =
        ReadAll(Joined({file_.Section(), file_.Interface(file_.Resolution(9)), file_.Interface(offset),
                        file_.Enhanced(1234567890123, kSomeFrame, 0), file_.Enhanced(5, kSomeFrame, 1)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_EQ(result.frames[0].timeNanoseconds, 1234567890123u);
    EXPECT_EQ(result.frames[1].timeNanoseconds, 100000005000u);
}

TEST_P(PcapngInEitherOrder, PassesOverOtherBlocks) {
    const ByteList statistics = file_.Block(5, ByteList(24));
    const ByteList longOne = file_.Block(0x0BAD, ByteList(3 << 20));
    const ReadResult result =
        ReadAll(Joined({file_.Section(), statistics, file_.Interface(), longOne, file_.Enhanced(1, kSomeFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    EXPECT_EQ(result.frames.size(), 1u);
}

TEST_P(PcapngInEitherOrder, ANewSectionMayTurnTheByteOrderAndForgetsTheInterfaces) {
    const Pcapng other(!GetParam());
    const ReadResult result =
        ReadAll(Joined({file_.Section(), file_.Interface(), file_.Enhanced(1, kSomeFrame), other.Section(),
                        other.Interface(other.Resolution(3)), other.Enhanced(1, kSomeFrame)}));
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), 2u);
    EXPECT_EQ(result.frames[1].timeNanoseconds, 1000000u);
    EXPECT_THAT(
        ReadAll(Joined({file_.Section(), file_.Interface(), other.Section(), other.Enhanced(1, kSomeFrame)})).error,
        HasSubstr("names interface 0, which is not described"));
}

TEST_P(PcapngInEitherOrder, SaysWhatIsWrongWithABlock) {
    const ByteList start = Joined({file_.Section(), file_.Interface()});
    const auto error = [&](const ByteList& more) { return ReadAll(Joined({start, more})).error; };
    const std::string offset = std::to_string(start.size());
    for (const std::uint32_t length : {0u, 8u, 14u, 0xFFFFFFFFu})
        EXPECT_THAT(error(file_.Writer().U32(6).U32(length).Append(ByteList(64)).bytes),
                    HasSubstr("the block at offset " + offset + " gives its length as " + std::to_string(length)));
    EXPECT_THAT(error(file_.Writer().U32(6).U32(0xFFFFFFF0).Append(ByteList(64)).bytes), HasSubstr("at most 1048576"));
    EXPECT_THAT(error(file_.Writer().U32(0x77).U32(0xFFFFFFF0).Append(ByteList(64)).bytes), HasSubstr("is cut off"));
    EXPECT_THAT(error(file_.Writer().U32(6).U32(16).U32(0).U32(20).bytes), HasSubstr("at its start and 20 at its end"));
    EXPECT_THAT(error(file_.Block(6, ByteList(8))), HasSubstr("too short"));
    EXPECT_THAT(error(file_.Block(1, ByteList(4))), HasSubstr("too short"));
    EXPECT_THAT(error(file_.Block(6, file_.Writer().U32(0).U32(0).U32(0).U32(9).U32(9).U32(0).bytes)),
                HasSubstr("too short"));
    EXPECT_THAT(error(file_.Simple(40, kSomeFrame)), HasSubstr("too short"));
    EXPECT_THAT(error(file_.Interface(file_.Writer().U16(9).U16(400).bytes)), HasSubstr("too short"));
    EXPECT_THAT(ReadAll(Joined({file_.Section(), file_.Simple(5, kSomeFrame)})).error,
                HasSubstr("no interface description"));
    EXPECT_THAT(ReadAll(file_.Section(2)).error, HasSubstr("version is 2.x"));
}

TEST_P(PcapngInEitherOrder, NamesALinkTypeThatIsNotReplayedAtItsFirstFrame) {
    const ReadResult result = ReadAll(Joined({file_.Section(), file_.Interface(), file_.Interface({}, 105),
                                              file_.Enhanced(1, kSomeFrame, 0), file_.Enhanced(1, kSomeFrame, 1)}));
    EXPECT_EQ(result.frames.size(), 1u);
    EXPECT_THAT(result.error, HasSubstr("link type 105 (IEEE 802.11)"));
}

TEST_P(PcapngInEitherOrder, BoundsTheInterfacesOfASection) {
    ByteList file = file_.Section();
    for (int i = 0; i < 1025; ++i) file = Joined({file, file_.Interface()});
    EXPECT_THAT(ReadAll(file).error, HasSubstr("more than 1024 interfaces"));
}

TEST_P(PcapngInEitherOrder, EveryTruncationIsReported) {
    const std::vector<ByteList> blocks{file_.Section(), file_.Interface(file_.Resolution(9)),
                                       file_.Enhanced(1, kSomeFrame), file_.Block(5, ByteList(8)),
                                       file_.Simple(4, {1, 2, 3, 4})};
    ByteList file;
    std::vector<std::size_t> ends;
    for (const ByteList& block : blocks) {
        file = Joined({file, block});
        ends.push_back(file.size());
    }
    for (std::size_t length = 1; length < file.size(); ++length) {
        SCOPED_TRACE(length);
        const ReadResult result = ReadAll(ByteList(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_EQ(result.frames.size(), length >= ends[2] ? 1u : 0u);
        if (std::find(ends.begin(), ends.end(), length) != ends.end())
            EXPECT_THAT(result.error, IsEmpty());
        else
            EXPECT_THAT(result.error, HasSubstr("ends at offset " + std::to_string(length)));
    }
    EXPECT_EQ(ReadAll(file).frames.size(), 2u);
}

TEST(Pcapng, ASectionWithoutByteOrderMarkIsRefused) {
    EXPECT_THAT(ReadAll({0x0A, 0x0D, 0x0D, 0x0A, 28, 0, 0, 0, 1, 2, 3, 4}).error, HasSubstr("no byte order mark"));
}

TEST(Pcapng, TimeScales) {
    const auto scaled = [](std::uint64_t units, std::uint8_t resolution) {
        return ToNanoseconds(units, TimeScale{resolution, 0});
    };
    EXPECT_EQ(scaled(3, 0), 3000000000u);
    EXPECT_EQ(scaled(3, 6), 3000u);
    EXPECT_EQ(scaled(3, 9), 3u);
    EXPECT_EQ(scaled(3999, 12), 3u);
    EXPECT_EQ(scaled(~std::uint64_t{0}, 0x7F), 0u);
    EXPECT_EQ(scaled(5, 0x80), 5000000000u);
    EXPECT_EQ(scaled(3, 0x81), 1500000000u);
    EXPECT_EQ(scaled((std::uint64_t{2} << 32) | 0x80000000u, 0x80 + 32), 2500000000u);
    EXPECT_EQ(scaled((std::uint64_t{1} << 60) | (std::uint64_t{1} << 58), 0x80 + 60), 1250000000u);
    EXPECT_EQ(scaled(~std::uint64_t{0}, 0xFF), 0u);
    EXPECT_EQ(ToNanoseconds(1, TimeScale{9, 2}), 2000000001u);
}

// A real capture, written as pcapng, yields the same frames.
TEST(Pcapng, AConvertedCaptureYieldsTheSameFrames) {
    std::ifstream input(CaptureFileOf("http_curl.pcap"), std::ios::binary);
    CaptureReader classic(input);
    const Pcapng writer(true);
    ByteList file = Joined({writer.Section(), writer.Interface(writer.Resolution(9))});
    std::vector<CapturedFrame> frames;
    CapturedFrame frame;
    while (classic.Next(frame)) {
        frames.push_back(frame);
        const ByteList block = writer.Enhanced(frame.timeNanoseconds, frame.bytes);
        file.insert(file.end(), block.begin(), block.end());
    }
    ASSERT_THAT(classic.Error(), IsEmpty());
    ASSERT_EQ(frames.size(), 386u);
    const ReadResult result = ReadAll(file);
    EXPECT_THAT(result.error, IsEmpty());
    ASSERT_EQ(result.frames.size(), frames.size());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(result.frames[i].bytes, frames[i].bytes);
        EXPECT_EQ(result.frames[i].timeNanoseconds, frames[i].timeNanoseconds);
    }
}

}  // namespace
}  // namespace tarn::host
