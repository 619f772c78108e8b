// Every cut of every kind of frame: no read past the end, and no table touched before all fields are known to be there.
#include <gtest/gtest.h>
#include <string>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

// neededBytes counts the bytes of the message that must be there.
struct Case {
    std::string name;
    ByteList frame;
    std::size_t neededBytes;
    bool answer;  // of the whole frame
};

constexpr std::size_t kHeaders = 14 + 20 + 20 + 4;
constexpr Smb2Keys kFailed2{.status = 0xC0000022};
constexpr Smb1Keys kFailed1{.status = 0xC0000022};

std::vector<Case> Smb2Cases() {
    return {
        {"create request", FromClient(Smb2CreateRequest(u"file.txt")), 120 + 16, true},
        {"create request, wide", FromClient(Smb2CreateRequest(u"file.txt", {}, 91)), 64 + 90 + 16, true},
        {"create request, name too long", FromClient(Smb2CreateRequest(std::u16string(200, u'x'))), 64 + 48, true},
        {"create request, no name", FromClient(Smb2CreateRequest(u"")), 64 + 48, true},
        {"tree connect request", FromClient(Smb2TreeConnectRequest(u"share")), 72 + 10, true},
        {"tree connect request, path too long", FromClient(Smb2TreeConnectRequest(std::u16string(200, u'x'))), 72,
         true},
        {"create response", FromServer(Smb2CreateResponse(2, {.messageId = 1})), 72, true},
        {"create response, failed", FromServer(Smb2CreateResponse(2, {.messageId = 1, .status = 1})), 48, false},
        {"tree connect response", FromServer(Smb2TreeConnectResponse({.messageId = 2, .tree = 4})), 48, true},
        {"tree disconnect response", FromServer(Smb2Simple(4, true)), 48, true},
        {"logoff response", FromServer(Smb2Simple(2, true)), 48, true},
        {"logoff response, failed", FromServer(Smb2Simple(2, true, kFailed2)), 48, true},
        {"tree disconnect request", FromClient(Smb2Simple(4, false)), 20, true},
        {"logoff request", FromClient(Smb2Simple(2, false)), 20, true},
        {"another command", FromClient(Smb2Simple(0, false)), 14, true},
    };
}

std::vector<Case> Smb1Cases() {
    return {
        {"create request, odd", FromClient(Smb1CreateRequest(u"file.txt")), 84 + 16, true},
        {"create request, even", FromClient(Smb1CreateRequest(u"file.txt", {}, 16, 16)), 83 + 16, true},
        {"create request, refused", FromClient(Smb1CreateRequest(u"file.txt", {}, 16, 15)), 83, true},
        {"create request, cut name", FromClient(Smb1CreateRequest(std::u16string(400, u'x'))), 84 + 800, true},
        {"tree connect request", FromClient(Smb1TreeConnectRequest(u"share")), 44 + 12, true},
        {"tree connect request, cut path", FromClient(Smb1TreeConnectRequest(std::u16string(300, u'x'))), 44 + 518,
         true},
        {"create reply", FromServer(Smb1CreateReply(2, {.mid = 1})), 44, true},
        {"create reply, failed", FromServer(Smb1Simple(0xA2, true, {.mid = 1, .status = 1})), 32, false},
        {"tree connect reply", FromServer(Smb1TreeConnectReply({.mid = 2, .tid = 4})), 32, true},
        {"tree disconnect reply", FromServer(Smb1Simple(0x71, true)), 32, true},
        {"logoff reply", FromServer(Smb1Simple(0x74, true)), 32, true},
        {"logoff reply, failed", FromServer(Smb1Simple(0x74, true, kFailed1)), 32, true},
        {"tree disconnect request", FromClient(Smb1Simple(0x71, false)), 10, true},
        {"logoff request", FromClient(Smb1Simple(0x74, false)), 10, true},
        {"another command", FromClient(Smb1Simple(0x72, false)), 5, true},
    };
}

// One tree in each version, a create pending under 1 and a tree connect under 2.
void Fill(Monitor& monitor) {
    SmbTablesReset(monitor.tables);
    ASSERT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(u"share")));
    ASSERT_TRUE(monitor.FromServer(Smb2TreeConnectResponse()));
    ASSERT_TRUE(monitor.FromClient(Smb2CreateRequest(u"pending", {.messageId = 1})));
    ASSERT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(u"second", {.messageId = 2})));
    ASSERT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(u"share")));
    ASSERT_TRUE(monitor.FromServer(Smb1TreeConnectReply()));
    ASSERT_TRUE(monitor.FromClient(Smb1CreateRequest(u"pending", {.mid = 1})));
    ASSERT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(u"second", {.mid = 2})));
}

void CheckEveryCut(const Case& one) {
    SCOPED_TRACE(one.name);
    Monitor monitor;
    Fill(monitor);
    const TablesSnapshot before = monitor.Snapshot();
    ASSERT_GE(one.frame.size(), kHeaders + one.neededBytes);
    for (std::size_t length = 1; length < kHeaders + one.neededBytes; ++length) {
        EXPECT_FALSE(monitor.Scan(one.frame, length)) << length;
        EXPECT_TRUE(monitor.SaysNothing()) << length;
        ASSERT_EQ(monitor.Snapshot(), before) << length;
    }
    ASSERT_EQ(monitor.Scan(one.frame), one.answer);
    const TablesSnapshot after = monitor.Snapshot();
    const std::optional<FileEvent> event = monitor.Event();
    for (std::size_t length = kHeaders + one.neededBytes; length < one.frame.size(); ++length) {
        Fill(monitor);
        EXPECT_EQ(monitor.Scan(one.frame, length), one.answer) << length;
        EXPECT_EQ(monitor.Event(), event) << length;
        ASSERT_EQ(monitor.Snapshot(), after) << length;
    }
}

TEST(Truncation, NoCutOfAnSmb2FrameIsHalfExamined) {
    for (const Case& one : Smb2Cases()) CheckEveryCut(one);
}

TEST(Truncation, NoCutOfAnSmb1FrameIsHalfExamined) {
    for (const Case& one : Smb1Cases()) CheckEveryCut(one);
}

TEST(Truncation, LengthsThatPointPastTheEndAreRejected) {
    Monitor monitor;
    ByteList create2 = Smb2CreateRequest(u"name");
    EXPECT_FALSE(monitor.FromClient(PutLe(create2, 64 + 46, 10, 2)));
    EXPECT_FALSE(monitor.FromClient(PutLe(create2, 64, 0xFFFF, 2)));
    ByteList connect2 = Smb2TreeConnectRequest(u"share");
    EXPECT_FALSE(monitor.FromClient(PutLe(connect2, 70, 11, 2)));
    ByteList create1 = Smb1CreateRequest(u"name", {}, 8, 1001);
    EXPECT_FALSE(monitor.FromClient(PutLe(create1, 38, 9, 2)));
    EXPECT_FALSE(monitor.FromClient(PutLe(create1, 38, 1001, 2)));
    ByteList connect1 = Smb1TreeConnectRequest(u"share");
    EXPECT_FALSE(monitor.FromClient(PutLe(connect1, 39, 0xFFFF, 2)));
    PutLe(connect1, 39, 1, 2);
    EXPECT_FALSE(monitor.FromClient(PutLe(connect1, 32, 255, 1)));
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
}

}  // namespace
}  // namespace tarn::smb
