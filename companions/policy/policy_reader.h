// Reads a policy file (TOML) and reports every mistake in it at once, each with its place and what is allowed there.
// The caller finds the file and decides about a policy that has mistakes.
#ifndef TARN_COMPANIONS_POLICY_POLICY_READER_H
#define TARN_COMPANIONS_POLICY_POLICY_READER_H

#include <string>
#include <string_view>
#include <vector>

#include "policy/parental_reader.h"
#include "policy/policy.h"
#include "policy/section.h"

namespace tarn::policy {

inline constexpr std::string_view kPolicyFile = "tarn-policy.toml";

struct ReadPolicy {
    Policy policy;
    std::vector<Mistake> mistakes;  // by line; the policy is of use only when there are none
};

ReadPolicy ParsePolicy(std::string_view text, const FindSid& findSid = {});

// "tarn-policy.toml:12:5: unknown key ..."
std::string Describe(std::string_view fileName, const Mistake& mistake);

}  // namespace tarn::policy

#endif
