// What only SMB1 does: its layout, its limits, its clients.
#include <gtest/gtest.h>

#include "smb/smb1_message.h"
#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

constexpr std::u16string_view kCapitalShare = u"\\\\SERVER\\INBOX";

struct Smb1Tracker : testing::Test {
    void Connect(std::u16string_view path = kCapitalShare, Smb1Keys keys = {}, std::uint8_t client = kClientHost) {
        keys.mid = 1;
        ASSERT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(path, keys), client));
        ASSERT_TRUE(monitor.FromServer(Smb1TreeConnectReply(keys), client));
        ASSERT_TRUE(monitor.SaysNothing());
    }
    // The event of a create that is asked and answered, or nothing.
    std::optional<FileEvent> Create(std::u16string_view name, std::uint32_t action = kCreated,
                                    const Smb1Keys& keys = {}, std::uint8_t client = kClientHost) {
        EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(name, keys), client));
        answer = monitor.FromServer(Smb1CreateReply(action, keys), client);
        return monitor.Event();
    }
    std::size_t Pending() { return monitor.Snapshot().smb1Pending.size(); }
    std::u16string PendingName(std::uint16_t mid = 7) { return monitor.Snapshot().smb1Pending.at(mid).name; }

    Monitor monitor;
    bool answer = false;
};

TEST_F(Smb1Tracker, OneTidOfTwoProcessesMakesTwoTrees) {
    Connect(u"one", {.pid = 1});
    Connect(u"two", {.pid = 2});
    EXPECT_EQ(ShareOf(Create(u"f", kCreated, {.pid = 1})), u"one");
    EXPECT_EQ(ShareOf(Create(u"f", kCreated, {.pid = 2})), u"two");
    EXPECT_EQ(Create(u"f", kCreated, {.pid = 3}), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_EQ(FirstOf(monitor.Snapshot().smb1Clients).count(0x0002C3B2), 1U) << "TID in the low half";
}

TEST_F(Smb1Tracker, ANameLongerThanAllBytesIsNotFollowed) {
    Connect();
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"name", {}, 8, 7)));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(Pending(), 0U);
    EXPECT_FALSE(monitor.FromServer(Smb1CreateReply(kCreated)));
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"name", {}, 8, 8)));
    EXPECT_EQ(Pending(), 1U);
}

TEST_F(Smb1Tracker, TheParityOfByteCountPlacesTheName) {
    ByteList even = Smb1CreateRequest(u"even", {.mid = 1}, 8, 8);
    ByteList odd = Smb1CreateRequest(u"odd!", {.mid = 2}, 8, 9);
    EXPECT_TRUE(monitor.FromClient(even));
    EXPECT_TRUE(monitor.FromClient(odd));
    EXPECT_EQ(PendingName(1), u"even");
    EXPECT_EQ(PendingName(2), u"odd!");
    // The same bytes with the other parity begin one byte off.
    PutLe(odd, 30, 3, 2);
    EXPECT_TRUE(monitor.FromClient(PutLe(odd, 81, 10, 2)));
    EXPECT_EQ(PendingName(3), (std::u16string{u'o' << 8, u'd' << 8, u'd' << 8, u'!' << 8}));
}

TEST_F(Smb1Tracker, NamesAreCutAt259Units) {
    const std::u16string longest(259, u'n');
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(longest, {.mid = 11})));
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(longest + u"more", {.mid = 12})));
    EXPECT_EQ(PendingName(11), longest);
    EXPECT_EQ(PendingName(12), longest);
    Connect();
    EXPECT_EQ(FileOf(Create(longest + u"x")), longest);
    EXPECT_TRUE(answer);
}

TEST_F(Smb1Tracker, AnOddLengthLosesItsLastByteAndANameEndsAtItsNul) {
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"abc", {.mid = 1}, 5, 7)));
    EXPECT_EQ(PendingName(1), u"ab");
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(std::u16string_view(u"ab\0cd", 5), {.mid = 2})));
    EXPECT_EQ(PendingName(2), u"ab");
    ByteList empty = Smb1CreateRequest(u"", {.mid = 3});
    empty.resize(83);
    EXPECT_TRUE(monitor.FromClient(empty));
    EXPECT_EQ(PendingName(3), u"");
}

