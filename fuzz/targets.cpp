#include "targets.h"

#include <iterator>

namespace tarn::fuzz {
namespace {

constexpr Target kTargets[] = {
    {"http_request", HttpRequest, 4096, 60000},
    {"ftp_command", FtpCommand, 4096, 20000},
    {"url_path", UrlPath, 2048, 5000},
    {"tls_hello", TlsHello, 8192, 60000},
    {"dns_response", DnsResponse, 4096, 2000},
    {"ethernet_frame", EthernetFrames, 2048, 10000},
    {"packet_scan", PacketScan, 2048, 3000},
    {"smb_frames", SmbFrames, 16384, 1000},
    {"address_literal", AddressLiteral, 256, 2000},
    {"ids_blocked", IdsBlocked, 4096, 2000},
    {"site_rules", SiteRules, 4096, 2000},
    {"allowed_sites", AllowedSites, 4096, 2000},
    {"url_lists", UrlLists, 4096, 2000},
    {"threat_lists", ThreatLists, 4096, 2000},
    {"saved_sessions", SavedSessions, 4096, 2000},
    {"saved_dns_answers", SavedDnsAnswers, 4096, 500},
    {"product_data", ProductData, 8192, 2000},
    {"browser_exclusions", BrowserExclusions, 1024, 2000},
    {"policy_file", PolicyFile, 16384, 150},
    {"capture_file", CaptureFile, 65536, 600},
    {"composed_url", ComposedUrl, 2048, 2000},
    {"url_scan", UrlScan, 4096, 5000},
    {"extension_scan", ExtensionScan, 2048, 2000},
};

}  // namespace

std::span<const Target> AllTargets() {
    return kTargets;
}

}  // namespace tarn::fuzz
