// Decides whether the social-network reminder is due: not handled online, and the last "like" missing or 15 days old.
// A pure decision on the facts that it is handed; nothing in the library reads the answer back.
#ifndef TARN_API_SOCIAL_REMINDER_H
#define TARN_API_SOCIAL_REMINDER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarn::api {

// Eight-word local time without its last two words; all zero when there is none.
struct SocialDateTime {
    std::uint16_t year = 0;
    std::uint16_t month = 0;
    std::uint16_t dayOfWeek = 0;
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
};

// What the decision reads: the ini file's two values and the clock.
class SocialFacts {
 public:
    virtual ~SocialFacts() = default;
    // The "FBOnlineHandle" number; nothing when the ini file's path cannot be built.
    virtual std::optional<std::uint32_t> OnlineHandle() = 0;
    // The "FBLike" text; nothing when it is missing, empty or too long (259 characters or more).
    virtual std::optional<std::string_view> LikeText() = 0;
    virtual SocialDateTime Now() = 0;
    // Local time of seconds since 1970; nothing when they cannot be converted.
    virtual std::optional<SocialDateTime> ToLocal(std::int64_t seconds) = 0;
    // Seconds since 1970 of a local time; -1 when it cannot be converted.
    virtual std::int64_t ToSeconds(const SocialDateTime& local) = 0;
};

enum class SocialResult {
    kOk,
    kFailed,               // the ini file's path could not be built
    kFieldOutOfRange,      // error 0x80004005: a field of a date lies outside its range
    kConversionImpossible  // error 0x80070057
};

// due and elapsedSeconds are written as far as the decision gets.
SocialResult IsSocialReminderDue(SocialFacts& facts, bool& due, std::int64_t& elapsedSeconds);

}  // namespace tarn::api

#endif
