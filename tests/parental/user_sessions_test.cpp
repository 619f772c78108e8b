#include "parental/user_sessions.h"

#include <array>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>

#include "parental/session_builders.h"

namespace tarn::parental {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

class UserSessions : public ::testing::Test {
 protected:
    bool Record(std::uint32_t code, const AccountSid& sid = Sid(1), std::uint32_t sessionId = 3) {
        return RecordSessionEvent(Event(code, sid, sessionId), table, settings, clock.Now());
    }
    const UserSessionRecord& Only() {
        EXPECT_EQ(table.Records().size(), 1U);
        return table.Records().front();
    }
    // A logon, then ticks.
    void Use(std::uint32_t ticks) {
        ASSERT_TRUE(Record(5));
        for (std::uint32_t i = 0; i < ticks; ++i) ASSERT_TRUE(Record(TARN_EVENT_TICK));
        ASSERT_EQ(Only().usageTicks, ticks);
    }

    UserSessionTable table;
    SettingsCopy settings;
    SummerTimeClock clock;
};

TEST_F(UserSessions, FourEventsBringAnAccountIn) {
    for (std::uint32_t code = 0; code <= 11; ++code) {
        table.Forget();
        const bool adds = code == 1 || code == 4 || code == 5 || code == 7;
        EXPECT_EQ(Record(code), adds) << code;
        EXPECT_THAT(table.Records(), SizeIs(adds ? 1 : 0)) << code;
        EXPECT_EQ(table.IsWorthSaving(), adds) << code;
    }
    EXPECT_FALSE(Record(0xFFFFFFFF, Sid(2)));
}

TEST_F(UserSessions, ATickForAnUnknownAccountCreatesNothing) {
    ASSERT_TRUE(Record(5));
    EXPECT_FALSE(Record(TARN_EVENT_TICK, Sid(2)));
    EXPECT_THAT(table.Records(), SizeIs(1));
}

TEST_F(UserSessions, ANewRecordHoldsTheEvent) {
    settings = Settings({Entry(Sid(1), 1).AllowAllDays(4).AllowHour(6, 12)});
    ASSERT_TRUE(RecordSessionEvent(Event(7, Sid(1), 12, 345, u"Anna"), table, settings, clock.Now()));
    const UserSessionRecord& record = Only();
    EXPECT_EQ(record.lastEvent, 7U);
    EXPECT_EQ(record.sessionId, 12U);
    EXPECT_EQ(record.sid, Sid(1));
    EXPECT_EQ(record.accountTag, 345U);
    EXPECT_EQ(base::FieldText(record.userName), u"Anna");
    EXPECT_EQ(record.loggedOn, 1);
    EXPECT_TRUE(SameTime(record.firstSeen, clock.Now()));
    EXPECT_TRUE(SameTime(record.lastUpdate, clock.Now()));
    EXPECT_EQ(record.usageTicks, 0U);
    EXPECT_EQ(record.blocked, 0);
    EXPECT_EQ(record.controlled, 1);
    EXPECT_EQ(record.exempt, 0);
    EXPECT_EQ(record.scheduleMode, 1);
    EXPECT_THAT(record.dailyAllowance, Each(4));
    EXPECT_EQ(record.hourGrid[12 * 7 + 6], 1);
}

TEST_F(UserSessions, LaterEventsKeepIdentityAndSchedule) {
    settings = Settings({Entry(Sid(1)).AllowAllDays(4)});
    ASSERT_TRUE(RecordSessionEvent(Event(5, Sid(1), 3, 10, u"Anna"), table, settings, clock.Now()));
    const TarnSystemTime first = clock.Now();
    clock.Set(2026, 11, 21, 13);
    settings = Settings({Entry(Sid(1)).AllowAllDays(9)});
    ASSERT_TRUE(RecordSessionEvent(Event(4, Sid(1), 8, 99, u"Other"), table, settings, clock.Now()));
    EXPECT_EQ(Only().lastEvent, 4U);
    EXPECT_EQ(Only().sessionId, 8U);
    EXPECT_EQ(Only().accountTag, 10U);
    EXPECT_EQ(base::FieldText(Only().userName), u"Anna");
    EXPECT_THAT(Only().dailyAllowance, Each(4));
    EXPECT_TRUE(SameTime(Only().firstSeen, first));
    EXPECT_TRUE(SameTime(Only().lastUpdate, clock.Now()));
}

TEST_F(UserSessions, LoggedOnFollowsTheEventCode) {
    ASSERT_TRUE(Record(5));
    for (const std::uint32_t off : {2U, 3U}) {
        for (std::uint32_t on = 1; on <= 9; ++on) {
            ASSERT_TRUE(Record(off));
            EXPECT_EQ(Only().loggedOn, 0);
            for (const std::uint32_t neutral : {0U, 10U, 0xFFFFFFFFU}) ASSERT_TRUE(Record(neutral));
            EXPECT_EQ(Only().loggedOn, 0) << "other codes leave it";
            ASSERT_TRUE(Record(on));
            EXPECT_EQ(Only().loggedOn, on == 2 || on == 3 ? 0 : 1) << on;
        }
    }
    ASSERT_TRUE(Record(1));
    for (const std::uint32_t neutral : {0U, 10U, 0xFFFFFFFFU}) ASSERT_TRUE(Record(neutral));
    EXPECT_EQ(Only().loggedOn, 1);
}

TEST_F(UserSessions, AccountsStandInTheOrderOfTheirCreation) {
    for (const std::uint8_t id : std::initializer_list<std::uint8_t>{3, 1, 2, 1, 3})
        ASSERT_TRUE(Record(5, Sid(id), id));
    ASSERT_THAT(table.Records(), SizeIs(3));
    EXPECT_EQ(table.Records()[0].sid, Sid(3));
    EXPECT_EQ(table.Records()[1].sid, Sid(1));
    EXPECT_EQ(table.Records()[2].sid, Sid(2));
    EXPECT_EQ(table.Find(Sid(1))->sessionId, 1U);
    EXPECT_EQ(table.Find(Sid(9)), nullptr);
    EXPECT_EQ(table.Find(AccountSid{}), nullptr);
}

TEST_F(UserSessions, InvalidIdentifiersAreRefused) {
    AccountSid revision2 = Sid(1);
    revision2[0] = 2;
    for (const AccountSid& sid : {revision2, Sid(1, 16), Sid(1, 15), AccountSid{}}) EXPECT_FALSE(Record(5, sid));
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_TRUE(Record(5, Sid(1, 14)));
    EXPECT_TRUE(Record(5, Sid(1, 0)));
}

TEST_F(UserSessions, AnInvalidRecordOfTheTableIsNeverFound) {
    UserSessionRecord invalid;
    invalid.sid = Sid(1, 15);
    table.Append(invalid);
    EXPECT_FALSE(Record(5, Sid(1, 15)));
    EXPECT_EQ(table.Find(invalid.sid), nullptr);
}

TEST_F(UserSessions, ANameOf260CharactersIsCut) {
    const std::u16string name(260, u'n');
    ASSERT_TRUE(RecordSessionEvent(Event(5, Sid(1), 3, 77, name), table, settings, clock.Now()));
    EXPECT_EQ(base::FieldText(Only().userName), name.substr(0, 259));
    EXPECT_EQ(Only().userName.back(), u'\0');
}

TEST_F(UserSessions, TicksOfOneDayAreCounted) {
    clock.Set(2026, 11, 21, 0, 0, 0);
    Use(3);
    for (const std::uint32_t code : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U}) ASSERT_TRUE(Record(code));
    EXPECT_EQ(Only().usageTicks, 3U);
    clock.Set(2026, 11, 21, 23, 59, 59);
    ASSERT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 4U);
}

