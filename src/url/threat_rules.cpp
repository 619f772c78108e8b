#include "url/threat_rules.h"

#include <optional>
#include <string_view>

namespace tarn::url {
namespace {

constexpr std::size_t kMaxMaliciousHost = 255;  // characters behind a leading "www."

}  // namespace

Step MaliciousSite(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.settings.bpStatus == 0) return Step::kContinue;

    std::string_view host = scan.parsed.host.View();
    if (host.starts_with("www.")) host.remove_prefix(4);
    if (host.size() > kMaxMaliciousHost) return Step::kFailed;

    const std::optional<std::string_view> threat = context.lists.malicious.Find(host, scan.parsed.path.View());
    if (!threat) return Step::kContinue;

    WriteThreatName(scan.verdict, *threat);
    WriteThreatUrl(scan.verdict, scan.hostAndPath.View());
    if (context.lists.user.Matches(scan.hostAndPath.View()))
        return Decide(scan, TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED, context.settings.bpPrompt);
    return Decide(scan, TARN_BLOCK, TARN_REASON_MALICIOUS, context.settings.bpPrompt);
}

Step PhishingSite(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.settings.apStatus == 0) return Step::kContinue;
    if (!context.lists.phishing.Matches(scan.parsed.host.View(), scan.parsed.path.View())) return Step::kContinue;

    WriteUrl(scan.verdict, scan.hostAndPath.View());
    if (context.lists.user.Matches(scan.hostAndPath.View()))
        return Decide(scan, TARN_ALLOW, TARN_REASON_PHISHING_WHITE_LISTED, context.settings.apPrompt);
    return Decide(scan, TARN_BLOCK, TARN_REASON_PHISHING, context.settings.apPrompt);
}

}  // namespace tarn::url
