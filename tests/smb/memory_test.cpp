// When memory is asked for, and what stays behind when there is none.
#include <cstdint>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <vector>

#include "smb/smb_monitor.h"
#include "support/failing_allocations.h"

namespace tarn::smb {
namespace {

const std::u16string kLongName(100, u'n');

struct Memory : testing::Test {
    // Allocations of one scan.
    std::uint64_t Scan(const ByteList& frame) {
        const std::uint64_t before = support::Allocations();
        ScanSmbFrame(frame, 0, tables, result);
        return support::Allocations() - before;
    }
    void Connect() {
        Scan(FromClient(Smb2TreeConnectRequest(kLongName)));
        Scan(FromServer(Smb2TreeConnectResponse()));
        Scan(FromClient(Smb1TreeConnectRequest(kLongName)));
        Scan(FromServer(Smb1TreeConnectReply()));
    }

    SmbTables tables;
    SmbScanResult result{};
};

TEST_F(Memory, IsAskedForOnlyWhenATableGrows) {
    Connect();
    EXPECT_EQ(Scan(FromClient(Smb2CreateRequest(kLongName))), 2U) << "an entry and its name";
    EXPECT_EQ(Scan(FromClient(Smb2CreateRequest(kLongName))), 0U) << "its MessageId is in use";
    EXPECT_EQ(Scan(FromServer(Smb2CreateResponse(2))), 1U) << "a file; the name is handed over";
    EXPECT_EQ(result.resultKind, 7U);
    EXPECT_EQ(Scan(FromClient(Smb2CreateRequest(kLongName))), 2U);
    EXPECT_EQ(Scan(FromServer(Smb2CreateResponse(2))), 0U) << "the file is there";
    EXPECT_EQ(result.resultKind, 7U);

    EXPECT_EQ(Scan(FromClient(Smb1CreateRequest(kLongName))), 2U);
    EXPECT_EQ(Scan(FromClient(Smb1CreateRequest(kLongName))), 0U);
    EXPECT_EQ(Scan(FromServer(Smb1CreateReply(2))), 1U);
    EXPECT_EQ(Scan(FromClient(Smb1CreateRequest(kLongName))), 2U);
    EXPECT_EQ(Scan(FromServer(Smb1CreateReply(2))), 0U);
    EXPECT_EQ(result.resultKind, 7U);
}

TEST_F(Memory, IsNotAskedForByFramesThatChangeNothing) {
    Connect();
    for (const ByteList& frame :
         {FromClient(Smb2CreateRequest(std::u16string(130, u'x'))), FromServer(Smb2CreateResponse(2)),
          FromServer(Smb2Simple(2, true, {.session = 1})), FromClient(Smb2Simple(9, false)),
          FromClient(Smb1CreateRequest(kLongName, {}, 200, 100)), FromServer(Smb1CreateReply(2)),
          FromServer(Smb1Simple(0x74, true), 99), FromClient(Smb1Simple(0x2F, false)), MakeSegment({}, {}),
          FromServer(Smb2Simple(4, true)), FromServer(Smb2Simple(2, true)), FromServer(Smb1Simple(0x71, true)),
          FromServer(Smb1Simple(0x74, true))})
        EXPECT_EQ(Scan(frame), 0U);
}

// Fails the first allocation of the frame, then the second, until none is left to fail.
void FailEveryAllocation(const std::vector<ByteList>& before, const ByteList& frame, std::size_t expectedFailures) {
    for (std::size_t failures = 0;; ++failures) {
        Monitor monitor;
        for (const ByteList& earlier : before) ASSERT_TRUE(monitor.Scan(earlier));
        bool threw = false;
        try {
            const support::FailingAllocation lacking(failures);
            ScanSmbFrame(frame, 0, monitor.tables, monitor.result);
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        if (!threw) {
            EXPECT_EQ(failures, expectedFailures);
            return;
        }
        // No lock is held and no half entry is left: the same conversation goes through.
        SnapshotOf(monitor.tables);
        Smb2TablesClear(monitor.tables);
        Smb1TablesClear(monitor.tables);
        for (const ByteList& earlier : before) EXPECT_TRUE(monitor.Scan(earlier));
        EXPECT_TRUE(monitor.Scan(frame));
    }
}

TEST_F(Memory, ALackOfItLeavesTheLocksFree) {
    const std::vector<ByteList> connect2 = {FromClient(Smb2TreeConnectRequest(kLongName))};
    const std::vector<ByteList> connect1 = {FromClient(Smb1TreeConnectRequest(kLongName))};
    const std::vector<ByteList> create2 = {connect2[0], FromServer(Smb2TreeConnectResponse()),
                                           FromClient(Smb2CreateRequest(kLongName))};
    const std::vector<ByteList> create1 = {connect1[0], FromServer(Smb1TreeConnectReply()),
                                           FromClient(Smb1CreateRequest(kLongName))};
    FailEveryAllocation({}, connect2[0], 2);
    FailEveryAllocation({}, connect1[0], 2);
    FailEveryAllocation(connect2, FromServer(Smb2TreeConnectResponse()), 2);
    FailEveryAllocation(connect1, FromServer(Smb1TreeConnectReply()), 2);
    FailEveryAllocation(create2, FromServer(Smb2CreateResponse(2)), 1);
    FailEveryAllocation(create1, FromServer(Smb1CreateReply(2)), 1);
}

}  // namespace
}  // namespace tarn::smb
