#include "parental/saved_sessions.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

#include "fakes/no_modules.h"
#include "parental/failing_memory.h"
#include "parental/logon_check.h"
#include "parental/scripted_sessions.h"
#include "parental/session_builders.h"

namespace tarn::parental {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

SavedSessionRecord Saved(const AccountSid& sid, std::int64_t lastUpdate, std::uint32_t usageTicks = 0,
                         std::uint8_t blocked = 0, std::u16string_view name = u"Anna") {
    SavedSessionRecord saved{};
    std::memcpy(saved.sid, sid.data(), sid.size());
    saved.accountTag = 77;
    std::memcpy(&saved.userName, name.data(), name.size() * sizeof(char16_t));
    saved.lastUpdate = lastUpdate;
    saved.usageTicks = usageTicks;
    saved.blocked = blocked;
    return saved;
}

std::vector<std::uint8_t> Bytes(const std::vector<SavedSessionRecord>& records) {
    std::vector<std::uint8_t> bytes(records.size() * sizeof(SavedSessionRecord));
    if (!bytes.empty()) std::memcpy(bytes.data(), records.data(), bytes.size());
    return bytes;
}

class SavedSessions : public ::testing::Test {
 protected:
    SavedSessions() : noon(*clock.ToSeconds(clock.Now())) {}

    void Load() { LoadUserSessions(table, settings, calls, clock); }
    bool Save() { return SaveUserSessions(table, calls, clock); }
    void Rebuild() { RebuildUserSessions(table, settings, calls, live, clock); }
    bool SaveAndClear() { return SaveAndClearUserSessions(table, calls, clock); }
    bool Scan(std::uint32_t code, const AccountSid& sid = Sid(1)) {
        return ScanLogonEvent(Event(code, sid), verdict, table, settings, clock);
    }
    // What a stop and a start of the library do to the table.
    void Restart() {
        EXPECT_TRUE(SaveAndClear());
        table = {};
        Rebuild();
    }

    SavedState state;
    modules::Companions companions = SavedState::Companions();
    UserSessionTable table;
    SettingsCopy settings;
    ScriptedSessions live;
    SummerTimeClock clock;
    LogonVerdict verdict{};
    std::uint32_t error = 0;
    fakes::NoModules system;
    modules::ModuleCalls calls{companions, system, error};
    std::int64_t noon;
};

TEST_F(SavedSessions, LoadGivesOneRecordPerAccount) {
    settings = Settings({Entry(Sid(2)).AllowAllDays(2)});
    state.records = {Saved(Sid(1), noon, 30, 1), Saved(Sid(2), noon, 0, 0, u"Ben"), Saved(Sid(1), noon)};
    Load();
    ASSERT_THAT(table.Records(), SizeIs(3));
    const UserSessionRecord& first = table.Records()[0];
    EXPECT_EQ(first.lastEvent, 0U);
    EXPECT_EQ(first.sessionId, 0U);
    EXPECT_EQ(first.sid, Sid(1));
    EXPECT_EQ(first.accountTag, 77U);
    EXPECT_EQ(base::FieldText(first.userName), u"Anna");
    EXPECT_EQ(first.loggedOn, 0);
    EXPECT_TRUE(SameTime(first.firstSeen, TarnSystemTime{}));
    EXPECT_TRUE(SameTime(first.lastUpdate, clock.Now()));
    EXPECT_EQ(first.usageTicks, 30U);
    EXPECT_EQ(first.blocked, 1);
    EXPECT_EQ(first.controlled, 0);
    EXPECT_EQ(table.Records()[1].controlled, 1);
    EXPECT_THAT(table.Records()[1].dailyAllowance, Each(2));
    EXPECT_EQ(table.Find(Sid(1)), &table.Records()[0]) << "the first of two";
    EXPECT_EQ(state.releases, 1);
    EXPECT_EQ(error, SavedState::kReadError);
}

TEST_F(SavedSessions, OnlyPositiveTimesAreConverted) {
    for (const std::int64_t seconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN, INT64_MAX})
        state.records.push_back(Saved(Sid(1), seconds));
    Load();
    ASSERT_THAT(table.Records(), SizeIs(4));
    for (const UserSessionRecord& record : table.Records()) EXPECT_TRUE(SameTime(record.lastUpdate, TarnSystemTime{}));
    state.records = {Saved(Sid(2), 1)};
    Load();
    EXPECT_EQ(table.Records()[4].lastUpdate.year + 0, 1970);
    EXPECT_EQ(table.Records()[4].lastUpdate.hour + 0, 1);
}

