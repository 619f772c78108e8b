#include "smb/smb_tables.h"

#include <gtest/gtest.h>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

struct Tables : testing::Test {
    // One pending request, one tree and one file in each version.
    void Fill() {
        EXPECT_TRUE(monitor.FromClient(Smb2TreeConnectRequest(u"share")));
        EXPECT_TRUE(monitor.FromServer(Smb2TreeConnectResponse()));
        EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"file")));
        EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(2)));
        EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(u"pending")));
        EXPECT_TRUE(monitor.FromClient(Smb1TreeConnectRequest(u"SHARE")));
        EXPECT_TRUE(monitor.FromServer(Smb1TreeConnectReply()));
        EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"FILE")));
        EXPECT_TRUE(monitor.FromServer(Smb1CreateReply(2)));
        EXPECT_TRUE(monitor.FromClient(Smb1CreateRequest(u"PARKED")));
    }

    Monitor monitor;
};

TEST_F(Tables, AResetForgetsEverything) {
    Fill();
    SmbTablesReset(monitor.tables);
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
    EXPECT_FALSE(monitor.FromServer(Smb2CreateResponse(2))) << "its request was seen before";
    EXPECT_FALSE(monitor.FromServer(Smb1CreateReply(2)));
    SmbTablesReset(monitor.tables);  // of empty tables too
    Fill();
    EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(2)));
    EXPECT_EQ(FileOf(monitor.Event()), u"pending") << "ready for use again";
}

TEST_F(Tables, EachVersionIsClearedByItself) {
    Fill();
    const TablesSnapshot full = monitor.Snapshot();
    Smb2TablesClear(monitor.tables);
    EXPECT_EQ(monitor.Snapshot(), (TablesSnapshot{{}, {}, full.smb1Pending, full.smb1Clients}));
    Smb1TablesClear(monitor.tables);
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
    Smb2TablesClear(monitor.tables);
    Smb1TablesClear(monitor.tables);
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
}

TEST_F(Tables, HoldWhatWasSeen) {
    Fill();
    const TablesSnapshot tables = monitor.Snapshot();
    const Smb2Keys keys2;
    EXPECT_EQ(tables.smb2Pending, (Smb2PendingRequests{{keys2.messageId, {RequestKind::kCreate, u"pending"}}}));
    EXPECT_EQ(tables.smb2Sessions, (Smb2Sessions{{keys2.session, {{keys2.tree, {u"share", {u"file"}}}}}}));
    const Smb1Keys keys1;
    const std::uint8_t client[] = {192, 0, 2, kClientHost};
    std::uint32_t address = 0;
    std::memcpy(&address, client, 4);
    EXPECT_EQ(tables.smb1Pending, (Smb1PendingRequests{{keys1.mid, {RequestKind::kCreate, u"PARKED"}}}));
    EXPECT_EQ(tables.smb1Clients, (Smb1Clients{{address, {{0x44EBC3B2, {u"SHARE", {u"FILE"}}}}}}));
}

TEST_F(Tables, FilesAreOrderedByTheirUnits) {
    Fill();
    for (const std::u16string_view name : {u"b", u"B", u"\u00E4", u"\xFFFD", u"\xD83D\xDE00", u"a"}) {
        EXPECT_TRUE(monitor.FromClient(Smb2CreateRequest(name, {.messageId = 100})));
        EXPECT_TRUE(monitor.FromServer(Smb2CreateResponse(2, {.messageId = 100})));
    }
    const TablesSnapshot tables = monitor.Snapshot();
    const auto& files = FirstOf(FirstOf(tables.smb2Sessions)).files;
    const std::vector<std::u16string> order(files.begin(), files.end());
    EXPECT_EQ(order, (std::vector<std::u16string>{u"B", u"a", u"b", u"file", u"\u00E4", u"\xD83D\xDE00", u"\xFFFD"}));
}

}  // namespace
}  // namespace tarn::smb
