#include "smb/smb2_tracker.h"

#include <array>
#include <gtest/gtest.h>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

constexpr std::u16string_view kShare = u"\\\\server\\inbox";
constexpr std::uint32_t kCreated = 2;
constexpr std::uint32_t kStatusPending = 0x103;
constexpr std::uint32_t kStatusFailed = 0xC0000022;

struct Smb2Tracker : testing::Test {
    void Connect(std::u16string_view path = kShare, Smb2Keys keys = {}) {
        keys.messageId = 1;
        ASSERT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(path, keys)));
        ASSERT_TRUE(monitor.FromServer(Smb2TreeConnectResponse(keys)));
        ASSERT_TRUE(monitor.SaysNothing());
    }
    // The event of a create that is asked and answered, or nothing.
    std::optional<FileEvent> Create(std::u16string_view name, std::uint32_t action = kCreated,
                                    const Smb2Keys& keys = {}) {
        EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(name, keys)));
        answer = monitor.FromServer(Smb2CreateResponse(action, keys));
        return monitor.Event();
    }
    std::size_t Parked() { return monitor.Snapshot().smb2Pending.size(); }
    std::u16string ParkedName(std::uint64_t messageId = 9) { return monitor.Snapshot().smb2Pending.at(messageId).name; }

    Monitor monitor;
    bool answer = false;
};

TEST_F(Smb2Tracker, ACreatedFileIsReportedWithShareAndName) {
    Connect();
    EXPECT_EQ(Create(u"new.txt"), (FileEvent{std::u16string(kShare), u"new.txt", 1}));
    EXPECT_TRUE(answer);
    EXPECT_EQ(monitor.result.eventClass, 16U);
    const std::uint8_t server[] = {192, 0, 2, kServerHost};
    const std::uint8_t client[] = {192, 0, 2, kClientHost};
    EXPECT_EQ(std::memcmp(&monitor.result.sourceAddress, server, 4), 0);
    EXPECT_EQ(std::memcmp(&monitor.result.destinationAddress, client, 4), 0);
    EXPECT_EQ(Parked(), 0U);
}

TEST_F(Smb2Tracker, AnOpenedFileIsNotReported) {
    Connect();
    EXPECT_EQ(Create(u"old.txt", 1), std::nullopt);
    EXPECT_TRUE(answer);
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_F(Smb2Tracker, AnUnknownTreeReportsNothing) {
    EXPECT_EQ(Create(u"new.txt"), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_TRUE(monitor.SaysNothing());
    Connect();
    EXPECT_EQ(Create(u"new.txt", kCreated, {.tree = 1}), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_EQ(Create(u"new.txt", kCreated, {.session = 1}), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_EQ(Parked(), 0U);
}

TEST_F(Smb2Tracker, ACreateOnAnUnknownTreeMakesItsSession) {
    EXPECT_FALSE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true)));
    Create(u"new.txt");
    EXPECT_EQ(monitor.Snapshot().smb2Sessions.size(), 1U);
    EXPECT_TRUE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true)));
    EXPECT_FALSE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true)));
}

TEST_F(Smb2Tracker, NamesAndPathsOf260BytesAreNotParked) {
    const std::u16string longest(129, u'n');
    const std::u16string tooLong(130, u'n');
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(longest, {.messageId = 1})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(longest, {.messageId = 2})));
    EXPECT_EQ(ParkedName(1), longest);
    EXPECT_EQ(ParkedName(2), longest);
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(tooLong, {.messageId = 3})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(tooLong, {.messageId = 4})));
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(std::u16string(150, u'p'), {.messageId = 5})));
    EXPECT_EQ(Parked(), 2U);
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated, {.messageId = 3})));
    EXPECT_FALSE(monitor.FromServer(Smb2TreeConnectResponse({.messageId = 5})));
    EXPECT_TRUE(monitor.Snapshot().smb2Sessions.empty());
}

TEST_F(Smb2Tracker, AnOddLengthLosesItsLastByte) {
    ByteList create = Smb2CreateRequest(u"abc");
    EXPECT_TRUE(monitor.FromClient(PutLe(create, 64 + 46, 5, 2)));
    EXPECT_EQ(ParkedName(), u"ab");
    ByteList longest = Smb2CreateRequest(std::u16string(130, u'x'), {.messageId = 2});
    EXPECT_TRUE(monitor.FromClient(PutLe(longest, 64 + 46, 259, 2)));
    EXPECT_EQ(ParkedName(2), std::u16string(129, u'x'));
}