TEST_F(Smb1Tracker, PathsAreCutAt259Units) {
    const std::u16string longest(259, u'p');
    EXPECT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(longest, {.mid = 1})));
    EXPECT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(longest + u"more", {.mid = 2})));
    EXPECT_EQ(PendingName(1), longest);
    EXPECT_EQ(PendingName(2), longest);
    ByteList unended = Smb1TreeConnectRequest(longest, {.mid = 3});
    unended.resize(unended.size() - 2);
    EXPECT_TRUE(monitor.FromClient(unended)) << "behind 259 units no terminator is asked for";
    unended.resize(unended.size() - 2);
    PutLe(unended, 30, 4, 2);
    EXPECT_FALSE(monitor.FromClient(unended));
    EXPECT_EQ(Pending(), 3U);
}

TEST_F(Smb1Tracker, ThePathFollowsThePasswordWithoutAlignment) {
    EXPECT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(kCapitalShare, {.mid = 1}, 0)));
    EXPECT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(kCapitalShare, {.mid = 2}, 24)));
    EXPECT_EQ(PendingName(1), kCapitalShare);
    EXPECT_EQ(PendingName(2), kCapitalShare);
    // With an alignment byte in front every unit begins one byte early.
    ByteList aligned = Smb1TreeConnectRequest(u"ab", {.mid = 3}, 24);
    aligned.insert(aligned.begin() + 43 + 24, 0);
    EXPECT_TRUE(monitor.FromClient(aligned));
    EXPECT_EQ(PendingName(3), (std::u16string{u'a' << 8, u'b' << 8}));
}

TEST_F(Smb1Tracker, WordCountMovesThePath) {
    ByteList wide = Smb1TreeConnectRequest(kCapitalShare);
    wide[32] = 6;
    wide.insert(wide.begin() + 41, 4, 0xEE);
    EXPECT_TRUE(monitor.FromClient(wide));
    EXPECT_EQ(PendingName(), kCapitalShare);
}

TEST_F(Smb1Tracker, AFailedReplyOf35BytesRemovesItsRequest) {
    EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"denied")));
    const ByteList reply = Smb1Simple(kSmb1NtCreate, true, {.status = kStatusFailed});
    ASSERT_EQ(reply.size(), 35U);
    EXPECT_FALSE(monitor.FromServer(reply));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(Pending(), 0U);
    EXPECT_FALSE(monitor.FromServer(Smb1CreateReply(kCreated)));
}

TEST_F(Smb1Tracker, ALogoffForgetsAllUsersOfTheAddress) {
    Connect(u"one", {.pid = 1});
    Connect(u"two", {.pid = 2});
    Connect(u"elsewhere", {}, kOtherClient);
    EXPECT_TRUE(monitor.FromClient(Smb1Simple(kSmb1Logoff, false))) << "a request does nothing";
    EXPECT_EQ(monitor.Snapshot().smb1Clients.size(), 2U);
    EXPECT_TRUE(monitor.FromServer(Smb1Simple(kSmb1Logoff, true)));
    EXPECT_FALSE(Create(u"f", kCreated, {.pid = 1}));
    EXPECT_FALSE(Create(u"f", kCreated, {.pid = 2}));
    EXPECT_EQ(ShareOf(Create(u"f", kCreated, {}, kOtherClient)), u"elsewhere");
}

TEST_F(Smb1Tracker, AndXChainsAreNotFollowed) {
    // A session setup that carries a tree connect: neither the request nor its reply is looked into.
    for (const bool isReply : {false, true}) {
        ByteList chained = Smb1HeaderBytes(0x73, isReply, {}, 13);
        PutLe(chained, 33, kSmb1TreeConnect, 1);
        const ByteList second = Smb1TreeConnectRequest(kCapitalShare);
        chained.insert(chained.end(), second.begin() + 32, second.end());
        EXPECT_TRUE(monitor.FromClient(chained));
    }
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
}

TEST_F(Smb1Tracker, OtherCommandsAreIgnored) {
    for (int command = 0; command < 0x100; ++command) {
        const auto number = static_cast<std::uint8_t>(command);
        if (number == 0x71 || number == 0x74 || number == 0x75 || number == 0xA2) continue;
        EXPECT_TRUE(monitor.FromClient(Smb1Simple(number, false, {.status = 1}))) << command;
        EXPECT_TRUE(monitor.FromServer(Smb1Simple(number, true, {.status = 1}))) << command;
        EXPECT_TRUE(monitor.SaysNothing());
    }
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
}

}  // namespace
}  // namespace tarn::smb
