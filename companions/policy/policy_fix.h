// Mends the text of a policy file by the repairs of the linter; comments and layout stay.
#ifndef TARN_COMPANIONS_POLICY_POLICY_FIX_H
#define TARN_COMPANIONS_POLICY_POLICY_FIX_H

#include <string>
#include <string_view>
#include <vector>

#include "policy/policy_lint.h"

namespace tarn::policy {

struct FixedPolicy {
    std::string text;
    std::vector<Finding> repaired;  // by line of the text before the round that repaired them
    std::vector<Finding> left;      // what a person must decide, by line of the new text
    ReadPolicy read{};              // what the new text says
};

// Repairs round by round until nothing more can be repaired. A text with mistakes stays as it is. Never makes a
// mistake: a repair that would is left. A text that is written with escapes or over several lines is left, too.
// files: of the lists that it includes, which stay as they are.
FixedPolicy FixPolicy(std::string_view text, const FindSid& findSid = {}, const AsciiHost& asciiHost = {},
                      ListFiles* files = nullptr);

}  // namespace tarn::policy

#endif
