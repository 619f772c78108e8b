#include <cstring>
#include <optional>
#include <string_view>

#include "base/bounded_text.h"
#include "url/rules.h"

namespace tarn::url {
namespace {

constexpr std::size_t kMaxMaliciousHost = 255;  // characters, a leading "www." included

}  // namespace

Step MaliciousSite(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.settings.bpStatus == 0) return Step::kContinue;

    if (scan.parsed.host.Length() > kMaxMaliciousHost) return Step::kFailed;
    const std::optional<std::string_view> threat =
        context.lists.malicious.Find(scan.hostKeys.WithoutWww(), scan.parsed.path.View());
    if (!threat) return Step::kContinue;

    WriteThreatName(scan.verdict, *threat);
    WriteThreatUrl(scan.verdict, scan.hostAndPath.View());
    if (context.lists.user.Matches(scan.hostAndPath.View()))
        return Decide(scan, TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED, context.settings.bpPrompt);
    return BlockAndAct(scan, TARN_REASON_MALICIOUS);
}

Step PhishingSite(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.settings.apStatus == 0) return Step::kContinue;
    if (!context.lists.phishing.Matches(scan.hostKeys.Whole(), scan.parsed.path.View())) return Step::kContinue;

    WriteUrl(scan.verdict, scan.hostAndPath.View());
    if (context.lists.user.Matches(scan.hostAndPath.View()))
        return Decide(scan, TARN_ALLOW, TARN_REASON_PHISHING_WHITE_LISTED, context.settings.apPrompt);
    return Decide(scan, TARN_BLOCK, TARN_REASON_PHISHING, context.settings.apPrompt);
}

Step IdsBlockedSite(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.settings.idsIpsStatus == 0) return Step::kContinue;
    const std::string_view host = scan.parsed.host.View();
    const std::string_view path = scan.parsed.path.View();
    if (!context.idsBlockedList.Contains(host, path)) return Step::kContinue;

    base::CopyText(scan.verdict.blockedPath, sizeof scan.verdict.blockedPath, path);
    base::CopyText(scan.verdict.blockedHost, sizeof scan.verdict.blockedHost, host);
    return Block(scan, TARN_REASON_IDS_BLOCKED);
}

Step HttpsInspection(ScanState& scan) {
    const auto& inspection = scan.context.companions.httpsInspection;
    const ScanRequest& request = scan.request;
    if (request.kind != TARN_KIND_TLS || !inspection) return Step::kContinue;
    std::uint32_t remoteIpv4 = 0;
    std::memcpy(&remoteIpv4, request.remoteAddress.bytes, sizeof remoteIpv4);
    std::uint8_t block = 0;
    const bool answered =
        inspection->TiScanHttpsPacket(request.processId, scan.hostAndPath.Text(), remoteIpv4, request.remotePort,
                                      request.data, request.dataLength, &block) != 0;
    if (!answered || block == 0) return Step::kContinue;

    machine::ProcessUser user;
    if (!scan.context.processes.GetProcessUser(request.processId, user)) return Step::kFailed;
    WriteUrl(scan.verdict, scan.hostAndPath.View());
    WriteUserName(scan.verdict, user);
    return Block(scan, TARN_REASON_HTTPS_INSPECTION);
}

Step BlockAndAct(ScanState& scan, std::uint32_t reason) {
    const ScanContext& context = scan.context;
    Decide(scan, TARN_BLOCK, reason, context.settings.bpPrompt);
    try {
        context.browsingProtection.ActOnMaliciousUrl(scan.request.processId, scan.hostAndPath.View(), context.processes,
                                                     context.system);
    } catch (...) {
        // The verdict stands, whatever became of the action.
    }
    return Step::kDone;
}

}  // namespace tarn::url
