// Finds what a policy may say and its author surely did not mean: entries that never match, that others hide, and
// settings without effect. A finding is a warning: the policy is used all the same.
#ifndef TARN_COMPANIONS_POLICY_POLICY_LINT_H
#define TARN_COMPANIONS_POLICY_POLICY_LINT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "policy/policy_reader.h"

namespace tarn::policy {

// The form in which an international host name is sent; nothing when it has none.
using AsciiHost = std::function<std::optional<std::string>(const std::string& utf8)>;

// A change of one text of the policy file that can only make a dead entry live, or take away one without effect.
struct Repair {
    std::string key;  // whole name, such as "malicious_sites.host" or "white_lists.user"
    Place place{};    // of the table that holds the key; of the text itself when it stands in a list of texts
    std::string from;
    std::optional<std::string> to;  // nothing: the text goes away from its list
};

struct Finding {
    Place place{};
    std::string text;  // what, why, and what to write
    std::optional<Repair> repair;
};

// By file and line. Of use only for a policy without mistakes. Without asciiHost no name is converted.
std::vector<Finding> LintPolicy(const ReadPolicy& read, const AsciiHost& asciiHost = {});

// "tarn-policy.toml:12: warning: ..."
std::string DescribeFinding(const Policy& policy, const Finding& finding);

}  // namespace tarn::policy

#endif
