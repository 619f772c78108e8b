#include "api/social_reminder.h"

#include <charconv>

namespace tarn::api {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kDaysUntilDue = 15;

// The leading decimal number of a text, blanks before it allowed; 0 when there is none.
std::int64_t LeadingNumber(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == std::string_view::npos) return 0;
    text.remove_prefix(start);
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

SocialDateTime LikeTime(SocialFacts& facts, std::string_view text) {
    const std::int64_t seconds = LeadingNumber(text);
    if (seconds <= 0) return {};
    return facts.ToLocal(seconds).value_or(SocialDateTime{});
}

bool FieldsInRange(const SocialDateTime& time) {
    return time.year >= 1900 && time.month >= 1 && time.month <= 12 && time.day >= 1 && time.day <= 31 &&
           time.hour < 24 && time.minute < 60 && time.second < 60;
}

SocialResult Convert(SocialFacts& facts, const SocialDateTime& time, std::int64_t& seconds) {
    if (!FieldsInRange(time)) return SocialResult::kFieldOutOfRange;
    seconds = facts.ToSeconds(time);
    return seconds == -1 ? SocialResult::kConversionImpossible : SocialResult::kOk;
}

}  // namespace

SocialResult IsSocialReminderDue(SocialFacts& facts, bool& due, std::int64_t& elapsedSeconds) {
    due = false;
    const std::optional<std::uint32_t> online = facts.OnlineHandle();
    if (!online) return SocialResult::kFailed;
    if (*online == 1) return SocialResult::kOk;
    const std::optional<std::string_view> text = facts.LikeText();
    if (!text) {
        due = true;
        return SocialResult::kOk;
    }
    const SocialDateTime like = LikeTime(facts, *text);
    std::int64_t likeSeconds = like.year >= 1900 ? facts.ToSeconds(like) : 0;
    if (likeSeconds == -1 || likeSeconds == 0) return SocialResult::kOk;

    if (const SocialResult result = Convert(facts, like, likeSeconds); result != SocialResult::kOk) return result;
    std::int64_t nowSeconds = 0;
    if (const SocialResult result = Convert(facts, facts.Now(), nowSeconds); result != SocialResult::kOk) return result;
    elapsedSeconds = nowSeconds - likeSeconds;
    due = elapsedSeconds / kSecondsPerDay >= kDaysUntilDue;
    return SocialResult::kOk;
}

}  // namespace tarn::api