TEST_F(UserSessions, FirstTickAfterMidnightIsNotCounted) {
    clock.Set(2026, 11, 21, 23, 59, 59);
    Use(30);
    clock.Set(2026, 11, 22, 0, 0, 0);
    ASSERT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 0U);
    ASSERT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 1U);
}

TEST_F(UserSessions, AnyEventOfANewDayResetsTheUsage) {
    for (const std::uint32_t code : {1U, 2U, 6U, 8U, 10U}) {
        table.Forget();
        clock.Set(2026, 11, 21, 12);
        Use(30);
        clock.Set(2026, 11, 23, 12);
        ASSERT_TRUE(Record(code));
        EXPECT_EQ(Only().usageTicks, 0U) << code;
    }
}

TEST_F(UserSessions, DayChange_NewYearAndLeapDay) {
    struct Change {
        TarnSystemTime from, to;
    };
    SummerTimeClock day;
    const auto at = [&](std::uint16_t year, std::uint16_t month, std::uint16_t date, std::uint16_t hour) {
        day.Set(year, month, date, hour);
        return day.Now();
    };
    const Change changes[] = {{at(2026, 12, 31, 23), at(2027, 1, 1, 0)},    {at(2028, 2, 28, 12), at(2028, 2, 29, 12)},
                              {at(2028, 2, 29, 12), at(2028, 3, 1, 12)},    {at(2026, 11, 21, 0), at(2027, 11, 21, 0)},
                              {at(2026, 11, 21, 12), at(2026, 11, 20, 12)}, {at(2026, 5, 3, 1), at(2026, 6, 3, 1)}};
    for (const Change& change : changes) {
        table.Forget();
        clock.Set(change.from);
        Use(10);
        clock.Set(change.to);
        ASSERT_TRUE(Record(TARN_EVENT_TICK));
        EXPECT_EQ(Only().usageTicks, 0U) << change.to.year << '-' << change.to.month << '-' << change.to.day;
    }
}

