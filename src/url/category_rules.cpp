#include <cstdint>

#include "modules/categorisation.h"
#include "url/rules.h"

namespace tarn::url {
namespace {

// What a hit of the pattern matcher is called.
constexpr std::string_view kPatternThreatName = "Malicious Url";

constexpr CategoryPolicy kConnection{
    .patterns = CategoryPolicy::Patterns::kOfSitesWithoutCategory,
    .namesInternalPatternHits = true,
    .actsAgainstProgram = true,
    .parental = ParentalCategories,
};

enum class Threat : std::uint8_t { kMaliciousCategory, kPhishingCategory, kPattern };

bool LookUpIsWanted(const ScanContext& context) {
    const parental::PcUserEntry* first = context.parental.First();
    if (context.parental.mode != TARN_PC_ONE_FOR_ALL || first == nullptr) return false;
    return first->leading.categorySwitch != 0 || context.settings.bpStatus != 0 || context.settings.apStatus != 0;
}

bool MatchesPattern(const ScanState& scan) {
    const auto& patterns = scan.context.companions.urlPatterns;
    if (scan.context.settings.bpStatus == 0 || !patterns) return false;
    std::uint8_t malicious = 0;
    const bool answered =
        patterns->WSCheckURLMaliciousPattern(scan.request.kind, scan.parsed.host.Text(), scan.parsed.path.Text(),
                                             scan.request.remotePort, &malicious) != 0;
    return answered && malicious != 0;
}

// A list or pattern hit carries name and host-and-path, a category hit the display URL; the name bytes of a malicious
// category are left as they are.
void WriteThreat(ScanState& scan, Threat threat) {
    switch (threat) {
        case Threat::kMaliciousCategory:
            return WriteThreatUrl(scan.verdict, scan.parsed.url.View());
        case Threat::kPhishingCategory:
            return WriteUrl(scan.verdict, scan.parsed.url.View());
        case Threat::kPattern:
            WriteThreatName(scan.verdict, kPatternThreatName);
            return WriteThreatUrl(scan.verdict, scan.hostAndPath.View());
    }
}

// The internal white list allows a category hit at once; the user's turns every hit into an allowing reason.
Step JudgeThreat(ScanState& scan, Threat threat, modules::CategoryLookup& lookup, const CategoryPolicy& policy) {
    const ScanContext& context = scan.context;
    const std::string_view hostAndPath = scan.hostAndPath.View();
    const bool internal = context.lists.browsingProtectionInternal.Matches(hostAndPath);
    if (internal && !(threat == Threat::kPattern && policy.namesInternalPatternHits)) return Step::kDone;
    if (!lookup.Categories().empty()) lookup.Release();
    const bool whiteListed = internal || context.lists.user.Matches(hostAndPath);

    WriteThreat(scan, threat);
    if (threat == Threat::kPhishingCategory)
        return whiteListed ? Decide(scan, TARN_ALLOW, TARN_REASON_PHISHING_WHITE_LISTED, context.settings.apPrompt)
                           : Decide(scan, TARN_BLOCK, TARN_REASON_PHISHING, context.settings.apPrompt);
    if (whiteListed) return Decide(scan, TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED, context.settings.bpPrompt);
    const std::uint32_t reason = threat == Threat::kPattern ? TARN_REASON_MALICIOUS : TARN_REASON_MALICIOUS_CATEGORY;
    if (policy.actsAgainstProgram) return BlockAndAct(scan, reason);
    return Decide(scan, TARN_BLOCK, reason, context.settings.bpPrompt);
}

}  // namespace

Step JudgeByCategory(ScanState& scan, const CategoryPolicy& policy) {
    const ScanContext& context = scan.context;
    const auto& module = context.companions.categorisation;
    if (scan.parsed.url.View().starts_with('[') || !module) return Step::kFailed;
    UrlText ftpUrl;
    if (scan.request.kind == TARN_KIND_FTP) {
        ftpUrl.Assign("ftp://");
        if (!ftpUrl.Append(scan.parsed.url.View())) return Step::kFailed;
    }
    const UrlText& question = ftpUrl.Empty() ? scan.parsed.url : ftpUrl;
    modules::CategoryLookup lookup(module, question.Text(), TARN_LOOKUP_DECIDE_NOW);
    if (!lookup.Succeeded()) return Step::kFailed;

    const bool hasCategories = !lookup.Categories().empty();
    const auto considered = modules::ConsideredCategories(lookup.Categories(), context.parental.strictness);
    if (context.settings.bpStatus != 0 && modules::Contains(considered, TARN_CATEGORY_MALICIOUS))
        return JudgeThreat(scan, Threat::kMaliciousCategory, lookup, policy);
    if (context.settings.apStatus != 0 && modules::Contains(considered, TARN_CATEGORY_PHISHING))
        return JudgeThreat(scan, Threat::kPhishingCategory, lookup, policy);
    const bool showsPatterns = hasCategories == (policy.patterns == CategoryPolicy::Patterns::kOfSitesWithCategories);
    if (showsPatterns && MatchesPattern(scan)) return JudgeThreat(scan, Threat::kPattern, lookup, policy);
    return hasCategories ? policy.parental(scan, considered) : Step::kContinue;
}

Step Categories(ScanState& scan) {
    if (scan.parsed.url.Empty()) return Step::kDone;
    if (scan.request.stopBeforeCategories == 1) {
        scan.verdict.allow = TARN_STOPPED_BEFORE_CATEGORIES;
        return Step::kDone;
    }
    return LookUpIsWanted(scan.context) ? JudgeByCategory(scan, kConnection) : Step::kContinue;
}

}  // namespace tarn::url