TEST_F(SavedSessions, InvalidIdentifiersAreKeptAsTheyStand) {
    AccountSid revision2 = Sid(1);
    revision2[0] = 2;
    settings = Settings({Entry(revision2)});
    state.records = {Saved(revision2, noon), Saved(Sid(1, 15), noon), Saved(AccountSid{}, noon), Saved(Sid(2), noon)};
    const auto before = Bytes(state.records);
    Load();
    ASSERT_THAT(table.Records(), SizeIs(4));
    for (const UserSessionRecord& record : table.Records()) EXPECT_EQ(record.controlled, 0);
    EXPECT_TRUE(Save());
    EXPECT_EQ(Bytes(state.records), before);
}

TEST_F(SavedSessions, ANameWithoutItsNulIsCut) {
    const std::u16string name(260, u'n');
    state.records = {Saved(Sid(1), noon, 0, 0, name)};
    Load();
    EXPECT_EQ(base::FieldText(table.Records()[0].userName), name.substr(1));
    EXPECT_EQ(table.Records()[0].userName.back(), u'\0');
}

TEST_F(SavedSessions, CountWithoutAnArrayIsNoAccount) {
    state.records = {Saved(Sid(1), noon)};
    state.nullRecords = true;
    Load();
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_EQ(state.releases, 1);
}

TEST_F(SavedSessions, AnEmptyStateIsReleasedToo) {
    Load();
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_EQ(state.releases, 1);
}

TEST_F(SavedSessions, AFailedReadIsNoAccountAndNotReleased) {
    state.records = {Saved(Sid(1), noon)};
    state.readFails = true;
    Load();
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_EQ(state.reads, 1);
    EXPECT_EQ(state.releases, 0);
}

TEST_F(SavedSessions, WithoutTheModuleNothingIsLoadedOrSaved) {
    state.records = {Saved(Sid(1), noon)};
    companions.statusReader = {};
    Load();
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_FALSE(Save());
    EXPECT_EQ(state.reads + state.writes, 0);
}

TEST_F(SavedSessions, SavedRecordsHoldTheTableInOrder) {
    for (const std::uint8_t id : std::initializer_list<std::uint8_t>{2, 1}) ASSERT_TRUE(Scan(kLogon, Sid(id)));
    ASSERT_TRUE(Scan(TARN_EVENT_TICK, Sid(1)));
    table.Find(Sid(2))->blocked = 1;
    EXPECT_TRUE(Save());
    EXPECT_EQ(Bytes(state.records), Bytes({Saved(Sid(2), noon, 0, 1), Saved(Sid(1), noon, 1)}));
    EXPECT_THAT(table.Records(), SizeIs(2)) << "a save changes nothing";
    EXPECT_EQ(error, SavedState::kWriteError);
}

TEST_F(SavedSessions, ATimeThatCannotBeConvertedIsSavedAsZero) {
    UserSessionRecord record;
    record.sid = Sid(1);
    table.Append(record);
    record.lastUpdate.year = 1950;
    record.lastUpdate.month = 1;
    record.lastUpdate.day = 1;
    table.Append(record);
    EXPECT_TRUE(Save());
    ASSERT_THAT(state.records, SizeIs(2));
    EXPECT_EQ(state.records[0].lastUpdate + 0, 0);
    EXPECT_EQ(state.records[1].lastUpdate + 0, 0);
}

