#include <algorithm>
#include <cstring>

#include "base/bounded_text.h"
#include "base/contract_relics.h"
#include "base/text.h"
#include "network/ip_address.h"
#include "url/request_parser.h"
#include "url/rules.h"
#include "url/tls_client_hello.h"

namespace tarn::url {
namespace {

// The parsers search for text: a NUL inside the data must not hide what stands behind it.
void ReplaceNulBytes(const ScanRequest& request) {
    char* const text = reinterpret_cast<char*>(request.data);
    const std::size_t length = request.dataLength;
    for (std::size_t at = 0; (at += base::FindNul({text + at, length - at})) < length; ++at) text[at] = ' ';
}

// The remote address: IPv4 dotted, IPv6 as eight groups. Always fits.
void WriteAddressText(ScanState& scan) {
    [[maybe_unused]] constexpr base::TraceScope trace(u"GetIPInStringFormat");
    const IpAddressRecord& address = scan.request.remoteAddress;
    if (address.family != TARN_FAMILY_IPV6) {
        scan.addressText.Assign(network::FormatIpAddress(address).View());
        return;
    }
    network::FormatIpv6Groups(address.bytes, scan.addressText.Data(), TARN_URL_CAPACITY);
    scan.addressText.SetLength(network::kIpv6GroupsLength);
}

// The host of a hello is its server name or, when it names none or is refused, the name whose DNS answer held the
// remote address. Both keep the letter case that they came in; the scan judges them in lower case.
void ParseHello(ScanState& scan, base::Bytes data) {
    UrlText& host = scan.parsed.host;
    const bool named = ExtractTlsServerName(data, host) && !host.Empty();
    if (!named && scan.context.dnsRing.FindHostByAddress(scan.request.remoteAddress, host.Data(), kHostCapacity))
        host.SetLength(std::strlen(host.Text()));
    else if (!named)
        host.Clear();
    base::LowerAscii(host.Data(), host.Length());
    WriteAddressText(scan);
}

}  // namespace

Step EndOnUnknownKind(ScanState& scan) {
    const std::uint8_t kind = scan.request.kind;
    return kind >= TARN_KIND_HTTP && kind <= TARN_KIND_HTTP_SECURE ? Step::kContinue : Step::kDone;
}

Step ParseRequest(ScanState& scan) {
    const ScanRequest& request = scan.request;
    const base::Bytes data(request.data, request.dataLength);
    if (request.kind != TARN_KIND_TLS) ReplaceNulBytes(request);
    if (request.kind == TARN_KIND_TLS) {
        ParseHello(scan, data);
        return Step::kContinue;
    }
    const bool parsed = request.kind == TARN_KIND_FTP ? ParseFtpCommand(data, scan.parsed.path, scan.parsed.url)
                                                      : ParseHttpRequest(data, scan.parsed);
    if (!parsed) scan.parsed.Clear();
    return Step::kContinue;
}

// An FTP command names no host: the remote address stands in for it. A TLS connection whose name nobody knows is
// allowed as it is. Kinds 1 and 4 never take this step.
Step HostFromAddress(ScanState& scan) {
    const std::uint8_t kind = scan.request.kind;
    if (!scan.parsed.host.Empty()) return Step::kContinue;
    if (kind == TARN_KIND_TLS) return Step::kDone;
    if (kind != TARN_KIND_FTP || scan.parsed.path.Empty()) return Step::kContinue;

    WriteAddressText(scan);
    const UrlText displayPath = scan.parsed.url;
    scan.parsed.host.Assign(scan.addressText.View());
    scan.parsed.url.Assign(scan.addressText.View());
    return scan.parsed.url.Append(displayPath.View()) ? Step::kContinue : Step::kFailed;
}

Step ComposeHostAndPath(ScanState& scan) {
    if (!scan.hostAndPath.Assign(scan.parsed.host.View()) || !scan.hostAndPath.Append(scan.parsed.path.View()))
        return Step::kFailed;
    return Step::kContinue;
}

Step HashHost(ScanState& scan) {
    scan.hostKeys = scan.parsed.host.View();
    if (scan.request.kind == TARN_KIND_TLS) scan.addressKeys = scan.addressText.View();
    return Step::kContinue;
}

Step NameHttpsScheme(ScanState& scan) {
    if (scan.request.kind != TARN_KIND_TLS) return Step::kContinue;
    scan.parsed.url.Assign("https://");
    return scan.parsed.url.Append(scan.hostAndPath.View()) ? Step::kContinue : Step::kFailed;
}

Step InternalWhiteList(ScanState& scan) {
    if (scan.hostAndPath.Empty()) return Step::kContinue;
    const lists::InternalWhiteList& list = scan.context.lists.webSecurityInternal;
    if (list.Matches(scan.hostAndPath.View())) return Step::kDone;
    if (scan.request.kind == TARN_KIND_TLS && list.Matches(scan.addressText.View())) return Step::kDone;
    return Step::kContinue;
}

Step ManagementServer(ScanState& scan) {
    const ManagedClient& client = scan.context.managedClient;
    if (!client.installed || client.serverAddress[0] == u'\0') return Step::kContinue;
    const std::u16string_view server = base::FieldText(client.serverAddress);
    const std::string_view host = scan.parsed.host.View();
    const bool same = std::equal(server.begin(), server.end(), host.begin(), host.end(), [](char16_t unit, char c) {
        return base::ToLowerAscii(unit) == static_cast<unsigned char>(base::ToLowerAscii(c));
    });
    return same ? Step::kDone : Step::kContinue;
}

Step VideoSharingException(ScanState& scan) {
    constexpr std::string_view kVideoSharingSite = "youtube.com";
    const std::string_view hostAndPath = scan.hostAndPath.View();
    if (scan.context.settings.agentStatus != 0 &&
        base::FindIgnoringCase(hostAndPath, kVideoSharingSite) != std::string_view::npos)
        return Step::kDone;
    return Step::kContinue;
}

Step PrivateAddress(ScanState& scan) {
    return network::IsPrivateIP(scan.request.remoteAddress) ? Step::kDone : Step::kContinue;
}

}  // namespace tarn::url
