// The rules of the URL scans in the order of their tables, and what several of them share.
// A rule keeps nothing: it reads the context, and reads and writes the one scan that it is given.
#ifndef TARN_URL_RULES_H
#define TARN_URL_RULES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "url/scan_state.h"

namespace tarn::url {

struct Rule {
    std::string_view name;
    Step (*judge)(ScanState& scan);
};

// Asks the rules in order until one ends the scan, and notes which.
inline Step AskInOrder(std::span<const Rule> rules, ScanState& scan) {
    for (const Rule& rule : rules) {
        const Step step = rule.judge(scan);
        if (step == Step::kContinue) continue;
        scan.endedBy = rule.name;
        return step;
    }
    return Step::kContinue;
}

// --- Before the rules: steps that fill the state, or find that there is nothing for the rules to judge.

// dns_rules.cpp. Ends every scan of remote port 53: fails when the message does not parse, or when a site is to be
// blocked and the requesting user cannot be found.
Step DnsMessage(ScanState& scan);
// request_rules.cpp
Step EndOnUnknownKind(ScanState& scan);
// A failed parse is no failure: the scan goes on with empty texts.
Step ParseRequest(ScanState& scan);
// Fails when address and FTP path together do not fit 1023 characters.
Step HostFromAddress(ScanState& scan);
// Fails when the two together do not fit 1023 characters.
Step ComposeHostAndPath(ScanState& scan);
// What the lists ask of the host and, of a TLS connection, of its address.
Step HashHost(ScanState& scan);
// The display URL of a TLS connection.
Step NameHttpsScheme(ScanState& scan);

// --- The rules.

// request_rules.cpp
Step InternalWhiteList(ScanState& scan);
Step ManagementServer(ScanState& scan);
// parental_rules.cpp
Step ParentalAllowedList(ScanState& scan);
Step ParentalSchedule(ScanState& scan);
// request_rules.cpp
Step VideoSharingException(ScanState& scan);
// parental_rules.cpp
Step ParentalBlockLists(ScanState& scan);
// request_rules.cpp
Step PrivateAddress(ScanState& scan);
// threat_rules.cpp
// Fails when the host has more than 255 characters, a leading "www." included.
Step MaliciousSite(ScanState& scan);
Step PhishingSite(ScanState& scan);
Step IdsBlockedSite(ScanState& scan);
// Fails when the inspection blocks and the requesting user cannot be found.
Step HttpsInspection(ScanState& scan);
// category_rules.cpp. Fails when the display URL begins with "[", the categorisation module is missing or its look-up
// fails.
Step Categories(ScanState& scan);

// --- Shared by rules of several files.

// The first profile's allowed sites, whatever the parental mode.
Step FirstProfileAllowedList(ScanState& scan);

// Whether the profile's switches let its blocked sites be asked, and there are any.
[[nodiscard]] bool JudgesSites(const ScanContext& context, std::size_t profile);

// The first of the considered categories that the list blocks; the malicious and the phishing category never match.
[[nodiscard]] std::optional<std::uint16_t> BlockedCategory(std::span<const std::uint16_t> considered,
                                                           std::span<const std::uint16_t> blocked);

// The verdicts of a site and of a category that a profile blocks.
Step BlockParentalSite(ScanState& scan, std::string_view url, const machine::ProcessUser& user);
Step BlockParentalCategory(ScanState& scan, std::uint16_t category, const machine::ProcessUser& user);

// Blocks when a profile of the requesting user blocks one of the considered categories.
Step ParentalCategories(ScanState& scan, std::span<const std::uint16_t> considered);

// Blocks with a reason of browsing protection, then acts against the program that asked. A failing action of whatever
// kind leaves the verdict as it is.
Step BlockAndAct(ScanState& scan, std::uint32_t reason);

// In what the two scans differ when they judge by category.
struct CategoryPolicy {
    // Which sites the pattern matcher is shown.
    enum class Patterns : std::uint8_t { kOfSitesWithoutCategory, kOfSitesWithCategories };
    Patterns patterns;
    // What a pattern hit on the internal white list yields: reason 9, or the default verdict as for every other hit.
    bool namesInternalPatternHits;
    // Whether a malicious category or pattern also leads to the action against the program.
    bool actsAgainstProgram;
    // What is left when no category is dangerous.
    Step (*parental)(ScanState& scan, std::span<const std::uint16_t> considered);
};
// The judgement of both scans behind their own conditions. Fails as Categories does. The categories are released on
// every path.
Step JudgeByCategory(ScanState& scan, const CategoryPolicy& policy);

}  // namespace tarn::url

#endif
