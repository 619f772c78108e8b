#include "url/url_scan.h"

#include "url/rules.h"
#include "url/scan_state.h"

namespace tarn::url {
namespace {

// A DNS message is judged whatever the kind of the request says, so it comes before the test of the kind.
constexpr Rule kPreparation[] = {
    {"DNS message", DnsMessage},
    {"known kind", EndOnUnknownKind},
    {"parse", ParseRequest},
    {"host from address", HostFromAddress},
    {"host and path", ComposeHostAndPath},
    {"host hashes", HashHost},
    // Ahead of the rules that do not read the display URL; it always fits.
    {"https scheme", NameHttpsScheme},
};

// The order is fixed: where two rules would match, the earlier one wins.
constexpr Rule kRules[] = {
    {"internal white list", InternalWhiteList},
    {"management server", ManagementServer},
    {"parental allowed list", ParentalAllowedList},
    {"parental schedule", ParentalSchedule},
    {"video-sharing exception", VideoSharingException},
    {"parental block lists", ParentalBlockLists},
    {"private address", PrivateAddress},
    {"malicious list", MaliciousSite},
    {"phishing list", PhishingSite},
    {"intrusion-prevention blocked list", IdsBlockedSite},
    {"HTTPS inspection", HttpsInspection},
    {"categories", Categories},
};

}  // namespace

std::span<const Rule> UrlPreparation() {
    return kPreparation;
}

std::span<const Rule> UrlRules() {
    return kRules;
}

bool ScanUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict, PromptBytes& prompt,
             std::string_view* endedBy) {
    if (endedBy != nullptr) *endedBy = {};
    if (request.data == nullptr || request.dataLength == 0) return false;
    verdict.allow = TARN_ALLOW;
    verdict.reason = TARN_REASON_DEFAULT;
    request.data[request.dataLength] = 0;

    ScanState scan(context, request, verdict, prompt);
    Step step = AskInOrder(kPreparation, scan);
    if (step == Step::kContinue) step = AskInOrder(kRules, scan);
    if (endedBy != nullptr) *endedBy = scan.endedBy;
    return step != Step::kFailed;
}

}  // namespace tarn::url
