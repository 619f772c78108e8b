// A verdict as it is expected and found: in the words of the events.
#ifndef TARN_HOST_EXPECTATIONS_FINDING_H
#define TARN_HOST_EXPECTATIONS_FINDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/deciding_entry.h"
#include "host/judge.h"

namespace tarn::host {

struct Finding {
    std::string verdict;                  // "blocked", "allowed", "refused" or "none"
    std::optional<std::uint32_t> reason;  // without one there is no verdict
    std::string reasonText;
    std::optional<DecidingEntry> entry;
    std::string note;  // what else was said: the text of the rule, why nothing was judged
};

// What a case wants; an empty part may be anything.
struct Expectation {
    std::string verdict;
    std::optional<std::uint32_t> reason;
    std::string reasonText;  // in the place of the number
    std::string entry;       // "tarn-policy.toml:12", the list, the text, or "list/text"
};

// One thing that is compared, as it is shown.
struct Comparison {
    std::string what;
    std::string expected;
    std::string found;
    bool isSame = true;
};

// A line for each part that is expected.
std::vector<Comparison> Compare(const Expectation& expected, const Finding& found);
bool AreSame(const std::vector<Comparison>& comparisons);

// "tarn-policy.toml:12 malicious_sites bad.example"; empty without an entry.
std::string DescribeEntry(const std::optional<DecidingEntry>& entry);
// Whether these are the words of some reason, whatever their case.
bool IsReasonText(std::string_view text);

}  // namespace tarn::host

#endif
