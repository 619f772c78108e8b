#include "host/logon_rule.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::host {

namespace {

constexpr std::string_view kDays[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

const policy::ParentalUser* FindUser(const policy::Parental& parental, const SidBytes& sid) {
    const auto& users = parental.users;
    if (users.empty()) return nullptr;
    if (parental.mode == TARN_PC_ONE_FOR_ALL) return &users.front();
    const auto found = std::find_if(users.begin(), users.end(), [&](const auto& user) { return user.sid == sid; });
    return found == users.end() ? nullptr : &*found;
}

LogonRuleKind KindFor(const policy::Parental& parental, const policy::ParentalUser* user) {
    if (parental.mode == TARN_PC_ABSENT) return LogonRuleKind::kAbsent;
    if (user == nullptr) return LogonRuleKind::kNotListed;
    if (!user->controlled) return LogonRuleKind::kNotChecked;
    if (user->exempt) return LogonRuleKind::kExempt;
    return user->hourGrid ? LogonRuleKind::kTimeGrid : LogonRuleKind::kAllowance;
}

std::string Counted(std::uint32_t count, std::string_view unit) {
    return fmt::format("{} {}{}", count, unit, count == 1 ? "" : "s");
}

}  // namespace

LogonRule FindLogonRule(const policy::Policy& policy, const SidBytes& sid, const TarnSystemTime& now) {
    const policy::ParentalUser* const user = FindUser(policy.parental, sid);
    LogonRule rule;
    rule.kind = KindFor(policy.parental, user);
    rule.day = std::min<unsigned>(now.dayOfWeek, std::size(kDays) - 1);
    rule.hour = now.hour;
    if (rule.LimitsHours()) rule.allowedHours = user->allowance[rule.day];
    return rule;
}

std::string_view RuleName(const LogonRule& rule) {
    switch (rule.kind) {
        case LogonRuleKind::kAbsent:
            return "no_parental_control";
        case LogonRuleKind::kNotListed:
            return "not_listed";
        case LogonRuleKind::kNotChecked:
            return "not_controlled";
        case LogonRuleKind::kExempt:
            return "exempt";
        case LogonRuleKind::kTimeGrid:
            return "time_grid";
        case LogonRuleKind::kAllowance:
            return "allowance";
        case LogonRuleKind::kUnknown:
            break;
    }
    return "unknown";
}

std::string RuleWords(const LogonRule& rule) {
    switch (rule.kind) {
        case LogonRuleKind::kAbsent:
            return "the policy has no parental control, so nobody is refused";
        case LogonRuleKind::kNotListed:
            return "the policy has no entry for this account, so it is never refused";
        case LogonRuleKind::kNotChecked:
            return "its entry in the policy has no \"controlled = true\", so it is never refused";
        case LogonRuleKind::kExempt:
            return "its entry in the policy exempts it, so it is never refused";
        case LogonRuleKind::kTimeGrid:
            return fmt::format("a time grid of hours; it is {} {:02}:00 to {:02}:59", kDays[rule.day], rule.hour,
                               rule.hour);
        case LogonRuleKind::kAllowance:
            return fmt::format("an allowance of {} on a {}", Counted(rule.allowedHours, "hour"), kDays[rule.day]);
        case LogonRuleKind::kUnknown:
            break;
    }
    return "not known: there is no policy that tells";
}

std::string RefusalWords(const LogonRule& rule) {
    if (rule.kind == LogonRuleKind::kTimeGrid)
        return fmt::format("the time grid does not allow {} {:02}:00 to {:02}:59", kDays[rule.day], rule.hour,
                           rule.hour);
    if (!rule.LimitsHours()) return "refused by parental control";
    if (rule.allowedHours == 0) return fmt::format("the allowance of {} is 0 hours", kDays[rule.day]);
    return fmt::format("the allowance of {} is used up", Counted(rule.allowedHours, "hour"));
}

std::string UsageWords(const LogonRule& rule, std::uint32_t usedTicks) {
    std::string used = fmt::format("used today: {}", Counted(usedTicks, "minute"));
    if (!rule.LimitsHours()) return used;
    const std::uint32_t allowed = rule.allowedHours * kTicksPerHour;
    return fmt::format("{}, left: {}", used, Counted(allowed - std::min(allowed, usedTicks), "minute"));
}

}  // namespace tarn::host