// The day of 23 hours and the one of 25: each begins anew once, and no tick of it is lost.
TEST_F(UserSessions, DayChange_ClockChangesCountAsOneDay) {
    constexpr std::int64_t kHour = 3600;
    for (const std::int64_t change : {SummerTimeClock::kSummerStarts, SummerTimeClock::kSummerEnds}) {
        const std::int64_t hoursOfTheDay = change == SummerTimeClock::kSummerStarts ? 23 : 25;
        // The change comes two hours (spring) or three hours (autumn) after midnight.
        const std::int64_t midnight = change - (change == SummerTimeClock::kSummerStarts ? 2 : 3) * kHour;
        table.Forget();
        clock.SetSeconds(midnight - 1);
        Use(10);
        int resets = 0;
        for (std::int64_t second = 0; second < hoursOfTheDay * kHour; second += 60) {
            clock.SetSeconds(midnight + second);
            const std::uint32_t before = Only().usageTicks;
            ASSERT_TRUE(Record(TARN_EVENT_TICK));
            if (Only().usageTicks != before + 1) ++resets;
        }
        EXPECT_EQ(resets, 1);
        EXPECT_EQ(Only().usageTicks, hoursOfTheDay * 60 - 1);
        clock.SetSeconds(midnight + hoursOfTheDay * kHour);
        ASSERT_TRUE(Record(TARN_EVENT_TICK));
        EXPECT_EQ(Only().usageTicks, 0U);
    }
}

TEST_F(UserSessions, DayChange_AClockSetBackWithinItsDayGoesOnCounting) {
    clock.Set(2026, 12, 31, 23, 59, 59);
    Use(10);
    clock.Set(2026, 12, 31, 0, 0, 0);
    ASSERT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 11U);
    clock.Set(2026, 12, 31, 23, 59, 59);
    ASSERT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 12U);
}

// The day before and the day that comes again are other days each.
TEST_F(UserSessions, DayChange_AClockSetBackOverMidnightForgetsTheUseTwice) {
    for (const std::array<std::uint16_t, 3>& today : {std::array<std::uint16_t, 3>{2027, 1, 1}, {2026, 3, 30}}) {
        table.Forget();
        clock.Set(today[0], today[1], today[2], 0, 0, 1);
        const TarnSystemTime now = clock.Now();
        Use(10);
        clock.SetSeconds(*clock.ToSeconds(now) - 2);
        ASSERT_NE(clock.Now().day, now.day);
        ASSERT_TRUE(Record(TARN_EVENT_TICK));
        EXPECT_EQ(Only().usageTicks, 0U);
        ASSERT_TRUE(Record(TARN_EVENT_TICK));
        EXPECT_EQ(Only().usageTicks, 1U);
        clock.Set(now);
        ASSERT_TRUE(Record(TARN_EVENT_TICK));
        EXPECT_EQ(Only().usageTicks, 0U) << "what was used before the clock was set back is gone";
    }
}

