// Which rule of the policy holds for an account now, in words: the library says whether a logon is refused, not why.
// The verdict is the library's alone; nothing here decides one.
#ifndef TARN_HOST_LOGON_RULE_H
#define TARN_HOST_LOGON_RULE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "tarn/records.h"

#include "host/account.h"
#include "policy/policy.h"

namespace tarn::host {

enum class LogonRuleKind {
    kUnknown,     // no policy that tells
    kAbsent,      // the policy has no parental control
    kNotListed,   // no entry for the account
    kNotChecked,  // an entry that controls nothing
    kExempt,
    kTimeGrid,
    kAllowance
};

struct LogonRule {
    LogonRuleKind kind = LogonRuleKind::kUnknown;
    unsigned day = 0;  // 0 = Sunday
    unsigned hour = 0;
    std::uint32_t allowedHours = 0;  // of the day, with an allowance

    [[nodiscard]] bool LimitsHours() const { return kind == LogonRuleKind::kAllowance; }
};

inline constexpr std::uint32_t kTicksPerHour = 60;  // a tick is reported every minute of use

LogonRule FindLogonRule(const policy::Policy& policy, const SidBytes& sid, const TarnSystemTime& now);

// "time_grid", "allowance", ...: for programs.
std::string_view RuleName(const LogonRule& rule);
// The rule, as what holds at that hour.
std::string RuleWords(const LogonRule& rule);
// Why a logon is refused by this rule.
std::string RefusalWords(const LogonRule& rule);
// How much of the allowance is used and left; of another rule, how much is used.
std::string UsageWords(const LogonRule& rule, std::uint32_t usedTicks);

}  // namespace tarn::host

#endif
