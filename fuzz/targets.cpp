#include "targets.h"

#include <iterator>

namespace tarn::fuzz {
namespace {

constexpr Target kTargets[] = {
    {"http_request", HttpRequest, 4096, 80000, "http.dict"},
    {"ftp_command", FtpCommand, 4096, 20000, "http.dict"},
    {"url_path", UrlPath, 2048, 20000},
    {"tls_hello", TlsHello, 8192, 80000},
    {"dns_response", DnsResponse, 4096, 3000},
    {"ethernet_frame", EthernetFrames, 2048, 20000},
    {"packet_scan", PacketScan, 2048, 3000},
    {"smb_frames", SmbFrames, 16384, 5000},
    {"address_literal", AddressLiteral, 256, 20000},
    {"ids_blocked", IdsBlocked, 4096, 20000},
    {"made_frame", MadeFrame, 2048, 3000},
    {"made_tls_hello", MadeTlsHello, 4096, 10000},
    {"made_dns_message", MadeDnsMessage, 4096, 3000},
    {"made_smb", MadeSmb, 4096, 2000},
    {"site_rules", SiteRules, 4096, 3000},
    {"allowed_sites", AllowedSites, 4096, 5000},
    {"url_lists", UrlLists, 4096, 5000},
    {"threat_lists", ThreatLists, 4096, 5000},
    {"saved_sessions", SavedSessions, 4096, 3000},
    {"saved_dns_answers", SavedDnsAnswers, 4096, 500},
    {"product_data", ProductData, 8192, 3000},
    {"browser_exclusions", BrowserExclusions, 1024, 20000},
    {"policy_file", PolicyFile, 16384, 600, "policy.dict"},
    {"list_file", ListFile, 16384, 3000, "lists.dict"},
    {"capture_file", CaptureFile, 65536, 8000},
    {"composed_url", ComposedUrl, 2048, 20000, "http.dict"},
    {"module_record", ModuleRecord, 4096, 3000},
    {"made_capture", MadeCapture, 8192, 1000},
    {"replayed_capture", ReplayedCapture, 8192, 60},
    {"event_lines", EventLines, 16384, 150, "events.dict"},
    {"case_file", CaseFile, 8192, 300, "cases.dict"},
    {"policy_repair", PolicyRepair, 8192, 100, "policy.dict"},
    {"command_texts", CommandTexts, 256, 20000},
    {"url_scan", UrlScan, 4096, 8000, "http.dict"},
    {"extension_scan", ExtensionScan, 2048, 20000, "http.dict"},
    {"exports", Exports, 8192, 200},
};

}  // namespace

std::span<const Target> AllTargets() {
    return kTargets;
}

}  // namespace tarn::fuzz
