// The ends of the library in every order, and what a restart in the middle of a day keeps.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/footprint_win32.h"
#include "system/import_patch_win32.h"
#include "system/journal_lines.h"
#include "system/reported_events.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::uint32_t kDisconnect = TARN_EVENT_DISCONNECT;

class ShutDown : public SystemFixture {
 protected:
    // What WSShutDown says now, with the table of sessions written or not.
    Lines Says() {
        NewLines();
        tarn.WSShutDown(1, 2, 3, 4);
        return NewLines();
    }
    const std::string kCache = "SCSaveCacheFile 1 2 3 4";
    const std::string kSessions = "WritePCSystemControlSettings 0";
};

TEST_F(ShutDown, SaysNothingWithoutALibraryThatStarted) {
    EXPECT_THAT(Says(), IsEmpty());
    ScriptSetResult("PKSInit", 0);
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_THAT(Says(), IsEmpty()) << "after a start that failed";
    ScriptSetResult("PKSInit", 1);
    EXPECT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_THAT(Says(), IsEmpty()) << "after the end";
}

TEST_F(ShutDown, SavesTheSessionsOnce) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(Says(), ElementsAre(kCache, kSessions));
    EXPECT_THAT(Says(), ElementsAre(kCache)) << "nothing has come in since";
    Deinit();
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({Without(kReleaseLines, {kSessions}), kUnloadLines})));
    EXPECT_THAT(Says(), IsEmpty());
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(Says(), ElementsAre(kCache, kSessions)) << "a restart rebuilds the table";
}

TEST_F(ShutDown, SaysNothingWithoutItsModuleAndLosesNothing) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ScriptSetResult("SCInit", 0);
    EXPECT_EQ(tarn.WSSettingsChanged(TARN_SETTINGS_ANTI_PHISHING, 0, 0, 0), 0U);
    EXPECT_THAT(Says(), IsEmpty()) << "categorisation is not loaded";
    NewLines();
    Deinit();
    EXPECT_THAT(NewLines(), Contains(kSessions));
}

TEST_F(ShutDown, LeavesALibraryThatStillScansAndCanBeStartedAgain) {
    static char host[] = "bad.example";
    static ThreatSiteEntry entry{1, HashOf(host), host, nullptr};
    answers.bpStatus = 1;
    answers.bpSettings = {1, &entry};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Says();
    ASSERT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    ASSERT_TRUE(Init(TARN_START_RESTART)) << "on a library that is ready";
    ASSERT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

// ---- Starting what has started ----

class StartAgain : public SystemFixture {
 protected:
    void SwitchScheduleOn() {
        profile.leading.profileSwitch = profile.leading.scheduleSwitch = 1;
        for (auto& day : profile.schedule) day = {1, &wholeDay};
        DeliverOneProfile();
    }
    TimeRange wholeDay{0, 0, 23, 59};
};

TEST_F(StartAgain, OneWorkerAndOneOfEverythingIsLeft) {
    SwitchScheduleOn();
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(ThreadsOf(Library()), 1U);
    const std::size_t handles = OwnHandleCount();
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(Init(static_cast<std::uint8_t>(i % 3)));
        EXPECT_EQ(ThreadsOf(Library()), 1U);
    }
    EXPECT_LT(OwnHandleCount(), handles + 30) << "one of each start is left";
    Deinit();
    EXPECT_EQ(ThreadsOf(Library()), 0U);
}

