// The calendar and the clock against the system's own functions, in whatever time zone the process runs.
#include <bit>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <random>
#include <windows.h>

#include "machine/machine_win32.h"

namespace tarn::machine {
namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kFileTimeOf1970 = 11644473600;

std::int64_t SecondsOf(const SYSTEMTIME& utc) {
    FILETIME ticks;
    EXPECT_NE(SystemTimeToFileTime(&utc, &ticks), 0);
    return std::bit_cast<std::int64_t>(ticks) / kTicksPerSecond - kFileTimeOf1970;
}

bool SameTime(const TarnSystemTime& a, const TarnSystemTime& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(LocalTimeAgainstTheSystem, UtcCalendar) {
    std::mt19937_64 random(5);
    for (int round = 0; round < 100000; ++round) {
        const auto seconds = static_cast<std::int64_t>(random() % (kLastCalendarSecond + 1));
        const auto ticks = std::bit_cast<FILETIME>((seconds + kFileTimeOf1970) * kTicksPerSecond);
        SYSTEMTIME expected;
        ASSERT_NE(FileTimeToSystemTime(&ticks, &expected), 0);
        const auto utc = UtcFromSeconds(seconds);
        ASSERT_TRUE(utc && SameTime(*utc, std::bit_cast<TarnSystemTime>(expected))) << seconds;
        ASSERT_EQ(SecondsFromUtc(*utc), SecondsOf(expected));
    }
}

// Without daylight saving, midnights of two dates stand whole days apart in calendar times.
TEST(LocalTimeAgainstTheSystem, DaysBetweenMidnightsAsTheRunTimeConvertsThem) {
    const auto midnight = [](const TarnSystemTime& date) {
        std::tm fields{};
        fields.tm_year = date.year - 1900;
        fields.tm_mon = date.month - 1;
        fields.tm_mday = date.day;
        return _mktime64(&fields);
    };
    std::mt19937 random(6);
    for (int round = 0; round < 100000; ++round) {
        TarnSystemTime dates[2]{};
        for (TarnSystemTime& date : dates) {
            date.year = static_cast<std::uint16_t>(1971 + random() % 1000);
            date.month = static_cast<std::uint16_t>(1 + random() % 12);
            date.day = static_cast<std::uint16_t>(1 + random() % 31);
        }
        ASSERT_EQ(DaysBetween(dates[0], dates[1]), (midnight(dates[1]) - midnight(dates[0])) / 86400);
    }
}

TEST(LocalTimeAgainstTheSystem, NowIsBetweenTwoReadings) {
    const WindowsLocalClock clock;
    SYSTEMTIME before;
    SYSTEMTIME after;
    GetLocalTime(&before);
    const TarnSystemTime now = clock.Now();
    GetLocalTime(&after);
    FILETIME ticks[3];
    const auto nowFields = std::bit_cast<SYSTEMTIME>(now);
    ASSERT_NE(SystemTimeToFileTime(&before, &ticks[0]), 0);
    ASSERT_NE(SystemTimeToFileTime(&nowFields, &ticks[1]), 0);
    ASSERT_NE(SystemTimeToFileTime(&after, &ticks[2]), 0);
    EXPECT_LE(std::bit_cast<std::int64_t>(ticks[0]), std::bit_cast<std::int64_t>(ticks[1]));
    EXPECT_LE(std::bit_cast<std::int64_t>(ticks[1]), std::bit_cast<std::int64_t>(ticks[2]));
    EXPECT_LT(now.dayOfWeek + 0, 7);
}

TEST(LocalTimeAgainstTheSystem, ConversionsOfNow) {
    const WindowsLocalClock clock;
    SYSTEMTIME before;
    SYSTEMTIME after;
    GetSystemTime(&before);
    const auto seconds = clock.ToSeconds(clock.Now());
    GetSystemTime(&after);
    ASSERT_TRUE(seconds);
    EXPECT_LE(SecondsOf(before), *seconds);
    EXPECT_LE(*seconds, SecondsOf(after));
}

TEST(LocalTimeAgainstTheSystem, TimesOutsideTheCalendar) {
    const WindowsLocalClock clock;
    EXPECT_FALSE(clock.ToSeconds(TarnSystemTime{}));
    EXPECT_FALSE(clock.ToLocal(-1));
    EXPECT_FALSE(clock.ToLocal(INT64_MAX));
    TarnSystemTime impossible = clock.Now();
    impossible.month = 13;
    EXPECT_FALSE(clock.ToSeconds(impossible));
}

// Each local time of the hour that the clock passes twice has one of its two times, so the other comes back an hour
// off.
TEST(LocalTimeAgainstTheSystem, LocalTimesThereAndBack) {
    const WindowsLocalClock clock;
    TIME_ZONE_INFORMATION zone{};
    ASSERT_NE(GetTimeZoneInformation(&zone), TIME_ZONE_ID_INVALID);
    // CTest runs this program once more in such a zone.
    if (std::getenv("TARN_TEST_SUMMER_TIME") != nullptr) {
        ASSERT_NE(zone.DaylightDate.wMonth, 0);
    }
    int repeated = 0;
    constexpr std::int64_t kStep = 1800;
    constexpr std::int64_t kYear2026 = 1767225600;
    for (std::int64_t seconds = kYear2026; seconds < kYear2026 + 365 * 86400; seconds += kStep) {
        const auto local = clock.ToLocal(seconds);
        ASSERT_TRUE(local) << seconds;
        const auto back = clock.ToSeconds(*local);
        ASSERT_TRUE(back) << seconds;
        if (*back == seconds) continue;
        ASSERT_EQ(std::abs(*back - seconds), 3600) << seconds;
        ASSERT_TRUE(SameTime(*clock.ToLocal(*back), *local));
        ++repeated;
    }
    EXPECT_EQ(repeated, zone.DaylightDate.wMonth != 0 ? 3600 / kStep : 0);
}

}  // namespace
}  // namespace tarn::machine
