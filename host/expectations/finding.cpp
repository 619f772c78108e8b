#include "host/expectations/finding.h"

#include <algorithm>
#include <fmt/format.h>

#include "base/text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kReasonsOfScans = 256;  // more than there are
constexpr std::string_view kLogonReason = "parental control";

std::string ReasonShown(const std::optional<std::uint32_t>& reason, std::string_view text) {
    if (!reason) return std::string(text);
    return text.empty() ? fmt::format("{}", *reason) : fmt::format("{} {}", *reason, text);
}

bool IsEntry(std::string_view wanted, const DecidingEntry& entry) {
    return wanted == fmt::format("{}:{}", entry.file, entry.line) || wanted == entry.text || wanted == entry.list ||
           wanted == fmt::format("{}/{}", entry.list, entry.text);
}

std::string OrNone(const std::string& text) {
    return text.empty() ? "none" : text;
}

}  // namespace

std::vector<Comparison> Compare(const Expectation& expected, const Finding& found) {
    std::vector<Comparison> compared;
    if (!expected.verdict.empty())
        compared.push_back({"verdict", expected.verdict, found.verdict, expected.verdict == found.verdict});
    if (expected.reason || !expected.reasonText.empty()) {
        const bool isSame = expected.reason ? expected.reason == found.reason
                                            : base::EqualIgnoringCase(expected.reasonText, found.reasonText);
        compared.push_back({"reason", ReasonShown(expected.reason, expected.reasonText),
                            OrNone(ReasonShown(found.reason, found.reasonText)), isSame});
    }
    if (!expected.entry.empty())
        compared.push_back({"entry", expected.entry, OrNone(DescribeEntry(found.entry)),
                            found.entry && IsEntry(expected.entry, *found.entry)});
    return compared;
}

bool AreSame(const std::vector<Comparison>& comparisons) {
    return std::all_of(comparisons.begin(), comparisons.end(), [](const Comparison& one) { return one.isSame; });
}

std::string DescribeEntry(const std::optional<DecidingEntry>& entry) {
    if (!entry) return {};
    const std::string place = entry->line == 0 ? entry->file : fmt::format("{}:{}", entry->file, entry->line);
    std::string words = place;
    for (const std::string& part : {entry->list, entry->text})
        if (!part.empty()) words += (words.empty() ? "" : " ") + part;
    return words;
}

bool IsReasonText(std::string_view text) {
    const auto is = [&](std::string_view words) { return base::EqualIgnoringCase(words, text); };
    const std::string_view unknown = ReasonWords(kReasonsOfScans);
    for (std::uint32_t reason = 0; reason < kReasonsOfScans; ++reason)
        if ((ReasonWords(reason) != unknown && is(ReasonWords(reason))) || is(AttackWords(reason))) return true;
    return is(kLogonReason);
}

}  // namespace tarn::host
