#include "smb/frame_dispatch.h"

#include <array>
#include <gtest/gtest.h>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

// A request that is kept pending when its frame is examined.
ByteList Probe() {
    return Smb2CreateRequest(u"probe.txt");
}

struct FrameDispatch : testing::Test {
    bool Examines(const ByteList& frame) {
        const TablesSnapshot before = monitor.Snapshot();
        const bool answer = monitor.Scan(frame);
        EXPECT_TRUE(monitor.SaysNothing());
        const bool isPending = monitor.Snapshot().smb2Pending.size() == 1;
        EXPECT_EQ(answer, isPending);
        EXPECT_TRUE(isPending || monitor.Snapshot() == before);
        SmbTablesReset(monitor.tables);
        return isPending;
    }
    bool Ignores(const ByteList& frame) {
        const TablesSnapshot before = monitor.Snapshot();
        return monitor.Scan(frame) && monitor.SaysNothing() && monitor.Snapshot() == before;
    }

    Monitor monitor;
};

TEST_F(FrameDispatch, AnEmptyFrameWritesNothing) {
    SmbScanResult result;
    std::memset(&result, kFilling, sizeof result);
    const SmbScanResult before = result;
    EXPECT_FALSE(ScanSmbFrame({}, 0, monitor.tables, result));
    EXPECT_EQ(std::memcmp(&result, &before, sizeof result), 0);
}

