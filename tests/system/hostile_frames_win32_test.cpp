// Cut, crooked and lying frames through both frame scans of the built library, each at the very end of a page behind
// which nothing may be read.
#include <gtest/gtest.h>

#include "smb/expected_events.h"
#include "system/guarded_block_win32.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using smb::ByteList;

constexpr std::size_t kMessage = 14 + 20 + 20 + 4;  // where a message stands in the frames made here

struct HostileFrames : SystemFixture {
    HostileFrames() {
        answers.idsIpsStatus.enabled = 1;
        answers.categories[0] = 2;
        answers.categoryCount = 1;
        answers.packetVerdict.action = 2;
        EXPECT_TRUE(Init());
    }

    bool ScanSmb(const ByteList& frame, std::size_t length) {
        std::memset(&result, smb::kFilling, sizeof result);
        return tarn.WSScanSMBPacket(block.Place(frame, length), static_cast<std::uint32_t>(length), 0, &result) == 1;
    }
    bool ScanSmb(const ByteList& frame) { return ScanSmb(frame, frame.size()); }
    bool Reports(const ByteList& frame) { return ScanSmb(frame) && result.resultKind == TARN_SMB_FILE_EVENT; }

    // Whether an inbound frame counts as an attempt on port 445; otherwise the signatures let it pass.
    bool Blocks(const ByteList& frame, std::size_t length, std::uint8_t inbound = 1) {
        PacketVerdict packet;
        std::memset(&packet, smb::kFilling, sizeof packet);
        EXPECT_EQ(
            tarn.WSScanPacket(block.Place(frame, length), static_cast<std::uint32_t>(length), 1, inbound, 0, &packet),
            1);
        EXPECT_EQ(packet.reason, packet.action == TARN_PACKET_BLOCK ? 25U : 0U);
        return packet.action == TARN_PACKET_BLOCK;
    }
    bool Blocks(const ByteList& frame) { return Blocks(frame, frame.size()); }

    void ConnectTrees() {
        ASSERT_TRUE(ScanSmb(smb::FromClient(smb::Smb2TreeConnectRequest(u"share"))));
        ASSERT_TRUE(ScanSmb(smb::FromServer(smb::Smb2TreeConnectResponse())));
        ASSERT_TRUE(ScanSmb(smb::FromClient(smb::Smb1TreeConnectRequest(u"share"))));
        ASSERT_TRUE(ScanSmb(smb::FromServer(smb::Smb1TreeConnectReply())));
    }
    // Whether a create request was kept: its response then has a file to report.
    bool Keeps(const ByteList& request) {
        ScanSmb(request);
        return Reports(smb::FromServer(smb::Smb2CreateResponse(2)));
    }

    GuardedBlock block;
    SmbScanResult result;
};

TEST_F(HostileFrames, EveryCutOfThreeCaptures) {
    for (const char* capture : {"smb1_smbclient_names.pcap", "smb2_311_smbclient.pcap", "smb2_kernel_300.pcap"}) {
        SCOPED_TRACE(capture);
        Deinit();
        ASSERT_TRUE(Init());
        const auto frames = smb::ReadFrames(capture);
        smb::Events events;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            const bool isIpv4 = smb::KindOf(frames[i]) == smb::FrameKind::kSmbPort;
            const std::uint8_t inbound = frames[i][36] == 1 && frames[i][37] == 189 ? 1 : 0;  // to port 445
            for (std::size_t length = 1; length <= frames[i].size(); ++length) {
                ASSERT_EQ(Blocks(frames[i], length, inbound), isIpv4 && length >= 38) << i + 1 << " " << length;
                if (!ScanSmb(frames[i], length) || result.resultKind != TARN_SMB_FILE_EVENT) continue;
                events.push_back(
                    {i + 1, {smb::TextOf(&result.sharePath), smb::TextOf(&result.fileName), result.createAction}});
            }
        }
        EXPECT_EQ(events, smb::ExpectedOf(smb::ReadCreates(capture), frames).events);
    }
}

TEST_F(HostileFrames, EveryHeaderLengthAtEveryCut) {
    ConnectTrees();
    for (unsigned ihl = 0; ihl < 16; ++ihl)
        for (unsigned dataOffset = 0; dataOffset < 16; ++dataOffset) {
            SCOPED_TRACE(testing::Message() << ihl << " " << dataOffset);
            ByteList frame = smb::FromClient(smb::Smb2CreateRequest(u"f"));
            frame[14] = static_cast<std::uint8_t>(0x40 | ihl);
            frame[46] = static_cast<std::uint8_t>(dataOffset << 4);
            EXPECT_EQ(Blocks(frame), ihl == 5);
            EXPECT_EQ(ScanSmb(frame), ihl == 5) << "with another data offset no message begins there";
            EXPECT_EQ(Reports(smb::FromServer(smb::Smb2CreateResponse(2))), ihl == 5 && dataOffset == 5);
            for (std::size_t length = 1; length < frame.size(); ++length) {
                Blocks(frame, length);
                ScanSmb(frame, length);
                ASSERT_EQ(result.resultKind, std::uint32_t{TARN_SMB_NOTHING});
            }
        }
}

