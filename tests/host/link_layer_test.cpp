// Frames of other link types come out as the Ethernet frames that they stand for.
#include "host/capture/link_layer.h"

#include <gmock/gmock.h>

#include "host/capture/transport_view.h"
#include "host/capture_bytes.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// A UDP datagram from 192.0.2.1 port 53 to 192.0.2.2 port 1024 with four bytes.
ByteList Ipv4Packet() {
    return BytesWriter(true)
        .U8(0x45)
        .U8(0)
        .U16(32)
        .U32(0)
        .U8(64)
        .U8(17)
        .U16(0)
        .U32(0xC0000201)
        .U32(0xC0000202)
        .U16(53)
        .U16(1024)
        .U16(12)
        .U16(0)
        .U32(0x01020304)
        .bytes;
}

ByteList Ipv6Packet() {
    BytesWriter packet(true);
    packet.U32(0x60000000).U16(12).U8(17).U8(64);
    for (const int last : {1, 2}) packet.U32(0x20010DB8).U32(0).U32(0).U32(static_cast<std::uint64_t>(last));
    return packet.U16(53).U16(1024).U16(12).U16(0).U32(0x01020304).bytes;
}

void ExpectDatagram(const ByteList& frame, bool isIpv6) {
    const auto view = ViewTransport(frame);
    ASSERT_TRUE(view);
    EXPECT_EQ(FormatIpAddress(view->source.address), isIpv6 ? "2001:db8::1" : "192.0.2.1");
    EXPECT_EQ(view->source.port, 53);
    EXPECT_EQ(view->destination.port, 1024);
    EXPECT_THAT(ByteList(view->payload.begin(), view->payload.end()), ElementsAre(1, 2, 3, 4));
}

struct Header {
    std::uint16_t linkType;
    ByteList bytes;
    bool isIpv6 = false;
};

class LinkLayer : public testing::TestWithParam<Header> {};

TEST_P(LinkLayer, YieldsTheSameDatagramAsEthernet) {
    const Header& header = GetParam();
    const ByteList packet = header.isIpv6 ? Ipv6Packet() : Ipv4Packet();
    const ReadResult read =
        ReadAll(Joined({PcapHeader({.linkType = header.linkType}), PcapFrame(1, 0, Joined({header.bytes, packet}))}));
    EXPECT_THAT(read.error, IsEmpty());
    ASSERT_THAT(read.frames, SizeIs(1));
    EXPECT_THAT(read.frames[0].bytes, SizeIs(14 + packet.size()));
    ExpectDatagram(read.frames[0].bytes, header.isIpv6);
}

const ByteList kSender{2, 0, 0, 0, 0, 7, 0, 0};

INSTANTIATE_TEST_SUITE_P(
    All, LinkLayer,
    testing::Values(Header{113, BytesWriter(true).U16(0).U16(1).U16(6).Append(kSender).U16(0x0800).bytes},
                    Header{113, BytesWriter(true).U16(4).U16(772).U16(6).Append(kSender).U16(0x86DD).bytes, true},
                    Header{276, BytesWriter(true).U16(0x0800).U16(0).U32(2).U16(1).U8(0).U8(6).Append(kSender).bytes},
                    Header{276, BytesWriter(true).U16(0x86DD).U16(0).U32(2).U16(1).U8(4).U8(6).Append(kSender).bytes,
                           true},
                    Header{101, {}}, Header{101, {}, true}, Header{12, {}}, Header{14, {}}, Header{228, {}},
                    Header{229, {}, true}, Header{0, {2, 0, 0, 0}}, Header{0, {0, 0, 0, 2}},
                    Header{0, {30, 0, 0, 0}, true}, Header{0, {24, 0, 0, 0}, true}, Header{0, {10, 0, 0, 0}, true},
                    Header{108, {0, 0, 0, 2}}, Header{108, {0, 0, 0, 28}, true}));

TEST(LinkLayerHeader, IsMadeWithTheSendersAddress) {
    ByteList frame = BytesWriter(true).U16(0).U16(1).U16(6).Append(kSender).U16(0x0806).U8(9).bytes;
    MakeEthernet(113, frame);
    EXPECT_THAT(frame, ElementsAre(0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 7, 8, 6, 9));
}

TEST(LinkLayerHeader, OfAShortOrUnknownFrameHasNoType) {
    for (const int number : {0, 12, 14, 101, 108, 113, 228, 229, 276}) {
        const auto type = static_cast<std::uint16_t>(number);
        for (std::size_t length = 0; length < 20; ++length) {
            ByteList frame(length, 0xFF);
            MakeEthernet(type, frame);
            if (length >= 16 && (type == 113 || type == 276)) continue;  // long enough for its header
            EXPECT_THAT(frame, SizeIs(14 + length)) << type;
            EXPECT_EQ(frame[12] + frame[13], 0) << type;
            EXPECT_FALSE(ViewTransport(frame)) << type;
        }
    }
}

TEST(LinkLayerHeader, AnEthernetFrameStaysAsItIs) {
    ByteList frame{1, 2, 3};
    MakeEthernet(1, frame);
    EXPECT_THAT(frame, ElementsAre(1, 2, 3));
}

TEST(LinkLayerHeader, InterfacesOfOnePcapngMayDiffer) {
    const auto block = [](std::uint32_t type, const ByteList& body) {
        const std::size_t length = 12 + (body.size() + 3) / 4 * 4;
        return BytesWriter().U32(type).U32(length).Append(body).Pad().U32(length).bytes;
    };
    const auto interface = [&](std::uint16_t linkType) {
        return block(1, BytesWriter().U16(linkType).U16(0).U32(0).bytes);
    };
    const auto packet = [&](std::uint32_t number, const ByteList& frame) {
        return block(6,
                     BytesWriter().U32(number).U32(0).U32(0).U32(frame.size()).U32(frame.size()).Append(frame).bytes);
    };
    const ReadResult read = ReadAll(
        Joined({block(0x0A0D0D0A, BytesWriter().U32(0x1A2B3C4D).U16(1).U16(0).U32(0xFFFFFFFF).U32(0xFFFFFFFF).bytes),
                interface(101), interface(0), interface(105), packet(0, Ipv6Packet()),
                packet(1, Joined({{2, 0, 0, 0}, Ipv4Packet()})), packet(2, Ipv4Packet())}));
    ASSERT_THAT(read.frames, SizeIs(2));
    ExpectDatagram(read.frames[0].bytes, true);
    ExpectDatagram(read.frames[1].bytes, false);
    EXPECT_THAT(read.error, HasSubstr("link type 105 (IEEE 802.11)"));
}

}  // namespace
}  // namespace tarn::host
