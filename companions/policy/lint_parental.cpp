// What the numbers, accounts and times under parental surely do not mean.
#include <algorithm>
#include <array>

#include "policy/lint_rules.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::array<std::string_view, 7> kDays = {"sunday",   "monday", "tuesday", "wednesday",
                                                   "thursday", "friday", "saturday"};

bool HasTimes(const ParentalUser& user) {
    return std::any_of(user.times.begin(), user.times.end(), [](const auto& day) { return !day.empty(); });
}

std::uint32_t StartOf(const TimeRange& range) {
    return range.startHour * 60 + range.startMinute;
}
std::uint32_t EndOf(const TimeRange& range) {
    return range.endHour * 60 + range.endMinute;
}
std::string TextOf(const TimeRange& range) {
    return fmt::format("{:02}:{:02}-{:02}:{:02}", range.startHour, range.startMinute, range.endHour, range.endMinute);
}

// A switch that is off though something stands under it.
void Switches(Lint& lint, const ParentalUser& user) {
    const auto need = [&](bool isOn, bool isUsed, std::string_view what, std::string_view key) {
        if (!isOn && isUsed)
            lint.Warn(user.place, fmt::format("parental.users: {} without effect: write {} = true", what, key));
    };
    need(user.blockList, !user.siteRules.empty(), "blocked_sites are", "block_list");
    need(user.categories, !user.blockedCategories.empty(), "blocked_categories are", "categories");
    need(user.schedule, HasTimes(user), "the times of schedule are", "on");
    need(user.schedule, !user.scheduleAllowedSites.empty(), "schedule_allowed_sites are", "schedule.on");
    need(user.profile, user.blockList || user.categories || user.schedule, "block_list, categories and schedule are",
         "profile");
}

}  // namespace

void ParentalNumbers(Lint& lint) {
    const Parental& parental = lint.parental;
    if (parental.mode > TARN_PC_ONE_PER_USER)
        lint.Warn(lint.notes.mode,
                  fmt::format("parental.mode {} has no meaning: write 0 (off), 1 (the first entry holds for "
                              "everyone) or 2 (each entry for its account)",
                              parental.mode));
    if (parental.mode == TARN_PC_ABSENT && !parental.users.empty())
        lint.Warn(parental.users.front().place,
                  "parental.users is without effect, because parental.mode is 0: write mode = 1 or 2");
    if (parental.strictness > 3)
        lint.Warn(lint.notes.strictness,
                  fmt::format("parental.strictness {} counts like 0: write 0 (all categories of a site), 1 (two), "
                              "2 (three) or 3 (one)",
                              parental.strictness));
}

void ParentalEntries(Lint& lint) {
    const Parental& parental = lint.parental;
    FirstPlaces accounts;
    bool isFirst = true;
    for (const ParentalUser& user : parental.users) {
        Switches(lint, user);
        if (parental.mode == TARN_PC_ONE_PER_USER && user.account.empty())
            lint.Warn(user.place,
                      "parental.users: with mode = 2 an entry without an account is nobody's: write account");
        const std::string sid(user.sid.begin(), user.sid.end());
        const bool hasSid = user.sid != decltype(user.sid){};
        const std::string account = hasSid ? sid : LowerCase(user.account);
        if (!user.account.empty())
            if (const auto [at, isNew] = accounts.try_emplace(account, user.place); !isNew)
                lint.Warn(user.place, fmt::format("parental.users: account \"{}\" has an entry in {} already: put both "
                                                  "together",
                                                  user.account, lint.Line(at->second)));
        if (!isFirst && parental.mode != TARN_PC_ABSENT) {
            if (user.schedule)
                lint.Warn(user.place,
                          "parental.users: this schedule is without effect, because only that of the first "
                          "entry counts");
            if (!user.allowedSites.empty())
                lint.Warn(user.place,
                          "parental.users: these allowed_sites are without effect, because only those of "
                          "the first entry count");
        }
        isFirst = false;
    }
}

void Schedules(Lint& lint) {
    for (const ParentalUser& user : lint.parental.users) {
        if (user.schedule && !HasTimes(user))
            lint.Warn(user.place, "parental.users.schedule never allows the web, because it is on and has no time");
        for (std::size_t day = 0; day < kDays.size(); ++day) {
            const std::vector<TimeRange>& times = user.times[day];
            for (std::size_t i = 1; i < times.size(); ++i) {
                if (StartOf(times[i]) >= EndOf(times[i - 1])) continue;
                const bool isBefore = EndOf(times[i]) <= StartOf(times[i - 1]);
                lint.Warn(user.place,
                          fmt::format("parental.users.schedule.{}: \"{}\" stands behind \"{}\", {}", kDays[day],
                                      TextOf(times[i]), TextOf(times[i - 1]),
                                      isBefore ? "and an earlier time behind a later one may be lost: write them in "
                                                 "ascending order"
                                               : "and the two overlap: write one time of them"));
            }
        }
    }
}

void LogonHours(Lint& lint) {
    constexpr std::uint16_t kHoursOfADay = 24;
    for (const ParentalUser& user : lint.parental.users) {
        const bool hasHours = std::any_of(user.hours.begin(), user.hours.end(), [](const auto& day) {
            return std::any_of(day.begin(), day.end(), [](bool on) { return on; });
        });
        const bool hasAllowance =
            std::any_of(user.allowance.begin(), user.allowance.end(), [](std::uint16_t hours) { return hours != 0; });
        for (std::size_t day = 0; day < kDays.size(); ++day)
            if (user.allowance[day] > kHoursOfADay)
                lint.Warn(user.place, fmt::format("parental.users.allowance.{} is {} hours, and a day has 24",
                                                  kDays[day], user.allowance[day]));
        if (!user.controlled) {
            if (hasHours || hasAllowance)
                lint.Warn(user.place,
                          "parental.users: hours and allowance are without effect: write controlled = true");
            continue;
        }
        if (user.exempt) continue;
        if (user.hourGrid && !hasHours)
            lint.Warn(user.place,
                      "parental.users: no logon is ever allowed, because use_hour_grid is true and hours "
                      "has none");
        if (!user.hourGrid && !hasAllowance)
            lint.Warn(user.place, hasHours ? "parental.users: no logon is ever allowed, because hours count only with "
                                             "use_hour_grid = true and allowance has none"
                                           : "parental.users: no logon is ever allowed, because allowance has no hour");
    }
}

}  // namespace tarn::policy
