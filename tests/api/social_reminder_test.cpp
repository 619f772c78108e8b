#include "api/social_reminder.h"

#include <ctime>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

namespace tarn::api {
namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kNow = 1'700'000'000;

SocialDateTime DateTimeOf(std::int64_t seconds) {
    // Days since 1970 into a date of the Gregorian calendar, with years that begin in March.
    const std::int64_t days = seconds / kDay;
    const std::int64_t ofDay = seconds % kDay;
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = shifted / 146097;
    const std::int64_t ofEra = shifted % 146097;
    const std::int64_t year = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * year + year / 4 - year / 100);
    const std::int64_t month = (5 * ofYear + 2) / 153;
    SocialDateTime time;
    time.day = static_cast<std::uint16_t>(ofYear - (153 * month + 2) / 5 + 1);
    time.month = static_cast<std::uint16_t>(month < 10 ? month + 3 : month - 9);
    time.year = static_cast<std::uint16_t>(era * 400 + year + (time.month <= 2 ? 1 : 0));
    time.dayOfWeek = static_cast<std::uint16_t>((days + 4) % 7);
    time.hour = static_cast<std::uint16_t>(ofDay / kHour);
    time.minute = static_cast<std::uint16_t>(ofDay / 60 % 60);
    time.second = static_cast<std::uint16_t>(ofDay % 60);
    return time;
}

std::int64_t SecondsOf(const SocialDateTime& time) {
    const std::int64_t year = time.month <= 2 ? time.year - 1 : time.year;
    const std::int64_t ofEra = year % 400;
    const std::int64_t ofYear = (153 * (time.month + (time.month > 2 ? -3 : 9)) + 2) / 5 + time.day - 1;
    const std::int64_t days = year / 400 * 146097 + ofEra * 365 + ofEra / 4 - ofEra / 100 + ofYear - 719468;
    return days * kDay + time.hour * kHour + time.minute * 60 + time.second;
}

// A clock without time zones, and an ini file of two values.
class Facts final : public SocialFacts {
 public:
    std::optional<std::uint32_t> online = 0;
    std::optional<std::string> like;
    SocialDateTime now = DateTimeOf(kNow);
    std::optional<SocialDateTime> convertedLike;  // instead of the true local time
    bool canConvertToLocal = true;
    int conversionsThatWork = 1000;  // ToSeconds calls before they begin to fail
    int likeReads = 0;
    int localConversions = 0;

    std::optional<std::uint32_t> OnlineHandle() override { return online; }
    std::optional<std::string_view> LikeText() override {
        ++likeReads;
        if (!like) return std::nullopt;
        return *like;
    }
    SocialDateTime Now() override { return now; }
    std::optional<SocialDateTime> ToLocal(std::int64_t seconds) override {
        ++localConversions;
        if (!canConvertToLocal) return std::nullopt;
        return convertedLike.value_or(DateTimeOf(seconds));
    }
    std::int64_t ToSeconds(const SocialDateTime& local) override {
        return --conversionsThatWork < 0 ? -1 : SecondsOf(local);
    }
};

constexpr std::int64_t kUntouched = -12345;

struct Answer {
    SocialResult result = SocialResult::kFailed;
    bool due = false;
    std::int64_t elapsed = kUntouched;
    bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Answer& answer) {
    return stream << "{result " << static_cast<int>(answer.result) << ", due " << answer.due << ", elapsed "
                  << answer.elapsed << "}";
}

// due starts set, to see that it is cleared first.
Answer Ask(Facts& facts) {
    Answer answer{.due = true};
    answer.result = IsSocialReminderDue(facts, answer.due, answer.elapsed);
    return answer;
}

Facts LikedAgo(std::int64_t seconds) {
    Facts facts;
    facts.like = std::to_string(kNow - seconds);
    return facts;
}

TEST(SocialReminderDue, TheClockOfTheTestGoesBothWays) {
    for (const std::int64_t seconds : {std::int64_t{1}, kDay * 59, kDay * 60, kNow, kNow + 86399}) {
        EXPECT_EQ(SecondsOf(DateTimeOf(seconds)), seconds);
    }
    EXPECT_EQ(DateTimeOf(kNow).year, 2023);
    EXPECT_EQ(DateTimeOf(kNow).dayOfWeek, 2);
}

TEST(SocialReminderDue, WithoutTheIniPathItFails) {
    Facts facts = LikedAgo(20 * kDay);
    facts.online.reset();
    EXPECT_EQ(Ask(facts), (Answer{SocialResult::kFailed, false}));
    EXPECT_EQ(facts.likeReads, 0);
}

TEST(SocialReminderDue, HandledOnlineIsNeverDue) {
    for (const std::optional<std::string>& like :
         {std::optional<std::string>{}, std::optional<std::string>{"1"}, std::optional<std::string>{"junk"}}) {
        Facts facts;
        facts.online = 1;
        facts.like = like;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, false}));
        EXPECT_EQ(facts.likeReads, 0);
    }
}

