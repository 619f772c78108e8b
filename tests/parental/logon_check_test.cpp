#include "parental/logon_check.h"

#include <cstdint>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <string>

#include "parental/session_builders.h"

namespace tarn::parental {
namespace {

using testing::Each;
using testing::IsEmpty;

constexpr std::uint8_t kUntouched = 0xCC;
constexpr std::uint8_t kGrid = 1;
constexpr std::size_t kSaturday = 6;

class LogonCheck : public ::testing::Test {
 protected:
    bool Scan(std::uint32_t code, const AccountSid& sid = Sid(1), std::uint32_t sessionId = 3) {
        std::memset(static_cast<void*>(&verdict), kUntouched, sizeof verdict);
        return ScanLogonEvent(Event(code, sid, sessionId), verdict, table, settings, clock);
    }
    [[nodiscard]] bool IsBlock() const { return verdict.action == TARN_BLOCK; }
    // Only the preset fields were written.
    void ExpectOnlyPreset(std::uint32_t sessionId = 3) const {
        EXPECT_EQ(+verdict.action, 1U);
        EXPECT_EQ(+verdict.reason, TARN_REASON_PARENTAL_CONTROL);
        EXPECT_EQ(+verdict.sessionId, sessionId);
        std::uint8_t bytes[sizeof verdict];
        std::memcpy(bytes, &verdict, sizeof bytes);
        EXPECT_EQ(bytes[8], kUntouched);
        EXPECT_THAT(std::span(bytes).subspan(13), Each(kUntouched));
    }
    [[nodiscard]] std::u16string VerdictName() const {
        std::array<char16_t, 260> name;
        std::memcpy(name.data(), &verdict.userName, sizeof name);
        return std::u16string(base::FieldText(name));
    }
    UserSessionRecord& Only() {
        EXPECT_EQ(table.Records().size(), 1U);
        return table.Records().front();
    }

