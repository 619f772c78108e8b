// Several host threads scan at once: each follows its own conversation, all share the tables.
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

constexpr std::size_t kThreads = 4;
constexpr std::size_t kRounds = 100;

std::u16string Name(char16_t prefix, std::size_t thread, std::size_t round) {
    std::u16string name{prefix};
    for (const char digit : std::to_string(thread * 1000 + round)) name += static_cast<char16_t>(digit);
    return name;
}

// What one host thread sees of one scan: its own record, the common tables.
struct Scanner {
    SmbTables& tables;
    SmbScanResult result{};

    bool Scan(const ByteList& frame) { return ScanSmbFrame(frame, 0, tables, result); }
    bool Reports(const ByteList& frame, std::u16string_view share, std::u16string_view file) {
        return Scan(frame) && result.resultKind == TARN_SMB_FILE_EVENT && result.createAction == 1 &&
               TextOf(&result.sharePath) == share && TextOf(&result.fileName) == file;
    }
};

bool FollowSmb2(Scanner& scanner, std::size_t thread, std::size_t round) {
    const Smb2Keys keys{.messageId = thread << 32 | round, .tree = 5, .session = thread};
    const std::u16string share = Name(u's', thread, round);
    const std::u16string file = Name(u'f', thread, round);
    return scanner.Scan(FromClient(Smb2TreeConnectRequest(share, keys))) &&
           scanner.Scan(FromServer(Smb2TreeConnectResponse(keys))) &&
           scanner.Scan(FromClient(Smb2CreateRequest(file, keys))) &&
           scanner.Reports(FromServer(Smb2CreateResponse(2, keys)), share, file) &&
           scanner.Scan(FromServer(Smb2Simple(4, true, keys))) && scanner.Scan(FromServer(Smb2Simple(2, true, keys)));
}

bool FollowSmb1(Scanner& scanner, std::size_t thread, std::size_t round) {
    const Smb1Keys keys{.mid = static_cast<std::uint16_t>(thread << 12 | round)};
    const auto client = static_cast<std::uint8_t>(40 + thread);
    const std::u16string share = Name(u'S', thread, round);
    const std::u16string file = Name(u'F', thread, round);
    return scanner.Scan(FromClient(Smb1TreeConnectRequest(share, keys), client)) &&
           scanner.Scan(FromServer(Smb1TreeConnectReply(keys), client)) &&
           scanner.Scan(FromClient(Smb1CreateRequest(file, keys), client)) &&
           scanner.Reports(FromServer(Smb1CreateReply(2, keys), client), share, file) &&
           scanner.Scan(FromServer(Smb1Simple(0x71, true, keys), client)) &&
           scanner.Scan(FromServer(Smb1Simple(0x74, true, keys), client));
}

template <class F>
void RunThreads(F&& body) {
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) threads.emplace_back([&body, thread] { body(thread); });
    for (std::thread& thread : threads) thread.join();
}

TEST(Threads, EachConversationIsReportedWhole) {
    SmbTables tables;
    std::atomic<std::size_t> followed = 0;
    RunThreads([&](std::size_t thread) {
        Scanner scanner{tables};
        for (std::size_t round = 0; round < kRounds; ++round)
            followed += FollowSmb2(scanner, thread, round) && FollowSmb1(scanner, thread, round) ? 1U : 0U;
    });
    EXPECT_EQ(followed, kThreads * kRounds);
    EXPECT_EQ(SnapshotOf(tables), TablesSnapshot{});
}

TEST(Threads, OneRequestIsTakenOnce) {
    SmbTables tables;
    Scanner scanner{tables};
    ASSERT_TRUE(scanner.Scan(FromClient(Smb2TreeConnectRequest(u"share"))));
    ASSERT_TRUE(scanner.Scan(FromServer(Smb2TreeConnectResponse())));
    for (std::size_t round = 0; round < kRounds; ++round) {
        std::atomic<std::size_t> reports = 0;
        RunThreads([&](std::size_t) {
            Scanner own{tables};
            own.Scan(FromClient(Smb2CreateRequest(u"file", {.messageId = round})));
        });
        RunThreads([&](std::size_t) {
            Scanner own{tables};
            reports +=
                own.Reports(FromServer(Smb2CreateResponse(2, {.messageId = round})), u"share", u"file") ? 1U : 0U;
        });
        ASSERT_EQ(reports, 1U);
    }
}

TEST(Threads, TablesAreClearedUnderTheScans) {
    SmbTables tables;
    std::atomic<bool> stop = false;
    std::thread clearing([&] {
        while (!stop) {
            Smb2TablesClear(tables);
            Smb1TablesClear(tables);
            SmbTablesReset(tables);
        }
    });
    RunThreads([&](std::size_t thread) {
        Scanner scanner{tables};
        for (std::size_t round = 0; round < kRounds; ++round) {
            FollowSmb2(scanner, thread, round);
            FollowSmb1(scanner, thread, round);
        }
    });
    stop = true;
    clearing.join();
    SmbTablesReset(tables);
    Scanner scanner{tables};
    EXPECT_TRUE(FollowSmb2(scanner, 1, 1));
    EXPECT_TRUE(FollowSmb1(scanner, 1, 1));
    EXPECT_EQ(SnapshotOf(tables), TablesSnapshot{});
}

}  // namespace
}  // namespace tarn::smb