TEST_F(HostileFrames, OnlyUntaggedIpv4IsLookedInto) {
    ConnectTrees();
    const ByteList plain = smb::FromClient(smb::Smb2CreateRequest(u"f"));
    EXPECT_TRUE(Blocks(plain));
    EXPECT_TRUE(Keeps(plain));
    ByteList tagged = plain;
    const std::uint8_t tag[] = {0x81, 0x00, 0x00, 0x2A};
    tagged.insert(tagged.begin() + 12, std::begin(tag), std::end(tag));
    ByteList ipv6 = plain;
    smb::PutBe(ipv6, 12, 0x86DD, 2);
    ByteList arp = plain;
    smb::PutBe(arp, 12, 0x0806, 2);
    ByteList udp = plain;
    udp[23] = 17;
    for (const ByteList& frame : {tagged, ipv6, arp, udp}) {
        NewLines();
        EXPECT_FALSE(Blocks(frame));
        EXPECT_EQ(NewLines(), std::vector<std::string>{"PKSScanPacket " + std::to_string(frame.size()) + " 1 1"});
        EXPECT_FALSE(Keeps(frame));
    }
}

// Fragments are not told apart: the first one is a frame like any other, a later one is read as if headers stood there.
TEST_F(HostileFrames, AFragmentIsReadAsAWholeFrame) {
    ConnectTrees();
    ByteList first = smb::FromClient(smb::Smb2CreateRequest(u"f"));
    smb::PutBe(first, 20, 0x2000, 2);  // more fragments
    EXPECT_TRUE(Blocks(first));
    EXPECT_TRUE(Keeps(first));
    ByteList later = smb::FromClient(smb::Smb2CreateRequest(u"f"));
    smb::PutBe(later, 20, 0x00B9, 2);
    EXPECT_TRUE(Blocks(later));
    EXPECT_TRUE(Keeps(later));
    later.erase(later.begin() + 34, later.begin() + 54);  // data stands where the ports would be
    EXPECT_FALSE(Blocks(later));
    EXPECT_FALSE(Keeps(later));
}

// Each 16-bit length, from 0 to 65535, over bytes that do not grow with it.
TEST_F(HostileFrames, EveryNameLengthOverAShortFrame) {
    ByteList create2 = smb::FromClient(smb::Smb2CreateRequest(u"file.txt"));
    ByteList connect2 = smb::FromClient(smb::Smb2TreeConnectRequest(u"share"));
    ByteList create1 = smb::FromClient(smb::Smb1CreateRequest(u"file.txt", {}, 16, 1001));
    for (unsigned length = 0; length <= 0xFFFF; ++length) {
        smb::PutLe(create2, kMessage + 64 + 46, length, 2);
        ASSERT_EQ(ScanSmb(create2), length <= 16 || length >= 260) << length << ": there, or not kept";
        smb::PutLe(connect2, kMessage + 70, length, 2);
        ASSERT_EQ(ScanSmb(connect2), length <= 10 || length >= 260) << length;
        smb::PutLe(create1, kMessage + 38, length, 2);
        ASSERT_EQ(ScanSmb(create1), length <= 16 || length > 1001) << length;
    }
}

TEST_F(HostileFrames, EveryStructureSize) {
    for (unsigned size = 0; size <= 0xFFFF; ++size) {
        ByteList create = smb::FromClient(smb::Smb2CreateRequest(u"file.txt"));
        smb::PutLe(create, kMessage + 64, size, 2);
        const std::size_t lengthAt = kMessage + 64 + size - 11;
        bool isThere = false;
        if (size >= 11 && lengthAt + 2 <= create.size()) {
            const unsigned length = create[lengthAt] | static_cast<unsigned>(create[lengthAt + 1]) << 8;
            isThere = length == 0 || length >= 260 || lengthAt + 10 + length <= create.size();
        }
        ASSERT_EQ(ScanSmb(create), isThere) << size;
    }
}

TEST_F(HostileFrames, EveryPasswordLength) {
    for (unsigned length = 0; length <= 0xFFFF; ++length) {
        ByteList connect = smb::FromClient(smb::Smb1TreeConnectRequest(u"share"));
        smb::PutLe(connect, kMessage + 39, length, 2);
        bool ends = false;  // a unit of 0 stands somewhere behind the password
        for (std::size_t at = kMessage + 43 + length; at + 2 <= connect.size(); at += 2)
            ends = ends || (connect[at] == 0 && connect[at + 1] == 0);
        ASSERT_EQ(ScanSmb(connect), ends) << length;
    }
}

TEST_F(HostileFrames, AnOddNameLosesItsLastByte) {
    ConnectTrees();
    ByteList create = smb::FromClient(smb::Smb2CreateRequest(u"abc"));
    smb::PutLe(create, kMessage + 64 + 46, 5, 2);
    ASSERT_TRUE(Keeps(create));
    EXPECT_EQ(smb::TextOf(&result.fileName), u"ab");
}

TEST_F(HostileFrames, OneMessageIdServesOneRequest) {
    ConnectTrees();
    const ByteList response = smb::FromServer(smb::Smb2CreateResponse(2));
    EXPECT_FALSE(Reports(response)) << "before its request";
    ASSERT_TRUE(ScanSmb(smb::FromClient(smb::Smb2CreateRequest(u"first"), 31)));
    ASSERT_TRUE(ScanSmb(smb::FromClient(smb::Smb2CreateRequest(u"second"), 32)));
    ASSERT_TRUE(Reports(response));
    EXPECT_EQ(smb::TextOf(&result.fileName), u"first");
    EXPECT_FALSE(ScanSmb(response)) << "the request is used up, the second one was not kept";
    EXPECT_EQ(result.resultKind, std::uint32_t{TARN_SMB_NOTHING});
}

}  // namespace
}  // namespace tarn::system_test