TEST(SocialReminderDue, OnlyOneMeansHandledOnline) {
    for (const std::uint32_t online : {0U, 2U, 0xFFFFFFFFU}) {
        Facts facts;
        facts.online = online;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, true})) << online;
    }
}

TEST(SocialReminderDue, WithoutALikeItIsDue) {
    Facts facts;
    EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, true}));
    EXPECT_EQ(facts.localConversions, 0);
}

TEST(SocialReminderDue, DueFromExactlyFifteenDays) {
    const struct {
        std::int64_t ago;
        bool due;
    } cases[] = {{0, false},        {14 * kDay + 23 * kHour, false}, {15 * kDay - 1, false},
                 {15 * kDay, true}, {15 * kDay + 1, true},           {400 * kDay, true}};
    for (const auto& c : cases) {
        Facts facts = LikedAgo(c.ago);
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, c.due, c.ago})) << c.ago;
    }
}

TEST(SocialReminderDue, ALikeInTheFutureIsNotDue) {
    for (const std::int64_t ahead : {std::int64_t{1}, 15 * kDay, 400 * kDay}) {
        Facts facts = LikedAgo(-ahead);
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, false, -ahead})) << ahead;
    }
}

TEST(SocialReminderDue, NumbersThatAreNotPositiveAreNotDue) {
    for (const char* text : {"0", "-1", "-99999999999", "+0", " 0", "junk", " ", "+", "-", "++5", "x1"}) {
        Facts facts;
        facts.like = text;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, false})) << text;
        EXPECT_EQ(facts.localConversions, 0) << text;
    }
}

TEST(SocialReminderDue, TheNumberIsWhatATextBeginsWith) {
    const std::string number = std::to_string(kNow - 20 * kDay);
    for (const std::string& text :
         {number, "  " + number, "\t+" + number, number + "abc", number + ".9", "000" + number}) {
        Facts facts;
        facts.like = text;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kOk, true, 20 * kDay})) << text;
    }
}

TEST(SocialReminderDue, ALikeThatCannotBeConvertedIsNotDue) {
    Facts noLocalTime = LikedAgo(20 * kDay);
    noLocalTime.canConvertToLocal = false;
    EXPECT_EQ(Ask(noLocalTime), (Answer{SocialResult::kOk, false}));
    Facts noSeconds = LikedAgo(20 * kDay);
    noSeconds.conversionsThatWork = 0;
    EXPECT_EQ(Ask(noSeconds), (Answer{SocialResult::kOk, false}));
    Facts epoch = LikedAgo(20 * kDay);
    epoch.convertedLike = DateTimeOf(0);
    EXPECT_EQ(Ask(epoch), (Answer{SocialResult::kOk, false})) << "second 0 counts as no like";
}

TEST(SocialReminderDue, ConversionsThatFailLaterAreErrors) {
    for (const int working : {1, 2}) {
        Facts facts = LikedAgo(20 * kDay);
        facts.conversionsThatWork = working;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kConversionImpossible, false})) << working;
    }
    Facts enough = LikedAgo(20 * kDay);
    enough.conversionsThatWork = 3;
    EXPECT_EQ(Ask(enough), (Answer{SocialResult::kOk, true, 20 * kDay}));
}

TEST(SocialReminderDue, FieldsOutOfRangeAreErrors) {
    const SocialDateTime good = DateTimeOf(kNow);
    const struct {
        std::uint16_t SocialDateTime::*field;
        std::uint16_t inside;
        std::uint16_t outside;
    } cases[] = {{&SocialDateTime::year, 1900, 1899}, {&SocialDateTime::month, 1, 0},
                 {&SocialDateTime::month, 12, 13},    {&SocialDateTime::day, 1, 0},
                 {&SocialDateTime::day, 31, 32},      {&SocialDateTime::hour, 23, 24},
                 {&SocialDateTime::minute, 59, 60},   {&SocialDateTime::second, 59, 60}};
    for (const auto& c : cases) {
        Facts facts = LikedAgo(20 * kDay);
        facts.now = good;
        facts.now.*(c.field) = c.outside;
        EXPECT_EQ(Ask(facts), (Answer{SocialResult::kFieldOutOfRange, false})) << "now " << c.outside;
        facts.now.*(c.field) = c.inside;
        EXPECT_EQ(Ask(facts).result, SocialResult::kOk) << "now " << c.inside;

        facts.now = good;
        facts.convertedLike = good;
        (*facts.convertedLike).*(c.field) = c.outside;
        // A year before 1900 is no date at all, so there is nothing to be in range.
        const bool noDate = c.field == &SocialDateTime::year;
        EXPECT_EQ(Ask(facts), (Answer{noDate ? SocialResult::kOk : SocialResult::kFieldOutOfRange, false}))
            << "like " << c.outside;
    }
}

}  // namespace
}  // namespace tarn::api
