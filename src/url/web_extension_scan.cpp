#include "url/web_extension_scan.h"

#include <algorithm>
#include <cstring>

#include "url/rules.h"
#include "url/scan_state.h"

namespace tarn::url {
namespace {

// Host and path keep their letter case; the path stands without its leading "/".
Step SplitUrl(ScanState& scan) {
    constexpr std::string_view kBehindScheme = "://";
    const char* const text = reinterpret_cast<const char*>(scan.request.data);
    if (!scan.parsed.url.Assign({text, strnlen(text, TARN_URL_CAPACITY)})) return Step::kFailed;
    std::string_view rest = scan.parsed.url.View();
    const std::size_t scheme = rest.find(kBehindScheme);
    if (scheme == std::string_view::npos) return Step::kFailed;
    rest.remove_prefix(scheme + kBehindScheme.size());

    const std::size_t slash = std::min(rest.find('/'), rest.size());
    scan.parsed.host.Assign(rest.substr(0, slash));
    scan.hostKeys = scan.parsed.host.View();
    scan.parsed.path.Assign(rest.substr(std::min(slash + 1, rest.size())));
    scan.hostAndPath.Assign(scan.parsed.host.View());
    if (!scan.parsed.path.Empty()) {
        scan.hostAndPath.Append("/");
        scan.hostAndPath.Append(scan.parsed.path.View());
    }
    return Step::kContinue;
}

Step NeedParentalControl(ScanState& scan) {
    return scan.context.parental.mode == TARN_PC_ABSENT ? Step::kFailed : Step::kContinue;
}

Step FirstProfileBlockList(ScanState& scan) {
    const ScanContext& context = scan.context;
    const parental::PcUserEntry* const first = context.parental.First();
    if (first == nullptr || context.profiles.empty() || first->leading.blockListSwitch != 1) return Step::kContinue;
    const std::string_view host = scan.parsed.host.View();
    if (host.size() >= kHostCapacity) return Step::kFailed;
    const lists::BlockedSites& sites = context.profiles.front().sites;
    if (sites.MatchWithWwwVariant(scan.hostKeys, scan.parsed.path.View(), scan.request.remoteAddress, TARN_KIND_TLS) !=
        lists::Lookup::kHit)
        return Step::kContinue;
    machine::ProcessUser user;
    if (!context.processes.GetProcessUser(scan.request.processId, user)) return Step::kFailed;
    // QUIRK: the text is the host without its first two characters.  Test: BlockedHostLosesItsFirstTwoCharacters
    return BlockParentalSite(scan, host.substr(std::min<std::size_t>(host.size(), 2)), user);
}

// Nobody is looked up here: the user name stays empty.
Step FirstProfileCategories(ScanState& scan, std::span<const std::uint16_t> considered) {
    const parental::PcUserEntry* const first = scan.context.parental.First();
    if (first == nullptr || first->leading.categorySwitch == 0) return Step::kContinue;
    const std::optional<std::uint16_t> category = BlockedCategory(considered, first->blockedCategories.View());
    return category ? BlockParentalCategory(scan, *category, {}) : Step::kContinue;
}

constexpr CategoryPolicy kReportedUrl{
    .patterns = CategoryPolicy::Patterns::kOfSitesWithCategories,
    .namesInternalPatternHits = false,
    .actsAgainstProgram = false,
    .parental = FirstProfileCategories,
};

Step ReportedCategories(ScanState& scan) {
    const ScanContext& context = scan.context;
    const parental::PcUserEntry* const first = context.parental.First();
    const bool isWanted = (first != nullptr && first->leading.categorySwitch != 0) || context.settings.bpStatus != 0 ||
                          context.settings.apStatus != 0;
    return isWanted ? JudgeByCategory(scan, kReportedUrl) : Step::kContinue;
}

constexpr Rule kRules[] = {
    {"split", SplitUrl},
    {"parental control", NeedParentalControl},
    {"parental allowed list", FirstProfileAllowedList},
    {"parental block list", FirstProfileBlockList},
    {"categories", ReportedCategories},
};

}  // namespace

std::span<const Rule> WebExtensionRules() {
    return kRules;
}

bool ScanWebExtensionUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict,
                         PromptBytes& prompt, std::string_view* endedBy) {
    if (endedBy != nullptr) *endedBy = {};
    verdict.allow = TARN_ALLOW;
    verdict.reason = TARN_REASON_DEFAULT;
    if (request.kind != TARN_KIND_TLS) return true;
    if (request.data == nullptr) return false;

    // What the rules ask of a connection: there is none, so its address and port are zero.
    ScanRequest reported{};
    reported.processId = context.processes.CurrentProcessId();
    reported.data = request.data;
    reported.kind = TARN_KIND_TLS;
    ScanState scan(context, reported, verdict, prompt);
    const Step step = AskInOrder(kRules, scan);
    if (endedBy != nullptr) *endedBy = scan.endedBy;
    return step != Step::kFailed;
}

}  // namespace tarn::url