TEST_F(StartAgain, AFailureLeavesNothingOfTheFirstStart) {
    SwitchScheduleOn();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ScriptSetResult("PKSInit", 0);
    NewLines();
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines,
                                                   kUnloadLines,
                                                   {"load setrd.dll", "load statrd.dll", "load pktsig.dll", "PKSInit",
                                                    "unload pktsig.dll", "unload statrd.dll", "unload setrd.dll"}})));
    EXPECT_EQ(ThreadsOf(Library()), 0U);
    ASSERT_TRUE(Get("a.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(StartAgain, TheBlockedAddressesAreForgotten) {
    answers.idsIpsStatus.enabled = 1;
    IdsBlockRequest blockRequest{};
    std::strcpy(blockRequest.hostName, "ids.example");
    std::strcpy(blockRequest.requestText, "/x HTTP/1.1");
    for (const bool endFirst : {false, true}) {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        EXPECT_EQ(tarn.WSAddURLToIDSBlockedList(&blockRequest), 1);
        ASSERT_TRUE(Get("ids.example", "/x"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_IDS_BLOCKED));
        if (endFirst) Deinit();
        ASSERT_TRUE(Init(TARN_START_RESTART));
        ASSERT_TRUE(Get("ids.example", "/x"));
        EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    }
}

// ---- A restart in the middle of a day ----

SYSTEMTIME clockTime;
void WINAPI StandingClock(SYSTEMTIME* time) {
    *time = clockTime;
}

struct WayToEnd {
    const char* name;
    int shutDowns;
    bool deinit;  // otherwise the next start ends the library
};
constexpr WayToEnd kWaysToEnd[] = {{"WSDeinit", 0, true},
                                   {"WSShutDown, WSDeinit", 1, true},
                                   {"WSShutDown twice, WSDeinit", 2, true},
                                   {"WSShutDown, WSInit", 1, false},
                                   {"WSInit", 0, false}};

class MidDay : public SystemFixture, public testing::WithParamInterface<WayToEnd> {
 protected:
    void SetUp() override {
        ASSERT_TRUE(clock_.IsInPlace());
        SetDay(18);
        answers.keepsSessions = 1;
        profile.leading.controlled = 1;
        for (std::uint16_t& hours : allowance_) hours = 1;
        std::memcpy(&profile.leading.dailyAllowance, allowance_, sizeof allowance_);
        DeliverOneProfile();
        ASSERT_TRUE(Init(TARN_START_RESTART));
    }
    static void SetDay(WORD day) {
        clockTime = {2026, 3, static_cast<WORD>(day % 7), day, 12, 0, 0, 0};  // 2026-03-01 is a Sunday
        clockTime.wDayOfWeek = static_cast<WORD>((day - 1) % 7);
    }
    // The event of an account; true = it may go on.
    bool Event(std::uint32_t code, std::uint8_t account = 1) {
        LogonEvent event{};
        event.eventCode = code;
        event.sessionId = 3;
        event.sid[0] = 1;
        event.sid[1] = 1;
        event.sid[7] = 5;
        event.sid[8] = account;
        event.accountTag = 40U + account;
        event.userName[0] = static_cast<char16_t>(u'A' + account);
        EXPECT_EQ(tarn.WSScanLogonEventForPCCTRL(&event, &logon), 1) << code;
        return logon.action == TARN_ALLOW;
    }
    bool Ticks(int count) {
        bool allowed = true;
        for (int i = 0; i < count; ++i) allowed = Event(kTick) && allowed;
        return allowed;
    }
    // Ends the library this case's way and starts it again; the sessions are written exactly once.
    void Restart() {
        NewLines();
        for (int i = 0; i < GetParam().shutDowns; ++i) tarn.WSShutDown(0, 0, 0, 0);
        if (GetParam().deinit) Deinit();
        ASSERT_TRUE(Init(TARN_START_RESTART));
        const Lines lines = NewLines();
        EXPECT_EQ(std::ranges::count_if(
                      lines, [](const std::string& line) { return line.starts_with("WritePCSystemControlSettings"); }),
                  1);
    }
    LogonVerdict logon{};

 private:
    std::uint16_t allowance_[7];
    ImportPatch clock_{Library(), "GetLocalTime", StandingClock};
};

TEST_P(MidDay, ARestartKeepsTheUsage) {
    EXPECT_TRUE(Event(kLogon));
    EXPECT_TRUE(Ticks(29));
    EXPECT_TRUE(Event(kLogon, 2));
    Restart();
    EXPECT_EQ(answers.savedSessions, 2U);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 29U);
    EXPECT_EQ(answers.savedRecords[1].usageTicks, 0U);
    EXPECT_TRUE(Ticks(30)) << "59 minutes of the hour";
    EXPECT_FALSE(Event(kTick));
    EXPECT_TRUE(Event(kTick, 2)) << "the other account has its own hour";
}