TEST_F(SavedSessions, SaveFailsWithoutMemoryOrWhenTheWriteFails) {
    ASSERT_TRUE(Scan(kLogon));
    const FailingMemory none(0);
    EXPECT_FALSE(SaveUserSessions(table, calls, clock, none.Functions()));
    EXPECT_EQ(state.writes, 0);
    state.writeFails = true;
    EXPECT_FALSE(Save());
    EXPECT_EQ(state.writes, 1);
    const FailingMemory enough;
    state.writeFails = false;
    EXPECT_TRUE(SaveUserSessions(table, calls, clock, enough.Functions()));
    EXPECT_EQ(enough.Live(), 0U);
    EXPECT_EQ(enough.Bytes(), sizeof(SavedSessionRecord));
}

TEST_F(SavedSessions, RebuildLoadsThenFindsWhoIsLoggedOn) {
    ASSERT_TRUE(Scan(kLogon, Sid(9)));
    state.records = {Saved(Sid(1), noon, 30, 1)};
    live.sessions = {{4, u"HOME", u"Anna"}, {5, u"HOME", u"Ben"}};
    live.accounts = {{u"HOME\\Anna", LongSid(1)}, {u"HOME\\Ben", LongSid(2)}};
    Rebuild();
    ASSERT_THAT(table.Records(), SizeIs(2));
    EXPECT_EQ(table.Find(Sid(9)), nullptr) << "what was there before is gone";
    EXPECT_EQ(table.Records()[0].sid, Sid(1));
    EXPECT_EQ(table.Records()[0].sessionId, 4U);
    EXPECT_EQ(table.Records()[0].loggedOn, 1);
    EXPECT_EQ(table.Records()[0].usageTicks, 30U);
    EXPECT_EQ(table.Records()[0].blocked, 1);
    EXPECT_EQ(table.Records()[1].sid, Sid(2));
}

TEST_F(SavedSessions, RebuildSucceedsWithoutAnything) {
    state.readFails = true;
    live.listFails = true;
    Rebuild();
    EXPECT_THAT(table.Records(), IsEmpty());
}

TEST_F(SavedSessions, SaveAndClearEmptiesTheTable) {
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(SaveAndClear());
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_EQ(Bytes(state.records), Bytes({Saved(Sid(1), noon)}));
}

TEST_F(SavedSessions, SaveAndClearEmptiesTheTableAlsoWhenTheWriteFails) {
    ASSERT_TRUE(Scan(kLogon));
    state.writeFails = true;
    EXPECT_FALSE(SaveAndClear());
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 1) << "what an earlier save left is not written over with nothing";
}

TEST_F(SavedSessions, AnEmptyTableOfARebuildIsSavedAsNoAccount) {
    Rebuild();
    state.records = {Saved(Sid(1), noon)};
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 1);
    EXPECT_THAT(state.records, IsEmpty());
    EXPECT_FALSE(state.lastWriteHadArray);
}

TEST_F(SavedSessions, ATableThatWasSavedAndEmptiedIsNotSavedAgain) {
    Rebuild();
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(SaveAndClear());
    EXPECT_FALSE(Scan(TARN_EVENT_TICK)) << "an event that cannot be recorded brings nothing in";
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 1);
    EXPECT_THAT(state.records, SizeIs(1));
}

TEST_F(SavedSessions, ATableIntoWhichSomethingCameIsSavedAgain) {
    Rebuild();
    EXPECT_TRUE(SaveAndClear());
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 2);
    EXPECT_THAT(state.records, SizeIs(1));
    Rebuild();
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 3);
}

TEST_F(SavedSessions, ATableThatWasNeverRebuiltIsNotSaved) {
    EXPECT_TRUE(SaveAndClear());
    EXPECT_EQ(state.writes, 0);
}

std::vector<std::uint64_t> passedValues;
std::uint8_t TARN_CALL WriteWithValues(std::uint64_t, const PcSystemControlRecord*, std::uint32_t*, std::uint64_t a,
                                       std::uint64_t b, std::uint64_t c) {
    passedValues = {a, b, c};
    return 1;
}