    UserSessionTable table;
    SettingsCopy settings;
    SummerTimeClock clock;
    LogonVerdict verdict{};
};

TEST_F(LogonCheck, AnAccountWithoutSettingsIsAllowed) {
    for (const std::uint32_t code : {1U, 4U, 5U, 7U, 0U, 9U, 2U, 3U, 6U, 8U, 10U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(Scan(code)) << code;
        ExpectOnlyPreset();
    }
}

TEST_F(LogonCheck, WhatCannotBeRecordedIsFalseWithThePresetVerdict) {
    EXPECT_FALSE(Scan(kLogon, Sid(1, 15), 8));
    ExpectOnlyPreset(8);
    for (const std::uint32_t code : {0U, 2U, 3U, 6U, 8U, 9U, 10U}) {
        EXPECT_FALSE(Scan(code)) << code;
        ExpectOnlyPreset();
    }
    EXPECT_THAT(table.Records(), IsEmpty());
}

TEST_F(LogonCheck, ADateThatIsNoneIsFalseWithThePresetVerdict) {
    settings = Settings({Entry(Sid(1))});
    for (const auto& [year, month, day] : {std::array<std::uint16_t, 3>{1899, 12, 31}, {2026, 13, 1}, {2026, 1, 32}}) {
        clock.Set(year, month, day);
        EXPECT_FALSE(Scan(kLogon));
        ExpectOnlyPreset();
    }
    EXPECT_THAT(table.Records(), IsEmpty());
}

TEST_F(LogonCheck, ARefusalCarriesTheAccount) {
    settings = Settings({Entry(Sid(1))});
    ASSERT_TRUE(Scan(kLogon, Sid(1), 8));
    EXPECT_EQ(+verdict.action, 0U);
    EXPECT_EQ(+verdict.reason, TARN_REASON_PARENTAL_CONTROL);
    EXPECT_EQ(+verdict.reserved8, 0);
    EXPECT_EQ(+verdict.sessionId, 8U);
    EXPECT_EQ(std::memcmp(verdict.sid, Sid(1).data(), sizeof verdict.sid), 0);
    EXPECT_EQ(+verdict.accountTag, 77U);
    EXPECT_EQ(VerdictName(), u"Anna");
    EXPECT_EQ(Only().blocked, 1);
}

// The tag and the name are those of the account's first event.
TEST_F(LogonCheck, ARefusalNamesTheRecordNotTheEvent) {
    settings = Settings({Entry(Sid(1))});
    ASSERT_TRUE(Scan(kLogon));
    ASSERT_TRUE(ScanLogonEvent(Event(kLogon, Sid(1), 3, 1000, u"Somebody"), verdict, table, settings, clock));
    EXPECT_EQ(+verdict.accountTag, 77U);
    EXPECT_EQ(VerdictName(), u"Anna");
}

TEST_F(LogonCheck, ANameOf260CharactersIsCutOnTheWayIn) {
    settings = Settings({Entry(Sid(1))});
    const std::u16string name(260, u'n');
    ASSERT_TRUE(ScanLogonEvent(Event(kLogon, Sid(1), 3, 77, name), verdict, table, settings, clock));
    EXPECT_EQ(VerdictName(), name.substr(1));
}

TEST_F(LogonCheck, NameWithoutItsNulIsEmptied) {
    settings = Settings({Entry(Sid(1))});
    ASSERT_TRUE(Scan(kLogon));
    Only().userName.fill(u'n');
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(IsBlock());
    EXPECT_EQ(VerdictName(), u"");
}

TEST_F(LogonCheck, WhichEventsAreJudged) {
    settings = Settings({Entry(Sid(1), kGrid)});
    ASSERT_TRUE(Scan(kLogon));
    for (std::uint32_t code = 0; code <= 12; ++code) {
        const bool judged = code == 0 || code == 1 || code == 4 || code == 5 || code == 7 || code == 9;
        ASSERT_TRUE(Scan(code));
        EXPECT_EQ(IsBlock(), judged) << code;
        if (!judged) ExpectOnlyPreset();
    }
    ASSERT_TRUE(Scan(0xFFFFFFFF));
    ExpectOnlyPreset();
}

TEST_F(LogonCheck, OnlyADisconnectClearsARefusal) {
    settings = Settings({Entry(Sid(1), kGrid)});
    for (const std::uint32_t disconnect : {2U, 3U}) {
        ASSERT_TRUE(Scan(kLogon));
        ASSERT_TRUE(IsBlock());
        for (const std::uint32_t code : {6U, 8U, 10U}) {
            ASSERT_TRUE(Scan(code));
            EXPECT_EQ(Only().blocked, 1) << code;
        }
        settings = Settings({Entry(Sid(1), kGrid).AllowHour(kSaturday, 12)});
        Only().exempt = 1;
        ASSERT_TRUE(Scan(kLogon));
        ExpectOnlyPreset();
        EXPECT_EQ(Only().blocked, 1) << "allowed, and still marked";
        ASSERT_TRUE(Scan(disconnect));
        ExpectOnlyPreset();
        EXPECT_EQ(Only().blocked, 0);
        Only().exempt = 0;
    }
}

TEST_F(LogonCheck, NotControlledOrExempt) {
    Entry entry(Sid(1), kGrid);
    struct Case {
        std::uint8_t controlled, exempt;
        bool block;
    };
    for (const Case& each :
         {Case{0, 0, false}, {0, 1, false}, {1, 0, true}, {1, 1, false}, {2, 2, true}, {255, 0, true}}) {
        entry.leading.controlled = each.controlled;
        entry.leading.exempt = each.exempt;
        settings = Settings({entry});
        table.Forget();
        ASSERT_TRUE(Scan(kLogon));
        EXPECT_EQ(IsBlock(), each.block) << int{each.controlled} << ' ' << int{each.exempt};
    }
}

TEST_F(LogonCheck, AnEmptyGridRefusesEveryHour) {
    settings = Settings({Entry(Sid(1), kGrid).AllowAllDays(24)});
    for (std::uint16_t day = 15; day < 22; ++day) {
        for (std::uint16_t hour = 0; hour < 24; ++hour) {
            clock.Set(2026, 11, day, hour, 59);
            ASSERT_TRUE(Scan(kLogon));
            EXPECT_TRUE(IsBlock()) << day << ' ' << hour;
        }
    }
}

// 2026-11-15 is a Sunday.
TEST_F(LogonCheck, EachGridByteIsOneHourOfOneWeekday) {
    for (std::uint16_t weekday = 0; weekday < 7; ++weekday) {
        for (std::uint16_t hour = 0; hour < 24; ++hour) {
            settings = Settings({Entry(Sid(1), kGrid).AllowHour(weekday, hour)});
            table.Forget();
            int allowed = 0;
            for (std::uint16_t atDay = 0; atDay < 7; ++atDay) {
                for (std::uint16_t atHour = 0; atHour < 24; ++atHour) {
                    clock.Set(2026, 11, static_cast<std::uint16_t>(15 + atDay), atHour, 30);
                    ASSERT_TRUE(Scan(kLogon));
                    if (!IsBlock()) ++allowed;
                    ASSERT_EQ(!IsBlock(), atDay == weekday && atHour == hour);
                }
            }
            EXPECT_EQ(allowed, 1);
        }
    }
}

TEST_F(LogonCheck, WithTheGridTheAllowanceDoesNotCount) {
    settings = Settings({Entry(Sid(1), kGrid).AllowHour(kSaturday, 12)});
    settings.entries[0].leading.hourGrid[12 * 7 + kSaturday] = 0xFF;
    EXPECT_TRUE(Scan(kLogon));
    ExpectOnlyPreset();
}

TEST_F(LogonCheck, AnyOtherModeIsTheAllowance) {
    for (const std::uint8_t mode : std::initializer_list<std::uint8_t>{0, 2, 255}) {
        settings = Settings({Entry(Sid(1), mode).AllowHour(kSaturday, 12)});
        table.Forget();
        ASSERT_TRUE(Scan(kLogon));
        EXPECT_TRUE(IsBlock());
        settings = Settings({Entry(Sid(1), mode).Allow(kSaturday, 1)});
        table.Forget();
        ASSERT_TRUE(Scan(kLogon));
        EXPECT_FALSE(IsBlock());
    }
}

TEST_F(LogonCheck, TheTickThatFillsTheAllowanceRefuses) {
    settings = Settings({Entry(Sid(1)).Allow(kSaturday, 2)});
    ASSERT_TRUE(Scan(kLogon));
    for (std::uint32_t tick = 1; tick <= 119; ++tick) {
        ASSERT_TRUE(Scan(TARN_EVENT_TICK));
        ASSERT_FALSE(IsBlock()) << tick;
    }
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_TRUE(IsBlock());
    EXPECT_EQ(Only().usageTicks, 120U);
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(IsBlock()) << "also the next logon of the day";
}

TEST_F(LogonCheck, TheAllowanceIsThatOfTheWeekday) {
    settings = Settings({Entry(Sid(1)).Allow(0, 1).Allow(3, 0xFFFF)});
    for (std::uint16_t weekday = 0; weekday < 7; ++weekday) {
        clock.Set(2026, 11, static_cast<std::uint16_t>(15 + weekday), 8);
        ASSERT_TRUE(Scan(kLogon));
        EXPECT_EQ(IsBlock(), weekday != 0 && weekday != 3) << weekday;
    }
}

TEST_F(LogonCheck, ANewDayHasItsWholeAllowance) {
    settings = Settings({Entry(Sid(1)).AllowAllDays(1)});
    ASSERT_TRUE(Scan(kLogon));
    for (std::uint32_t tick = 0; tick < 60; ++tick) ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    ASSERT_TRUE(IsBlock());
    clock.Set(2026, 11, 22);
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_FALSE(IsBlock());
    EXPECT_EQ(Only().blocked, 1) << "marked until a disconnect";
}

TEST_F(LogonCheck, AClockThatWasSetBackIsBelieved) {
    settings = Settings({Entry(Sid(1), kGrid).AllowHour(kSaturday, 12)});
    clock.Set(2026, 11, 21, 13);
    ASSERT_TRUE(Scan(kLogon));
    EXPECT_TRUE(IsBlock());
    clock.Set(2026, 11, 21, 12, 59, 59);
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_FALSE(IsBlock());
    clock.Set(2026, 11, 20, 12);
    ASSERT_TRUE(Scan(TARN_EVENT_TICK));
    EXPECT_TRUE(IsBlock()) << "the day before has no hour";
}

TEST_F(LogonCheck, OneScheduleForAllJudgesAccountsThatAreNotListed) {
    settings = Settings({Entry(Sid(1), kGrid)}, TARN_PC_ONE_FOR_ALL);
    ASSERT_TRUE(Scan(kLogon, Sid(9)));
    EXPECT_TRUE(IsBlock());
}

TEST_F(LogonCheck, AccountsAreJudgedApart) {
    settings = Settings({Entry(Sid(1), kGrid), Entry(Sid(2)).AllowAllDays(1)});
    ASSERT_TRUE(Scan(kLogon, Sid(1)));
    EXPECT_TRUE(IsBlock());
    ASSERT_TRUE(Scan(kLogon, Sid(2)));
    EXPECT_FALSE(IsBlock());
    ASSERT_TRUE(Scan(kLogon, Sid(3)));
    EXPECT_FALSE(IsBlock());
}

TEST_F(LogonCheck, RecordsMayStandAtOddAddresses) {
    settings = Settings({Entry(Sid(1))});
    const auto block = std::make_unique<std::uint8_t[]>(1 + sizeof(LogonEvent));
    const auto out = std::make_unique<std::uint8_t[]>(1 + sizeof(LogonVerdict));
    const LogonEvent event = Event(kLogon, Sid(1));
    std::memcpy(&block[1], &event, sizeof event);
    ASSERT_TRUE(ScanLogonEvent(*reinterpret_cast<const LogonEvent*>(&block[1]),
                               *reinterpret_cast<LogonVerdict*>(&out[1]), table, settings, clock));
    std::memcpy(static_cast<void*>(&verdict), &out[1], sizeof verdict);
    EXPECT_TRUE(IsBlock());
    EXPECT_EQ(VerdictName(), u"Anna");
}

}  // namespace
}  // namespace tarn::parental
