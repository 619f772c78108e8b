#include "targets.h"

#include <iterator>

namespace tarn::fuzz {
namespace {

constexpr Target kTargets[] = {
    {"http_request", HttpRequest, 4096, 80000},
    {"ftp_command", FtpCommand, 4096, 20000},
    {"url_path", UrlPath, 2048, 20000},
    {"tls_hello", TlsHello, 8192, 80000},
    {"dns_response", DnsResponse, 4096, 3000},
    {"ethernet_frame", EthernetFrames, 2048, 20000},
    {"packet_scan", PacketScan, 2048, 3000},
    {"smb_frames", SmbFrames, 16384, 5000},
    {"address_literal", AddressLiteral, 256, 20000},
    {"ids_blocked", IdsBlocked, 4096, 20000},
    {"site_rules", SiteRules, 4096, 3000},
    {"allowed_sites", AllowedSites, 4096, 5000},
    {"url_lists", UrlLists, 4096, 5000},
    {"threat_lists", ThreatLists, 4096, 5000},
    {"saved_sessions", SavedSessions, 4096, 3000},
    {"saved_dns_answers", SavedDnsAnswers, 4096, 500},
    {"product_data", ProductData, 8192, 3000},
    {"browser_exclusions", BrowserExclusions, 1024, 20000},
    {"policy_file", PolicyFile, 16384, 600},
    {"list_file", ListFile, 16384, 3000},
    {"capture_file", CaptureFile, 65536, 8000},
    {"composed_url", ComposedUrl, 2048, 20000},
    {"url_scan", UrlScan, 4096, 8000},
    {"extension_scan", ExtensionScan, 2048, 20000},
};

}  // namespace

std::span<const Target> AllTargets() {
    return kTargets;
}

}  // namespace tarn::fuzz