TEST_F(UserSessions, ADateOfTodayThatIsNoneFails) {
    Use(5);
    for (const auto& [year, month, day] :
         {std::array<std::uint16_t, 3>{1899, 1, 1}, {2026, 0, 1}, {2026, 13, 1}, {2026, 1, 0}, {2026, 1, 32}}) {
        clock.Set(year, month, day);
        EXPECT_FALSE(Record(TARN_EVENT_TICK));
        EXPECT_FALSE(Record(5, Sid(2)));
    }
    EXPECT_EQ(Only().usageTicks, 5U);
    clock.Set(2026, 11, 21, 12);
    EXPECT_TRUE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().usageTicks, 6U);
}

TEST_F(UserSessions, AccountWithoutATimeFailsForGood) {
    UserSessionRecord record;
    record.sid = Sid(1);
    table.Append(record);
    EXPECT_FALSE(Record(5));
    EXPECT_FALSE(Record(TARN_EVENT_TICK));
    EXPECT_EQ(Only().loggedOn, 1) << "what comes before the day change stands";
    EXPECT_EQ(Only().sessionId, 3U);
    EXPECT_TRUE(SameTime(Only().lastUpdate, TarnSystemTime{}));
}

TEST(MatchUserSettings, TheFirstEntryWithTheIdentifier) {
    SettingsCopy settings =
        Settings({Entry(Sid(1)).AllowAllDays(1), Entry(Sid(2)).AllowAllDays(2), Entry(Sid(2)).AllowAllDays(3)});
    settings.entries[1].leading.exempt = 5;
    UserSessionRecord record;
    record.sid = Sid(2);
    EXPECT_TRUE(MatchUserSettings(record, settings));
    EXPECT_THAT(record.dailyAllowance, Each(2));
    EXPECT_EQ(record.controlled, 1);
    EXPECT_EQ(record.exempt, 5);
}

TEST(MatchUserSettings, ModeZeroMatchesEntriesLikeOnePerUser) {
    UserSessionRecord record;
    record.sid = Sid(2);
    EXPECT_TRUE(MatchUserSettings(record, Settings({Entry(Sid(1)), Entry(Sid(2)).AllowAllDays(2)}, TARN_PC_ABSENT)));
    EXPECT_THAT(record.dailyAllowance, Each(2));
}

TEST(MatchUserSettings, WithoutAnEntryNothingIsControlled) {
    for (const std::uint8_t mode : {std::uint8_t{0}, std::uint8_t{1}, kPerUser}) {
        UserSessionRecord record;
        record.sid = Sid(3);
        record.controlled = 1;
        record.exempt = 1;
        record.dailyAllowance.fill(9);
        EXPECT_FALSE(MatchUserSettings(record, Settings({}, mode)));
        EXPECT_EQ(record.controlled, 0);
        EXPECT_EQ(record.exempt, 1) << "the rest stays";
        EXPECT_THAT(record.dailyAllowance, Each(9));
    }
}

TEST(MatchUserSettings, AnInvalidIdentifierHasNoEntryOfItsOwn) {
    UserSessionRecord record;
    record.sid = Sid(1, 15);
    record.controlled = 1;
    EXPECT_FALSE(MatchUserSettings(record, Settings({Entry(Sid(1, 15))})));
    EXPECT_EQ(record.controlled, 0);
}

TEST(MatchUserSettings, OneScheduleForAllIsTheFirstEntry) {
    const SettingsCopy settings =
        Settings({Entry(Sid(1)).AllowAllDays(1), Entry(Sid(2)).AllowAllDays(2)}, TARN_PC_ONE_FOR_ALL);
    for (const std::uint8_t id : std::initializer_list<std::uint8_t>{1, 2, 3}) {
        UserSessionRecord record;
        record.sid = Sid(id);
        EXPECT_TRUE(MatchUserSettings(record, settings));
        EXPECT_THAT(record.dailyAllowance, Each(1)) << int{id};
        EXPECT_EQ(record.controlled, 1);
    }
}

}  // namespace
}  // namespace tarn::parental