TEST_F(SavedSessions, TheWriteTakesThePassedArguments) {
    Rebuild();
    companions.statusReader =
        modules::StatusReader{.WritePCSystemControlSettings = reinterpret_cast<WritePCSystemControlSettingsFn>(
                                  reinterpret_cast<void (*)()>(&WriteWithValues))};
    modules::ModuleCalls first(companions, system, error, modules::PassedValues{1, 2, 3});
    EXPECT_TRUE(SaveAndClearUserSessions(table, first, clock));
    EXPECT_THAT(passedValues, ElementsAre(1, 2, 3));
    passedValues.clear();
    modules::ModuleCalls second(companions, system, error, modules::PassedValues{4, 5, 6});
    EXPECT_TRUE(SaveAndClearUserSessions(table, second, clock));
    EXPECT_THAT(passedValues, IsEmpty()) << "nothing is left to save";
    EXPECT_TRUE(second.WritePCSystemControlSettings({}));
    EXPECT_THAT(passedValues, ElementsAre(4, 5, 6)) << "they are for the first call that is made";
}

TEST_F(SavedSessions, ARestartWithinADayKeepsUsageAndRefusal) {
    settings = Settings({Entry(Sid(1)).AllowAllDays(1)});
    ASSERT_TRUE(Scan(kLogon));
    for (int tick = 0; tick < 59; ++tick) ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    ASSERT_EQ(verdict.action + 0U, 1U);
    clock.Set(2026, 11, 21, 18);
    Restart();
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_EQ(verdict.action + 0U, 0U) << "the 60th tick of the day";
    Restart();
    ASSERT_NE(table.Find(Sid(1)), nullptr);
    EXPECT_EQ(table.Find(Sid(1))->usageTicks, 60U);
    EXPECT_EQ(table.Find(Sid(1))->blocked, 1);
    ASSERT_TRUE(Scan(2));
    Restart();
    EXPECT_EQ(table.Find(Sid(1))->blocked, 0);
}

TEST_F(SavedSessions, ARestartOverMidnightResetsTheUsage) {
    const std::array<std::array<std::uint16_t, 3>, 4> lastDays{
        {{2026, 12, 31}, {2026, 3, 28}, {2026, 10, 24}, {2026, 7, 1}}};
    for (const auto& [year, month, day] : lastDays) {
        table = {};
        state.records.clear();
        clock.Set(year, month, day, 23, 59, 59);
        ASSERT_TRUE(Scan(kLogon));
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        Restart();
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        EXPECT_EQ(table.Find(Sid(1))->usageTicks, 2U) << month << ": the same second";
        Restart();
        clock.SetSeconds(*clock.ToSeconds(clock.Now()) + 1);
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        EXPECT_EQ(table.Find(Sid(1))->usageTicks, 0U) << month;
    }
}

TEST_F(SavedSessions, ARestartBehindAClockThatWasSetBackCountsByTheDay) {
    clock.Set(2027, 1, 1, 12);
    ASSERT_TRUE(Scan(kLogon));
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    clock.Set(2027, 1, 1, 0);
    Restart();
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_EQ(table.Find(Sid(1))->usageTicks, 2U) << "the same day, though earlier than what was saved";
    clock.Set(2026, 12, 31, 23, 59, 59);
    Restart();
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_EQ(table.Find(Sid(1))->usageTicks, 0U) << "another day, though it was over when the state was saved";
}

// The hour that the clock passes twice is the same day both times, whichever of its two times was saved.
TEST_F(SavedSessions, ARestartInTheRepeatedHourKeepsTheUsage) {
    for (const std::int64_t second : {SummerTimeClock::kSummerEnds - 1800, SummerTimeClock::kSummerEnds + 1800}) {
        table = {};
        clock.SetSeconds(second);
        ASSERT_EQ(clock.Now().hour + 0, 2);
        ASSERT_TRUE(Scan(kLogon));
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        Restart();
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        EXPECT_EQ(table.Find(Sid(1))->usageTicks, 2U);
    }
}

}  // namespace
}  // namespace tarn::parental
