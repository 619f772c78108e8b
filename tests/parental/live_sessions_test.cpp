#include "parental/live_sessions.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

#include "parental/scripted_sessions.h"

namespace tarn::parental {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class LiveSessions : public ::testing::Test {
 protected:
    void Enumerate() { EnumerateLiveSessions(table, settings, source, clock); }

    UserSessionTable table;
    SettingsCopy settings;
    ScriptedSessions source;
    SummerTimeClock clock;
};

TEST_F(LiveSessions, ANewAccountGetsARecord) {
    settings = Settings({Entry(Sid(1)).AllowAllDays(3)});
    source.sessions = {{2, u"HOME", u"Anna"}};
    source.accounts = {{u"HOME\\Anna", LongSid(1)}};
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    const UserSessionRecord& record = table.Records()[0];
    EXPECT_EQ(record.lastEvent, 1U);
    EXPECT_EQ(record.sessionId, 2U);
    EXPECT_EQ(record.sid, Sid(1));
    EXPECT_EQ(record.accountTag, 0U);
    EXPECT_EQ(base::FieldText(record.userName), u"Anna");
    EXPECT_EQ(record.loggedOn, 1);
    EXPECT_TRUE(SameTime(record.firstSeen, clock.Now()));
    EXPECT_TRUE(SameTime(record.lastUpdate, clock.Now()));
    EXPECT_EQ(record.usageTicks, 0U);
    EXPECT_EQ(record.blocked, 0);
    EXPECT_EQ(record.controlled, 1);
    EXPECT_THAT(record.dailyAllowance, Each(3));
}

TEST_F(LiveSessions, AKnownAccountKeepsAllButItsSession) {
    UserSessionRecord known;
    known.sid = Sid(1);
    known.accountTag = 5;
    known.usageTicks = 40;
    known.blocked = 1;
    table.Append(known);
    settings = Settings({Entry(Sid(1))});
    source.sessions = {{7, u"HOME", u"Anna"}};
    source.accounts = {{u"HOME\\Anna", LongSid(1)}};
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    const UserSessionRecord& record = table.Records()[0];
    EXPECT_EQ(record.loggedOn, 1);
    EXPECT_EQ(record.sessionId, 7U);
    EXPECT_EQ(record.lastEvent, 0U);
    EXPECT_EQ(record.accountTag, 5U);
    EXPECT_EQ(record.usageTicks, 40U);
    EXPECT_EQ(record.blocked, 1);
    EXPECT_EQ(record.controlled, 0);
    EXPECT_TRUE(SameTime(record.lastUpdate, TarnSystemTime{}));
}

TEST_F(LiveSessions, OfTwoSessionsOfOneAccountTheLastCounts) {
    source.sessions = {{1, u"HOME", u"Anna"}, {4, u"HOME", u"Anna"}};
    source.accounts = {{u"HOME\\Anna", LongSid(1)}};
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    EXPECT_EQ(table.Records()[0].sessionId, 4U);
}

TEST_F(LiveSessions, SessionsWithoutAUserAreSkipped) {
    source.sessions = {{0, u"HOME", u""}, {1, u"", u""}, {2, u"HOME", u"Ben"}};
    source.accounts = {{u"HOME\\Ben", LongSid(2)}};
    Enumerate();
    EXPECT_THAT(source.asked, ElementsAre(u"HOME\\Ben"));
    ASSERT_THAT(table.Records(), SizeIs(1));
    EXPECT_EQ(table.Records()[0].sid, Sid(2));
}

TEST_F(LiveSessions, WithoutADomainTheUserAloneIsResolved) {
    source.sessions = {{1, u"", u"Anna"}};
    source.accounts = {{u"Anna", LongSid(1)}};
    Enumerate();
    EXPECT_THAT(source.asked, ElementsAre(u"Anna"));
    EXPECT_THAT(table.Records(), SizeIs(1));
}

TEST_F(LiveSessions, UnresolvedAccountsAreSkipped) {
    source.sessions = {{1, u"HOME", u"Anna"}, {2, u"HOME", u"Ben"}, {3, u"HOME", u"Cleo"}, {4, u"HOME", u"Dora"}};
    source.accounts = {{u"HOME\\Ben", LongSid(2, 15)}, {u"HOME\\Cleo", {}}, {u"HOME\\Dora", LongSid(4, 14)}};
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    EXPECT_EQ(table.Records()[0].sid, Sid(4, 14));
}

TEST_F(LiveSessions, AFailedEnumerationDoesNothing) {
    source.sessions = {{1, u"", u"Anna"}};
    source.accounts = {{u"Anna", LongSid(1)}};
    source.listFails = true;
    Enumerate();
    EXPECT_THAT(table.Records(), IsEmpty());
    EXPECT_THAT(source.asked, IsEmpty());
    EXPECT_FALSE(table.IsWorthSaving());
}

TEST_F(LiveSessions, ALongNameIsCutInTheRecordOnly) {
    const std::u16string name(300, u'n');
    source.sessions = {{1, u"", name}};
    source.accounts = {{name, LongSid(1)}};
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    EXPECT_EQ(base::FieldText(table.Records()[0].userName), name.substr(0, 259));
}

}  // namespace
}  // namespace tarn::parental
