// What only SMB2 does: its layout, its limits, its ids.
#include <array>
#include <gtest/gtest.h>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

struct Smb2Tracker : testing::Test {
    void Connect(std::u16string_view path = kShare, Smb2Keys keys = {}) {
        keys.messageId = 1;
        ASSERT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(path, keys)));
        ASSERT_TRUE(monitor.FromServer(Smb2TreeConnectResponse(keys)));
        ASSERT_TRUE(monitor.SaysNothing());
    }
    std::size_t Pending() { return monitor.Snapshot().smb2Pending.size(); }
    std::u16string PendingName(std::uint64_t messageId = 9) {
        return monitor.Snapshot().smb2Pending.at(messageId).name;
    }

    Monitor monitor;
};

TEST_F(Smb2Tracker, NamesAndPathsOf260BytesAreNotFollowed) {
    const std::u16string longest(129, u'n');
    const std::u16string tooLong(130, u'n');
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(longest, {.messageId = 1})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(longest, {.messageId = 2})));
    EXPECT_EQ(PendingName(1), longest);
    EXPECT_EQ(PendingName(2), longest);
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(tooLong, {.messageId = 3})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(tooLong, {.messageId = 4})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(std::u16string(150, u'p'), {.messageId = 5})));
    EXPECT_EQ(Pending(), 2U);
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated, {.messageId = 3})));
    EXPECT_FALSE(monitor.FromServer(Smb2TreeConnectResponse({.messageId = 5})));
    EXPECT_TRUE(monitor.Snapshot().smb2Sessions.empty());
}

TEST_F(Smb2Tracker, AnOddLengthLosesItsLastByte) {
    ByteList create = Smb2CreateRequest(u"abc");
    EXPECT_TRUE(monitor.FromClient(PutLe(create, 64 + 46, 5, 2)));
    EXPECT_EQ(PendingName(), u"ab");
    ByteList longest = Smb2CreateRequest(std::u16string(130, u'x'), {.messageId = 2});
    EXPECT_TRUE(monitor.FromClient(PutLe(longest, 64 + 46, 259, 2)));
    EXPECT_EQ(PendingName(2), std::u16string(129, u'x'));
}

TEST_F(Smb2Tracker, ANameEndsAtItsNul) {
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(std::u16string_view(u"ab\0cd", 5))));
    EXPECT_EQ(PendingName(), u"ab");
}

TEST_F(Smb2Tracker, AnEmptyNameIsTheRootOfTheShare) {
    Connect();
    ByteList create = Smb2CreateRequest(u"");
    create.resize(64 + 48);
    EXPECT_TRUE(monitor.FromClient(create)) << "no byte of the name is needed";
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(kCreated)));
    EXPECT_EQ(monitor.Event(), (FileEvent{std::u16string(kShare), u"", 1}));
}

TEST_F(Smb2Tracker, StructureSizePlacesTheName) {
    for (const std::uint16_t size : std::to_array<std::uint16_t>({57, 59, 61, 91, 1000})) {
        EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"placed", {.messageId = size}, size)));
        EXPECT_EQ(PendingName(size), u"placed") << size;
    }
    // The smallest one puts NameLength onto StructureSize itself: 11 bytes, five units, from body offset 10 on.
    ByteList smallest = Smb2HeaderBytes(5, false, {});
    PutLe(smallest, 64, 11, 2);
    PutText(smallest, 64 + 10, u"five!s");
    EXPECT_TRUE(monitor.FromClient(smallest));
    EXPECT_EQ(PendingName(), u"five!");
    const TablesSnapshot before = monitor.Snapshot();
    for (const std::uint16_t size : std::to_array<std::uint16_t>({0, 1, 9, 10})) {
        ByteList create = Smb2CreateRequest(u"placed", {.messageId = 5000});
        EXPECT_FALSE(monitor.FromClient(PutLe(create, 64, size, 2))) << size;
    }
    EXPECT_EQ(monitor.Snapshot(), before);
    // NameOffset, eight bytes behind the start of the fixed part's last twelve, says something else.
    ByteList create = Smb2CreateRequest(u"placed", {.messageId = 6000});
    EXPECT_TRUE(monitor.FromClient(PutLe(create, 64 + 44, 4, 2)));
    EXPECT_EQ(PendingName(6000), u"placed");
}

TEST_F(Smb2Tracker, PathOffsetIsNotConsulted) {
    ByteList connect = Smb2TreeConnectRequest(kShare);
    EXPECT_TRUE(monitor.FromClient(PutLe(connect, 68, 0xFFFF, 2)));
    EXPECT_EQ(PendingName(), kShare);
}

TEST_F(Smb2Tracker, AnAsynchronousResponseIsReadAsASynchronousOne) {
    constexpr std::uint32_t kAsyncHigh = 0x00000002;
    Connect(kShare, {.tree = kAsyncHigh});
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"async", {.tree = kAsyncHigh})));
    ByteList response = Smb2CreateResponse(kCreated);
    PutLe(response, 16, 3, 4);  // response, ASYNC_COMMAND
    PutLe(response, 32, 0x0000000200000001, 8);
    EXPECT_TRUE(monitor.FromServer(response));
    EXPECT_EQ(FileOf(monitor.Event()), u"async");
}

TEST_F(Smb2Tracker, AllOfTheMessageIdCounts) {
    Connect();
    constexpr std::uint64_t kId = 0x0000000500000009;
    constexpr std::uint64_t kSameLowerHalf = 0x0000000600000009;
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"five", {.messageId = kId})));
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated, {.messageId = kSameLowerHalf})));
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"six", {.messageId = kSameLowerHalf})));
    EXPECT_EQ(Pending(), 2U);
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(kCreated, {.messageId = kSameLowerHalf})));
    EXPECT_EQ(monitor.Event(), (FileEvent{std::u16string(kShare), u"six", 1}));
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(kCreated, {.messageId = kId})));
    EXPECT_EQ(monitor.Event(), (FileEvent{std::u16string(kShare), u"five", 1}));
}

TEST_F(Smb2Tracker, OtherCommandsAreIgnored) {
    const TablesSnapshot empty = monitor.Snapshot();
    for (const std::uint16_t command : std::to_array<std::uint16_t>({0, 1, 6, 8, 9, 18, 0x0105, 0xFFFF}))
        for (const bool isResponse : {false, true}) {
            EXPECT_TRUE(monitor.FromClient(Smb2Simple(command, isResponse, {.status = 1}))) << command;
            EXPECT_TRUE(monitor.SaysNothing());
        }
    EXPECT_EQ(monitor.Snapshot(), empty);
}

TEST_F(Smb2Tracker, OnlyTheFirstMessageOfACompoundCounts) {
    ByteList compound = Smb2CreateRequest(u"first", {.messageId = 1});
    compound.resize(136);
    PutLe(compound, 20, 136, 4);  // NextCommand
    const ByteList second = Smb2CreateRequest(u"second", {.messageId = 2});
    compound.insert(compound.end(), second.begin(), second.end());
    EXPECT_TRUE(monitor.FromClient(compound));
    EXPECT_EQ(Pending(), 1U);
    EXPECT_EQ(PendingName(1), u"first");
}

}  // namespace
}  // namespace tarn::smb