TEST_F(Smb2Tracker, ANameEndsAtItsNul) {
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(std::u16string_view(u"ab\0cd", 5))));
    EXPECT_EQ(ParkedName(), u"ab");
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
        EXPECT_EQ(ParkedName(size), u"placed") << size;
    }
    // The smallest one puts NameLength onto StructureSize itself: 11 bytes, five units, from body offset 10 on.
    ByteList smallest = Smb2Header(5, false, {});
    PutLe(smallest, 64, 11, 2);
    PutText(smallest, 64 + 10, u"five!s");
    EXPECT_TRUE(monitor.FromClient(smallest));
    EXPECT_EQ(ParkedName(), u"five!");
    const TablesSnapshot before = monitor.Snapshot();
    for (const std::uint16_t size : std::to_array<std::uint16_t>({0, 1, 9, 10})) {
        ByteList create = Smb2CreateRequest(u"placed", {.messageId = 5000});
        EXPECT_FALSE(monitor.FromClient(PutLe(create, 64, size, 2))) << size;
    }
    EXPECT_EQ(monitor.Snapshot(), before);
    // NameOffset, eight bytes behind the start of the fixed part's last twelve, says something else.
    ByteList create = Smb2CreateRequest(u"placed", {.messageId = 6000});
    EXPECT_TRUE(monitor.FromClient(PutLe(create, 64 + 44, 4, 2)));
    EXPECT_EQ(ParkedName(6000), u"placed");
}

TEST_F(Smb2Tracker, PathOffsetIsNotConsulted) {
    ByteList connect = Smb2TreeConnectRequest(kShare);
    EXPECT_TRUE(monitor.FromClient(PutLe(connect, 68, 0xFFFF, 2)));
    EXPECT_EQ(ParkedName(), kShare);
}

TEST_F(Smb2Tracker, ARequestWithAStatusIsRefused) {
    EXPECT_FALSE(monitor.FromClient(Smb2CreateRequest(u"x", {.status = 1})));
    EXPECT_FALSE(monitor.FromClient(Smb2TreeConnectRequest(u"x", {.status = 1})));
    EXPECT_EQ(Parked(), 0U);
}

TEST_F(Smb2Tracker, TheFirstRequestUnderAMessageIdIsKept) {
    Connect();
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"first")));
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"second"), 32));
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(kCreated)));
    EXPECT_EQ(monitor.Event()->file, u"first");
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated)));
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_F(Smb2Tracker, AFailedResponseRemovesItsRequest) {
    Connect();
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"denied")));
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated, {.status = kStatusFailed})));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(Parked(), 0U);
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated)));
}

TEST_F(Smb2Tracker, AnInterimResponseLosesItsRequest) {
    Connect();
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"slow")));
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(0, {.status = kStatusPending})));
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(kCreated)));
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_F(Smb2Tracker, AnAsynchronousResponseIsReadAsASynchronousOne) {
    constexpr std::uint32_t kAsyncHigh = 0x00000002;
    Connect(kShare, {.tree = kAsyncHigh});
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"async", {.tree = kAsyncHigh})));
    ByteList response = Smb2CreateResponse(kCreated);
    PutLe(response, 16, 3, 4);  // response, ASYNC_COMMAND
    PutLe(response, 32, 0x0000000200000001, 8);
    EXPECT_TRUE(monitor.FromServer(response));
    EXPECT_EQ(monitor.Event()->file, u"async");
}

TEST_F(Smb2Tracker, TheParkedRequestDecidesTheBranch) {
    Connect();
    // A create answered as a tree connect records its file and reports nothing.
    EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"file")));
    EXPECT_TRUE(monitor.FromServer(Smb2TreeConnectResponse()));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(monitor.Snapshot().smb2Sessions.at(Smb2Keys{}.session).at(Smb2Keys{}.tree).files.count(u"file"), 1U);
    // A tree connect answered as a create makes a tree.
    EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(u"other")));
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(kCreated, {.tree = 3})));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(Create(u"file", kCreated, {.tree = 3})->share, u"other");
}