TEST_P(MidDay, ARestartKeepsTheRefusal) {
    EXPECT_TRUE(Event(kLogon));
    EXPECT_FALSE(Ticks(60));
    Restart();
    EXPECT_EQ(answers.savedRecords[0].blocked, 1);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 60U);
    EXPECT_FALSE(Event(kLogon)) << "at once";
    EXPECT_EQ(logon.accountTag, 41U);
    EXPECT_EQ(logon.sid[8], 1);
    EXPECT_EQ(logon.userName[0], u'B');
    EXPECT_TRUE(Event(kDisconnect));
    Restart();
    EXPECT_EQ(answers.savedRecords[0].blocked, 0) << "a disconnect ends the refusal";
    EXPECT_FALSE(Event(kLogon)) << "the hour is used up all the same";
    Restart();
    EXPECT_EQ(answers.savedRecords[0].blocked, 1);
}

TEST_P(MidDay, ARestartOnTheNextDayStartsANewHour) {
    EXPECT_TRUE(Event(kLogon));
    EXPECT_FALSE(Ticks(60));
    SetDay(19);
    Restart();
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 60U) << "no event has told of the new day yet";
    EXPECT_TRUE(Event(kLogon));
    Restart();
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 0U);
}

TEST_P(MidDay, ManyRestartsLoseNoTick) {
    EXPECT_TRUE(Event(kLogon));
    for (int i = 0; i < 12; ++i) {
        EXPECT_TRUE(Ticks(4));
        Restart();
    }
    EXPECT_EQ(answers.savedSessions, 1U);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 48U);
}

TEST_P(MidDay, AReloadOfTheStatusReaderKeepsTheTable) {
    EXPECT_TRUE(Event(kLogon));
    EXPECT_TRUE(Ticks(10));
    const std::uint32_t readers = 0x22;
    NewLines();
    EXPECT_EQ(tarn.WSUpdateSettingsChanged(&readers), 1);
    EXPECT_THAT(NewLines(), testing::Not(Contains(StartsWith("WritePCSystemControlSettings"))));
    EXPECT_TRUE(Ticks(10));
    Restart();
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 20U);
}

INSTANTIATE_TEST_SUITE_P(Ways, MidDay, testing::ValuesIn(kWaysToEnd),
                         [](const auto& way) { return "Way" + std::to_string(way.index); });

// ---- Saved records that are none ----

class DamagedSessions : public MidDay {};

TEST_P(DamagedSessions, RecordsWithInvalidIdentifiersAreKeptAndServeNobody) {
    SavedSessionRecord damaged[3] = {};
    damaged[0].sid[0] = 2;  // no such revision
    damaged[1].sid[0] = 1;
    damaged[1].sid[1] = 16;  // more sub-authorities than there are
    damaged[2].sid[0] = 1;
    damaged[2].sid[1] = 15;  // valid, and longer than its field
    for (SavedSessionRecord& record : damaged) {
        std::memset(&record.userName, 'x', sizeof record.userName);
        record.usageTicks = 7;
        record.lastUpdate = 1'700'000'000;
    }
    answers.keepsSessions = 0;
    answers.systemControl = {3, damaged};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    for (const SavedSessionRecord& record : damaged) {
        LogonEvent event{};
        event.eventCode = kLogon;
        event.sessionId = 9;
        std::memcpy(event.sid, record.sid, sizeof event.sid);
        std::memset(&logon, 0xCD, sizeof logon);
        EXPECT_EQ(tarn.WSScanLogonEventForPCCTRL(&event, &logon), 0);
        EXPECT_EQ(logon.action, 1U);
        EXPECT_EQ(logon.reason, TARN_REASON_PARENTAL_CONTROL);
        EXPECT_EQ(logon.sessionId, 9U);
        EXPECT_EQ(logon.sid[0], 0xCD) << "nothing else is written";
    }
    EXPECT_TRUE(Event(kLogon)) << "a valid account beside them";
    Deinit();
    EXPECT_EQ(answers.savedSessions, 4U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(std::memcmp(answers.savedRecords[i].sid, damaged[i].sid, sizeof damaged[i].sid), 0);
        EXPECT_EQ(answers.savedRecords[i].usageTicks, 7U);
    }
}

TEST_P(DamagedSessions, ACountWithoutRecordsIsNoAccount) {
    answers.keepsSessions = 0;
    answers.systemControl = {0xFFFFFFFF, nullptr};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    EXPECT_EQ(answers.savedSessions, 0U);
}

INSTANTIATE_TEST_SUITE_P(Once, DamagedSessions, testing::Values(kWaysToEnd[0]),
                         [](const auto&) { return std::string("Deinit"); });

}  // namespace
}  // namespace tarn::system_test
