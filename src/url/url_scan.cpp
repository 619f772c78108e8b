#include "url/url_scan.h"

#include "url/category_rules.h"
#include "url/dns_scan.h"
#include "url/parental_rules.h"
#include "url/request_rules.h"
#include "url/scan_state.h"
#include "url/threat_rules.h"

namespace tarn::url {
namespace {

struct Rule {
    const char* name;
    Step (*judge)(ScanState& scan);
};

// The order is the contract: where two rules would match, the earlier one wins.
constexpr Rule kRules[] = {
    {"DNS message", DnsMessage},
    {"known kind", EndOnUnknownKind},
    {"parse", ParseRequest},
    {"host from address", HostFromAddress},
    {"host and path", ComposeHostAndPath},
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

bool ScanUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict, PromptBytes& prompt) {
    if (request.data == nullptr || request.dataLength == 0) return false;
    verdict.allow = TARN_ALLOW;
    verdict.reason = TARN_REASON_DEFAULT;
    request.data[request.dataLength] = 0;

    ScanState scan(context, request, verdict, prompt);
    for (const Rule& rule : kRules) {
        const Step step = rule.judge(scan);
        if (step != Step::kContinue) return step == Step::kDone;
    }
    return true;
}

}  // namespace tarn::url
