#include "policy/policy_lint.h"

#include <algorithm>
#include <tuple>

#include "policy/lint_rules.h"

namespace tarn::policy {
namespace {

using LintRule = void (*)(Lint&);

// Each is asked once; none looks at every pair of entries.
constexpr LintRule kRules[] = {
    // Threat lists
    HostsWithWww,
    HostsWithDot,
    PrivateAddresses,
    SitesWithNothingToMatch,
    ThreatPaths,
    PhishingPaths,
    // Texts
    InternationalHosts,
    WhiteListTexts,
    DoubledWhiteListTexts,
    BlockedEntriesLetPass,
    Patterns,
    InspectedHosts,
    // Settings
    CategoryNumbers,
    CategorisedSites,
    Signatures,
    IdsRuleNumbers,
    FeaturesThatAreNotSet,
    // Parental control
    ParentalNumbers,
    ParentalEntries,
    Schedules,
    LogonHours,
    ParentalHosts,
    ParentalPaths,
    ParentalSitesTwice,
    ParentalSitesLetPass,
};

}  // namespace

std::vector<NamedWhiteList> WhiteListsOf(const Policy& policy) {
    return {{"white_lists.web_security", policy.whiteLists.webSecurity, true},
            {"white_lists.browsing_protection", policy.whiteLists.browsingProtection, true},
            {"white_lists.user", policy.whiteLists.user, false}};
}

std::string_view SchemeOf(std::string_view text) {
    const std::size_t end = text.find("://");
    if (end == std::string_view::npos || text.substr(0, end).find_first_of("/.*?") != std::string_view::npos) return {};
    return text.substr(0, end + 3);
}

std::string_view WithoutSlashAtEnd(std::string_view text) {
    if (text.ends_with('/')) text.remove_suffix(1);
    return text;
}

bool ToPathAbove(std::string_view& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return false;
    path = path.substr(0, slash);
    return true;
}

bool ToDomainAbove(std::string_view& host) {
    const std::size_t dot = host.find('.');
    if (dot == std::string_view::npos || dot + 1 == host.size()) return false;
    host.remove_prefix(dot + 1);
    return true;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::vector<Finding> LintPolicy(const ReadPolicy& read, const AsciiHost& asciiHost) {
    Lint lint(read, asciiHost);
    for (const LintRule rule : kRules) rule(lint);
    std::stable_sort(lint.findings.begin(), lint.findings.end(), [](const Finding& a, const Finding& b) {
        return std::tie(a.place.file, a.place.line) < std::tie(b.place.file, b.place.line);
    });
    return std::move(lint.findings);
}

std::string DescribeFinding(const Policy& policy, const Finding& finding) {
    const auto& [file, line] = finding.place;
    return fmt::format("{}{}: warning: {}", policy.files.at(file), line == 0 ? "" : fmt::format(":{}", line),
                       finding.text);
}

}  // namespace tarn::policy
