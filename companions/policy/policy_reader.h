// Reads a policy file (TOML) and reports every mistake in it at once, each with its place and what is allowed there.
#ifndef TARN_COMPANIONS_POLICY_POLICY_READER_H
#define TARN_COMPANIONS_POLICY_POLICY_READER_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "policy/list_reader.h"
#include "policy/parental_reader.h"
#include "policy/policy.h"
#include "policy/section.h"

namespace tarn::policy {

inline constexpr std::string_view kPolicyFile = "tarn-policy.toml";

struct ReadPolicy {
    Policy policy;
    std::vector<Mistake> mistakes;    // by line; the policy is of use only when there are none
    std::vector<Mistake> warnings;    // by line, those of lists behind; what of the policy is left out
    std::vector<IncludedList> lists;  // what stands in Policy::files from 1 on
    bool leavesOutAccounts = false;   // which the machine may get yet
    ParentalNotes parental;           // with their entries
    std::set<std::string> keys;  // what is set, such as "features.anti_phishing"; an array that holds anything is one
};

// Without files an "include" is a mistake.
ReadPolicy ParsePolicy(std::string_view text, const FindSid& findSid = {}, ListFiles* files = nullptr);

// Whether a policy sets nothing of what an earlier one set. That is what a save that was cut off, or failed, leaves.
bool LosesEverything(const ReadPolicy& before, const ReadPolicy& after);

// "tarn-policy.toml:12:5: unknown key ..."; fileName is the policy's, which an included file replaces.
std::string Describe(std::string_view fileName, const Mistake& mistake);
// "tarn-policy.toml:12:5: warning: ..."
std::string DescribeWarning(std::string_view fileName, const Mistake& warning);

}  // namespace tarn::policy

#endif
