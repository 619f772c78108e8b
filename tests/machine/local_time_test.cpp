#include "machine/local_time.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>

namespace tarn::machine {
namespace {

TarnSystemTime Date(std::uint16_t year, std::uint16_t month, std::uint16_t day) {
    TarnSystemTime date{};
    date.year = year;
    date.month = month;
    date.day = day;
    return date;
}

TarnSystemTime At(TarnSystemTime date, std::uint16_t hour, std::uint16_t minute, std::uint16_t second) {
    date.hour = hour;
    date.minute = minute;
    date.second = second;
    return date;
}

TEST(LocalTime, DaysOfKnownDates) {
    EXPECT_EQ(DaysSince1970(Date(1970, 1, 1)), 0);
    EXPECT_EQ(DaysSince1970(Date(1970, 1, 2)), 1);
    EXPECT_EQ(DaysSince1970(Date(1969, 12, 31)), -1);
    EXPECT_EQ(DaysSince1970(Date(1900, 1, 1)), -25567);
    EXPECT_EQ(DaysSince1970(Date(1972, 3, 1)), 790);
    EXPECT_EQ(DaysSince1970(Date(2000, 1, 1)), 10957);
    EXPECT_EQ(DaysSince1970(Date(2026, 11, 21)), 20778);
    EXPECT_EQ(DaysSince1970(Date(3000, 12, 31)), kLastCalendarSecond / 86400);
}

TEST(LocalTime, TheTimeOfDayDoesNotCount) {
    EXPECT_EQ(DaysSince1970(At(Date(1970, 1, 1), 23, 59, 59)), 0);
    EXPECT_EQ(DaysSince1970(At(Date(1970, 1, 1), 99, 99, 99)), 0);
}

TEST(LocalTime, DatesOutsideTheCalendarAreRejected) {
    EXPECT_TRUE(DaysSince1970(Date(1900, 12, 31)));
    EXPECT_FALSE(DaysSince1970(Date(1899, 12, 31)));
    EXPECT_FALSE(DaysSince1970(Date(0, 0, 0)));
    EXPECT_FALSE(DaysSince1970(Date(2026, 0, 1)));
    EXPECT_FALSE(DaysSince1970(Date(2026, 13, 1)));
    EXPECT_FALSE(DaysSince1970(Date(2026, 1, 0)));
    EXPECT_FALSE(DaysSince1970(Date(2026, 1, 32)));
    EXPECT_TRUE(DaysSince1970(Date(65535, 12, 31)));
    EXPECT_FALSE(DaysSince1970(Date(65535, 65535, 65535)));
}

TEST(LocalTime, ADayPastItsMonthCountsOn) {
    EXPECT_EQ(DaysSince1970(Date(2026, 2, 31)), DaysSince1970(Date(2026, 3, 3)));
    EXPECT_EQ(DaysSince1970(Date(2028, 2, 30)), DaysSince1970(Date(2028, 3, 1)));
    EXPECT_EQ(DaysSince1970(Date(2026, 4, 31)), DaysSince1970(Date(2026, 5, 1)));
}

TEST(LocalTime, DaysBetweenDates) {
    EXPECT_EQ(DaysBetween(Date(2026, 11, 21), Date(2026, 11, 21)), 0);
    EXPECT_EQ(DaysBetween(Date(2026, 12, 31), Date(2027, 1, 1)), 1);
    EXPECT_EQ(DaysBetween(Date(2027, 1, 1), Date(2026, 12, 31)), -1);
    EXPECT_EQ(DaysBetween(Date(2028, 2, 28), Date(2028, 3, 1)), 2);
    EXPECT_EQ(DaysBetween(Date(2100, 2, 28), Date(2100, 3, 1)), 1);
    EXPECT_EQ(DaysBetween(At(Date(2026, 11, 21), 23, 59, 59), At(Date(2026, 11, 22), 0, 0, 0)), 1);
    EXPECT_FALSE(DaysBetween(Date(0, 0, 0), Date(2026, 11, 21)));
    EXPECT_FALSE(DaysBetween(Date(2026, 11, 21), Date(2026, 0, 21)));
}

TEST(LocalTime, SecondsOfKnownTimes) {
    EXPECT_EQ(SecondsFromUtc(Date(1970, 1, 1)), 0);
    EXPECT_EQ(SecondsFromUtc(At(Date(2001, 9, 9), 1, 46, 40)), 1000000000);
    EXPECT_EQ(SecondsFromUtc(At(Date(2038, 1, 19), 3, 14, 8)), 2147483648);
    EXPECT_EQ(SecondsFromUtc(At(Date(3000, 12, 31), 23, 59, 59)), kLastCalendarSecond);
}

TEST(LocalTime, TimesOutsideTheCalendarHaveNoSeconds) {
    EXPECT_FALSE(SecondsFromUtc(TarnSystemTime{}));
    EXPECT_FALSE(SecondsFromUtc(At(Date(1969, 12, 31), 23, 59, 59)));
    EXPECT_FALSE(SecondsFromUtc(Date(3001, 1, 1)));
    EXPECT_FALSE(SecondsFromUtc(At(Date(2026, 1, 1), 24, 0, 0)));
    EXPECT_FALSE(SecondsFromUtc(At(Date(2026, 1, 1), 0, 60, 0)));
    EXPECT_FALSE(SecondsFromUtc(At(Date(2026, 1, 1), 0, 0, 60)));
    EXPECT_FALSE(UtcFromSeconds(-1));
    EXPECT_FALSE(UtcFromSeconds(kLastCalendarSecond + 1));
    EXPECT_FALSE(UtcFromSeconds(INT64_MIN));
    EXPECT_FALSE(UtcFromSeconds(INT64_MAX));
}

// Every day of the calendar, each at another time of day, in order: a day follows the day before it.
TEST(LocalTime, EveryDayThereAndBack) {
    TarnSystemTime before{};
    for (std::int64_t day = 0; day <= kLastCalendarSecond / 86400; ++day) {
        const std::int64_t seconds = day * 86400 + day * 7919 % 86400;
        const auto utc = UtcFromSeconds(seconds);
        ASSERT_TRUE(utc) << seconds;
        ASSERT_EQ(SecondsFromUtc(*utc), seconds);
        ASSERT_EQ(DaysSince1970(*utc), day);
        ASSERT_EQ(utc->milliseconds + 0, 0);
        if (day == 0) {
            ASSERT_EQ(utc->dayOfWeek + 0, 4) << "a Thursday";
        } else {
            ASSERT_EQ(utc->dayOfWeek + 0, (before.dayOfWeek + 1) % 7);
            const bool nextDay = utc->year == before.year && utc->month == before.month && utc->day == before.day + 1;
            const bool nextMonth = utc->year == before.year && utc->month == before.month + 1 && utc->day == 1;
            const bool nextYear = utc->year == before.year + 1 && utc->month == 1 && utc->day == 1;
            ASSERT_TRUE(nextDay || nextMonth || nextYear) << seconds;
        }
        before = *utc;
    }
    EXPECT_EQ(before.year + 0, 3000);
}

}  // namespace
}  // namespace tarn::machine