TEST_F(Smb2Tracker, AConnectedTreeKeepsItsFirstPath) {
    Connect(u"first");
    Connect(u"second");
    EXPECT_EQ(Create(u"f")->share, u"first");
    Connect(u"third", {.tree = 3});
    EXPECT_EQ(Create(u"f", kCreated, {.tree = 3})->share, u"third");
    Connect(u"fourth", {.session = 4});
    EXPECT_EQ(Create(u"f", kCreated, {.session = 4})->share, u"fourth");
}

TEST_F(Smb2Tracker, ASecondCreateReusesTheRecordAndReportsAgain) {
    Connect();
    EXPECT_EQ(Create(u"f", 2)->action, 1);
    const TablesSnapshot once = monitor.Snapshot();
    EXPECT_EQ(Create(u"f", 3)->action, 2);
    EXPECT_EQ(monitor.Snapshot(), once);
    EXPECT_EQ(Create(u"F", 2)->file, u"F") << "names differ by case";
    EXPECT_EQ(monitor.Snapshot().smb2Sessions.at(Smb2Keys{}.session).at(Smb2Keys{}.tree).files.size(), 2U);
}

TEST_F(Smb2Tracker, ATreeDisconnectForgetsOneTree) {
    Connect(u"one", {.tree = 1});
    Connect(u"two", {.tree = 2});
    Create(u"f", kCreated, {.tree = 1});
    EXPECT_TRUE(monitor.FromClient(Smb2Simple(kSmb2TreeDisconnect, false, {.tree = 1}))) << "a request does nothing";
    EXPECT_TRUE(Create(u"f", kCreated, {.tree = 1}));
    EXPECT_TRUE(monitor.FromServer(Smb2Simple(kSmb2TreeDisconnect, true, {.tree = 1})));
    EXPECT_FALSE(Create(u"f", kCreated, {.tree = 1}));
    EXPECT_TRUE(Create(u"f", kCreated, {.tree = 2}));
    EXPECT_FALSE(monitor.FromServer(Smb2Simple(kSmb2TreeDisconnect, true, {.tree = 1}))) << "it is gone";
    EXPECT_FALSE(monitor.FromServer(Smb2Simple(kSmb2TreeDisconnect, true, {.tree = 2, .session = 5})));
}

TEST_F(Smb2Tracker, ALogoffForgetsOneSession) {
    Connect(u"one", {.session = 1});
    Connect(u"two", {.session = 2});
    EXPECT_TRUE(monitor.FromClient(Smb2Simple(kSmb2Logoff, false, {.session = 1}))) << "a request does nothing";
    EXPECT_TRUE(Create(u"f", kCreated, {.session = 1}));
    EXPECT_TRUE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true, {.session = 1})));
    EXPECT_FALSE(Create(u"f", kCreated, {.session = 1}));
    EXPECT_TRUE(Create(u"f", kCreated, {.session = 2}));
    EXPECT_FALSE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true, {.session = 3})));
}

TEST_F(Smb2Tracker, AFailedEndEndsNevertheless) {
    Connect(u"one", {.tree = 1});
    EXPECT_TRUE(monitor.FromServer(Smb2Simple(kSmb2TreeDisconnect, true, {.tree = 1, .status = kStatusFailed})));
    EXPECT_TRUE(monitor.FromServer(Smb2Simple(kSmb2Logoff, true, {.status = kStatusFailed})));
    EXPECT_TRUE(monitor.Snapshot().smb2Sessions.empty());
}

TEST_F(Smb2Tracker, TheEndsAskForTheirCommand) {
    Connect();
    Smb2Sessions sessions = monitor.Snapshot().smb2Sessions;
    Smb2Response response;
    response.treeId = Smb2Keys{}.tree;
    response.sessionId = Smb2Keys{}.session;
    response.command = kSmb2Logoff;
    EXPECT_FALSE(Smb2EndTree(response, sessions));
    response.command = kSmb2TreeDisconnect;
    EXPECT_FALSE(Smb2EndSession(response, sessions));
    EXPECT_EQ(sessions, monitor.Snapshot().smb2Sessions);
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
    EXPECT_EQ(Parked(), 1U);
    EXPECT_EQ(ParkedName(1), u"first");
}

}  // namespace
}  // namespace tarn::smb
