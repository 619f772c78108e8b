#include "network/connection_drop.h"

#include <cstring>
#include <gtest/gtest.h>

#include "network/frame_bytes.h"

namespace tarn::network {
namespace {

std::uint32_t AsTheyStand(const Ipv4& bytes) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

FrameFields Outbound() {
    FrameFields fields;
    fields.source = kThisMachine;
    fields.destination = kPeer;
    fields.sourcePort = 0xC123;
    fields.destinationPort = 0x01BB;
    return fields;
}

// The row of the first length bytes in a block of exactly that size.
std::optional<machine::TcpTableRow> RowOf(const FrameBytes& bytes, std::size_t length) {
    const ExactBlock block(bytes, length);
    return RowOfConnection(block.Data());
}

TEST(ConnectionDrop, WithoutAFrameThereIsNoRow) {
    EXPECT_FALSE(RowOfConnection(nullptr).has_value());
}

TEST(ConnectionDrop, TheRowHoldsWhatTheFrameHolds) {
    const auto row = RowOf(MakeFrame(Outbound()), 38);
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(row->state, 12U);
    EXPECT_EQ(row->localAddress, AsTheyStand(kThisMachine));
    EXPECT_EQ(row->remoteAddress, AsTheyStand(kPeer));
    EXPECT_EQ(row->localPort, 0x23C1U) << "the two bytes as they stand, zero-extended";
    EXPECT_EQ(row->remotePort, 0xBB01U);
}

TEST(ConnectionDrop, AnotherProtocolGivesNoRowAndIsReadNoFurther) {
    for (unsigned protocol = 0; protocol < 256; ++protocol) {
        if (protocol == 6) continue;
        FrameFields fields = Outbound();
        fields.protocol = static_cast<std::uint8_t>(protocol);
        EXPECT_FALSE(RowOf(MakeFrame(fields), 24).has_value()) << protocol;
    }
}

TEST(ConnectionDrop, PortsStandBehindTheOptionsAndNothingBehindThemIsRead) {
    for (std::uint8_t words = 5; words <= 15; ++words) {
        FrameFields fields = Outbound();
        fields.headerWords = words;
        const auto row = RowOf(MakeFrame(fields), 14U + words * 4U + 4U);
        ASSERT_TRUE(row.has_value());
        EXPECT_EQ(row->localPort, 0x23C1U) << int{words};
        EXPECT_EQ(row->remotePort, 0xBB01U) << int{words};
    }
}

TEST(ConnectionDrop, AShortIhlIsTakenAsItStands) {
    FrameFields fields = Outbound();
    fields.headerWords = 0;
    FrameBytes bytes = MakeFrame(fields);
    bytes[15] = 0x12;
    bytes[16] = 0x34;
    bytes[17] = 0x56;
    const auto row = RowOf(bytes, 34);
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(row->localPort, 0x1240U);
    EXPECT_EQ(row->remotePort, 0x5634U);
}

TEST(ConnectionDrop, TheEtherTypeIsNotExamined) {
    FrameFields fields = Outbound();
    fields.etherType = 0x86DD;
    EXPECT_TRUE(RowOf(MakeFrame(fields), 38).has_value());
}

TEST(ConnectionDrop, AnInboundFrameSwapsTheEnds) {
    FrameFields fields = Outbound();
    std::swap(fields.source, fields.destination);
    std::swap(fields.sourcePort, fields.destinationPort);
    const auto row = RowOf(MakeFrame(fields), 38);
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(row->localAddress, AsTheyStand(kPeer));
    EXPECT_EQ(row->localPort, 0xBB01U);
    EXPECT_EQ(row->remoteAddress, AsTheyStand(kThisMachine));
    EXPECT_EQ(row->remotePort, 0x23C1U);
}

}  // namespace
}  // namespace tarn::network