TEST_F(FrameDispatch, ARefusedFrameHoldsKindOne) {
    EXPECT_FALSE(monitor.Scan(ByteList(1)));
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_F(FrameDispatch, OnlyIpv4) {
    ByteList frame = FromClient(Probe());
    EXPECT_TRUE(Examines(frame));
    EXPECT_FALSE(Examines(PutBe(frame, 12, 0x86DD, 2)));
    EXPECT_FALSE(Examines(PutBe(frame, 12, 0x8100, 2))) << "a tag is not looked behind";
    EXPECT_FALSE(Examines(PutLe(frame, 12, 0x0800, 2))) << "the byte order of the network";
}

TEST_F(FrameDispatch, OnlyTcp) {
    ByteList frame = FromClient(Probe());
    EXPECT_FALSE(Examines(PutLe(frame, 23, 17, 1)));
    EXPECT_FALSE(Examines(PutLe(frame, 23, 7, 1)));
    EXPECT_TRUE(Examines(PutLe(frame, 23, 6, 1)));
}

TEST_F(FrameDispatch, Port445AtEitherEnd) {
    const ByteList payload = SessionMessage(Probe());
    EXPECT_TRUE(Examines(MakeSegment({1, 2, 445, 50000}, payload)));
    EXPECT_TRUE(Examines(MakeSegment({1, 2, 50000, 445}, payload)));
    EXPECT_TRUE(Examines(MakeSegment({1, 2, 445, 445}, payload)));
    EXPECT_FALSE(Examines(MakeSegment({1, 2, 139, 50000}, payload)));
    EXPECT_FALSE(Examines(MakeSegment({1, 2, 50000, 139}, payload)));
    EXPECT_FALSE(Examines(MakeSegment({1, 2, 0xBD01, 0xBD01}, payload))) << "the byte order of the network";
}

TEST_F(FrameDispatch, APureAcknowledgementIsRejected) {
    EXPECT_FALSE(monitor.Scan(MakeSegment({}, {})));
    EXPECT_FALSE(monitor.Scan(MakeSegment({}, {}, 6, 8)));
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_F(FrameDispatch, TrailingPaddingCountsAsPayload) {
    EXPECT_TRUE(Ignores(MakeSegment({}, ByteList(6)))) << "the length that IPv4 states is not asked";
}

TEST_F(FrameDispatch, APayloadWithoutAnSmbByteIsRejected) {
    for (std::size_t size = 1; size <= 4; ++size)
        EXPECT_FALSE(monitor.Scan(MakeSegment({}, ByteList(size, 0xFE)))) << size;
    EXPECT_TRUE(Ignores(MakeSegment({}, ByteList(5))));
}

TEST_F(FrameDispatch, OtherMessagesAreIgnored) {
    for (int first = 0; first < 0x100; ++first) {
        ByteList message = Probe();
        message[0] = static_cast<std::uint8_t>(first);
        if (first == 0xFE || first == 0xFF) continue;
        EXPECT_TRUE(Ignores(FromClient(message))) << first;
    }
}

TEST_F(FrameDispatch, TheSessionHeaderIsNotRead) {
    ByteList frame = FromClient(Probe());
    EXPECT_TRUE(Examines(PutBe(frame, 54, 0xFFFFFFFF, 4)));
}

TEST_F(FrameDispatch, OptionsAreSkipped) {
    for (std::size_t ipWords = 5; ipWords <= 15; ++ipWords)
        for (std::size_t tcpWords = 5; tcpWords <= 15; ++tcpWords)
            EXPECT_TRUE(Examines(MakeSegment({}, SessionMessage(Probe()), ipWords, tcpWords)));
}

TEST_F(FrameDispatch, HeaderLengthsCountAsTheyStand) {
    // A data offset of 2 puts the payload at the acknowledgement number.
    ByteList shortTcp = MakeSegment({}, {});
    PutLe(shortTcp, 46, 0x20, 1);
    const ByteList message = SessionMessage(Smb1Simple(0x71, false));
    shortTcp.resize(42);
    shortTcp.insert(shortTcp.end(), message.begin(), message.end());
    EXPECT_EQ(shortTcp[46], 0xFF) << "the data offset nibble is the protocol byte's own";
    // 15 words from the nibble of 0xFF: the payload lies further on.
    EXPECT_FALSE(monitor.Scan(shortTcp));
    shortTcp.resize(34 + 60 + 4);
    shortTcp.push_back(0);
    EXPECT_TRUE(Ignores(shortTcp));

    // An IHL of 0 makes the IPv4 header be read as TCP too: its bytes 0 and 1 are the source port.
    ByteList noIp(14 + 64);
    PutBe(noIp, 12, 0x0800, 2);
    PutBe(noIp, 14, 0x4000, 2);  // IHL 0
    PutBe(noIp, 16, 445, 2);     // the total length is the destination port
    noIp[23] = 6;
    PutBe(noIp, 26, 0x50000001, 4);  // the source address begins with a data offset of 5
    const ByteList payload = SessionMessage(Probe());
    noIp.resize(34);
    noIp.insert(noIp.end(), payload.begin(), payload.end());
    EXPECT_TRUE(Examines(noIp));

    // A data offset of 0 puts the payload at the TCP header itself: the sequence number's first byte is the protocol.
    ByteList noTcp = MakeSegment({}, {}, 5, 0);
    noTcp.resize(34 + 20);
    PutLe(noTcp, 38, 0xFD, 1);
    EXPECT_TRUE(Ignores(noTcp));
    PutLe(noTcp, 38, 0xFE, 1);
    EXPECT_TRUE(Ignores(noTcp)) << "command 0 is not followed";
    PutLe(noTcp, 38 + 12, 5, 2);
    EXPECT_FALSE(monitor.Scan(noTcp)) << "the flags of a create lie past the end";
}

TEST_F(FrameDispatch, OnlyTheLow16BitsOfTheLengthTellAnEmptyPayload) {
    ByteList frame = FromClient(Probe());
    frame.resize(0x10000 + 54);
    EXPECT_FALSE(monitor.Scan(frame));
    EXPECT_TRUE(monitor.Snapshot().smb2Pending.empty());
    frame.push_back(0);
    EXPECT_TRUE(Examines(frame));
    frame.resize(0x10000 + 53);
    EXPECT_TRUE(Examines(frame));
    // Headers said to be longer than the frame wrap below zero, which is no exact 14 either.
    ByteList cut = MakeSegment({}, {}, 15, 15);
    cut.resize(14 + 60 + 13);
    EXPECT_FALSE(monitor.Scan(cut));
}

TEST_F(FrameDispatch, ASegmentIsExaminedUpToItsFirstMessage) {
    ByteList payload = SessionMessage(Smb2CreateRequest(u"first", {.messageId = 1}));
    const ByteList second = SessionMessage(Smb2CreateRequest(u"second", {.messageId = 2}));
    payload.insert(payload.end(), second.begin(), second.end());
    EXPECT_TRUE(monitor.Scan(MakeSegment({}, payload)));
    const TablesSnapshot tables = monitor.Snapshot();
    EXPECT_EQ(tables.smb2Pending.size(), 1U);
    EXPECT_EQ(tables.smb2Pending.count(1), 1U);

    ByteList inside = {'r', 'e', 's', 't', ' ', 'o', 'f', ' '};
    inside.insert(inside.end(), second.begin(), second.end());
    EXPECT_TRUE(Ignores(MakeSegment({}, inside)));
}

TEST_F(FrameDispatch, BothVersionsReachTheirTracker) {
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"one")));
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"two")));
    EXPECT_EQ(monitor.Snapshot().smb1Pending.at(7), (PendingRequest{RequestKind::kCreate, u"one"}));
    EXPECT_EQ(monitor.Snapshot().smb2Pending.at(9), (PendingRequest{RequestKind::kCreate, u"two"}));
    EXPECT_FALSE(monitor.FromServer(Smb2TreeConnectResponse({.messageId = 77})));
    EXPECT_FALSE(monitor.FromServer(Smb1TreeConnectReply({.mid = 77})));
}

TEST_F(FrameDispatch, TheDirectionChangesNothing) {
    const ByteList frame = FromClient(Probe());
    for (const std::uint8_t direction : std::to_array<std::uint8_t>({0, 1, 2, 255})) {
        EXPECT_TRUE(ScanSmbFrame(frame, direction, monitor.tables, monitor.result));
        EXPECT_EQ(monitor.Snapshot().smb2Pending.size(), 1U);
        SmbTablesReset(monitor.tables);
    }
}

}  // namespace
}  // namespace tarn::smb
