#include "url/category_rules.h"

#include <cstdint>

#include "modules/categorisation.h"
#include "url/parental_rules.h"
#include "url/threat_rules.h"

namespace tarn::url {
namespace {

bool LookUpIsWanted(const ScanContext& context) {
    const parental::PcUserEntry* first = context.parental.First();
    if (context.parental.mode != TARN_PC_ONE_FOR_ALL || first == nullptr) return false;
    return first->leading.categorySwitch != 0 || context.settings.bpStatus != 0 || context.settings.apStatus != 0;
}

// A site whose category is dangerous. The URL shown is the display URL; a name in the text area is left as it is.
Step DangerousCategory(ScanState& scan, modules::CategoryLookup& lookup, bool malicious) {
    const ScanContext& context = scan.context;
    if (context.lists.browsingProtectionInternal.Matches(scan.hostAndPath.View())) return Step::kDone;
    lookup.Release();
    const bool whiteListed = context.lists.user.Matches(scan.hostAndPath.View());
    const std::uint32_t allow = whiteListed ? TARN_ALLOW : TARN_BLOCK;
    if (malicious) {
        WriteThreatUrl(scan.verdict, scan.parsed.url.View());
        if (!whiteListed) return BlockAndAct(scan, TARN_REASON_MALICIOUS_CATEGORY);
        return Decide(scan, TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED, context.settings.bpPrompt);
    }
    WriteUrl(scan.verdict, scan.parsed.url.View());
    return Decide(scan, allow, whiteListed ? TARN_REASON_PHISHING_WHITE_LISTED : TARN_REASON_PHISHING,
                  context.settings.apPrompt);
}

// Only a site without any category is shown to the pattern matcher.
Step MaliciousPattern(ScanState& scan) {
    const ScanContext& context = scan.context;
    const auto& patterns = context.companions.urlPatterns;
    if (context.settings.bpStatus == 0 || !patterns) return Step::kDone;
    std::uint8_t malicious = 0;
    const bool answered = patterns->WSCheckURLMaliciousPattern(scan.request.kind, scan.parsed.host.Text(),
                                                                        scan.parsed.path.Text(),
                                                                        scan.request.remotePort, &malicious) != 0;
    if (!answered || malicious == 0) return Step::kDone;

    const std::string_view hostAndPath = scan.hostAndPath.View();
    WriteThreatName(scan.verdict, kPatternThreatName);
    WriteThreatUrl(scan.verdict, hostAndPath);
    if (context.lists.browsingProtectionInternal.Matches(hostAndPath) || context.lists.user.Matches(hostAndPath))
        return Decide(scan, TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED, context.settings.bpPrompt);
    return BlockAndAct(scan, TARN_REASON_MALICIOUS);
}

}  // namespace

Step Categories(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (scan.parsed.url.Empty()) return Step::kDone;
    if (scan.request.stopBeforeCategories == 1) {
        scan.verdict.allow = TARN_STOPPED_BEFORE_CATEGORIES;
        return Step::kDone;
    }
    if (!LookUpIsWanted(context)) return Step::kDone;
    if (scan.parsed.url.View().front() == '[' || !context.companions.categorisation) return Step::kFailed;

    UrlText question;
    if (scan.request.kind == TARN_KIND_FTP && !question.Assign("ftp://")) return Step::kFailed;
    if (!question.Append(scan.parsed.url.View())) return Step::kFailed;
    modules::CategoryLookup lookup(context.companions.categorisation, question.Text(), 0);
    if (!lookup.Succeeded()) return Step::kFailed;
    if (lookup.Categories().empty()) return MaliciousPattern(scan);

    const auto considered = modules::ConsideredCategories(lookup.Categories(), context.parental.strictness);
    if (context.settings.bpStatus != 0 && modules::Contains(considered, modules::kMaliciousCategory))
        return DangerousCategory(scan, lookup, true);
    if (context.settings.apStatus != 0 && modules::Contains(considered, modules::kPhishingCategory))
        return DangerousCategory(scan, lookup, false);
    return ParentalCategories(scan, considered);
}

}  // namespace tarn::url
