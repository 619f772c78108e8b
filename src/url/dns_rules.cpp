#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "base/bounded_text.h"
#include "base/text.h"
#include "modules/categorisation.h"
#include "network/dns_response.h"
#include "network/ethernet_frame.h"
#include "network/ip_address.h"
#include "url/rules.h"

namespace tarn::url {
namespace {

constexpr std::uint16_t kDnsPort = 53;

using NameText = base::FixedText<sizeof(DnsAnswerEntry{}.hostName)>;

bool IsDnsPort(const ScanRequest& request) {
    return request.remotePort == network::NetworkOrder(kDnsPort);
}

std::span<const IpAddressRecord> KeptAddresses(const DnsAnswerEntry& answer) {
    const std::size_t count = std::min<std::size_t>(answer.addressCount, std::size(answer.addresses));
    return {answer.addresses, count};
}

// The categories are fetched ahead of the connection; what they are decides nothing here.
void FetchCategories(const ScanState& scan, std::string_view name) {
    const auto& module = scan.context.companions.categorisation;
    if (name.starts_with('[') || !module) return;
    UrlText question;
    if (scan.request.kind == TARN_KIND_FTP) question.Append("ftp://");
    question.Append(name);
    const modules::CategoryLookup lookup(module, question.Text(), TARN_LOOKUP_AHEAD_OF_CONNECTION);
}

bool BlockingIsOn(const ScanContext& context) {
    if (context.dnsBlockSwitch == 0) return false;
    for (std::size_t i = 0; i < context.parental.Entries().size(); ++i)
        if (JudgesSites(context, i)) return true;
    return false;
}

Step BlockedSite(ScanState& scan, std::string_view name) {
    if (!BlockingIsOn(scan.context)) return Step::kDone;
    NameText lower;
    lower.Assign(name);
    base::LowerAscii(lower.Data(), lower.Length());
    const lists::BlockedSites& sites = scan.context.profiles[0].sites;
    if (sites.MatchWithWwwVariant(lower.View(), {}, scan.request.remoteAddress, scan.request.kind) !=
        lists::Lookup::kHit)
        return Step::kDone;

    machine::ProcessUser user;
    if (!scan.context.processes.GetProcessUser(scan.request.processId, user)) return Step::kFailed;
    return BlockParentalSite(scan, name, user);
}

}  // namespace

Step DnsMessage(ScanState& scan) {
    if (!IsDnsPort(scan.request)) return Step::kContinue;
    DnsAnswerEntry answer{};
    if (!network::ParseDnsResponse({scan.request.data, scan.request.dataLength}, answer)) return Step::kFailed;
    if (answer.addressCount == 0) return Step::kDone;
    scan.context.dnsRing.Store(answer);
    for (const IpAddressRecord& address : KeptAddresses(answer))
        if (network::IsPrivateIP(address)) return Step::kDone;

    const std::string_view name = base::FieldText(answer.hostName, sizeof answer.hostName);
    FetchCategories(scan, name);
    return BlockedSite(scan, name);
}

}  // namespace tarn::url
