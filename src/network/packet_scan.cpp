#include "network/packet_scan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <utility>

#include "base/bounded_text.h"
#include "modules/categorisation.h"
#include "network/ethernet_frame.h"
#include "network/ip_address.h"
#include "network/rule_details.h"

namespace tarn::network {
namespace {

// A service of this machine whose passwords are guessed over the network.
struct GuardedService {
    std::uint16_t port;
    std::uint32_t reason;
};
constexpr std::uint16_t kRemoteDesktopPort = 3389;
constexpr GuardedService kGuardedServices[] = {
    {kRemoteDesktopPort, TARN_PACKET_REASON_REMOTE_DESKTOP},
    {1433, TARN_PACKET_REASON_SQL_SERVER},
    {1434, TARN_PACKET_REASON_SQL_SERVER},
    {445, TARN_PACKET_REASON_SMB},
    {3306, TARN_PACKET_REASON_MYSQL},
};

const GuardedService* FindService(std::uint16_t port) {
    const auto* const service = std::ranges::find(kGuardedServices, port, &GuardedService::port);
    return service == std::ranges::end(kGuardedServices) ? nullptr : service;
}

// One frame of a connection to a guarded service.
struct Attempt {
    const GuardedService* service = nullptr;
    IpAddressRecord remote{};
    std::array<std::uint8_t, 4> remoteAddress{};
    std::array<std::uint8_t, 4> localAddress{};
    std::uint16_t remotePort = 0;
    std::array<std::uint8_t, 6> sourceMac{};
};

std::optional<Attempt> ReadAttempt(const EthernetFrame& frame, bool inbound) {
    if (frame.EtherType() != kEtherTypeIpv4) return std::nullopt;
    const auto mac = frame.SourceMac();
    const auto ipv4 = frame.Ipv4();
    // QUIRK: neither the version of the header nor its least length is examined; with an IHL of 0 the ports are read
    // where the header begins.  Test: TheIhlIsTakenAsItStands
    if (!mac || !ipv4 || ipv4->protocol != kProtocolTcp) return std::nullopt;
    const auto ports = frame.Ports(*ipv4);
    if (!ports) return std::nullopt;

    Attempt attempt;
    // QUIRK: the sender of the frame in both directions; for an outbound one that is this machine.
    // Test: OutboundFramesSwapTheEndsButNotTheMac
    attempt.sourceMac = *mac;
    attempt.remoteAddress = ipv4->source;
    attempt.localAddress = ipv4->destination;
    attempt.remotePort = ports->source;
    std::uint16_t localPort = ports->destination;
    if (!inbound) {
        std::swap(attempt.remoteAddress, attempt.localAddress);
        std::swap(attempt.remotePort, localPort);
    }
    attempt.service = FindService(localPort);
    if (attempt.service == nullptr) return std::nullopt;
    attempt.remote.family = TARN_FAMILY_IPV4;
    std::ranges::copy(attempt.remoteAddress, attempt.remote.bytes);
    return attempt;
}

bool IsMalicious(const PacketScanContext& context, const IpAddressRecord& address) {
    const AddressText text = FormatIpAddress(address);
    const modules::CategoryLookup lookup(context.companions.categorisation, text.Text(), TARN_LOOKUP_DECIDE_NOW);
    const auto considered = modules::ConsideredCategories(lookup.Categories(), context.strictness);
    return modules::Contains(considered, TARN_CATEGORY_MALICIOUS);
}

void FillBruteForce(const PacketScanContext& context, const Attempt& attempt, std::uint16_t ruleId,
                    PacketVerdict& verdict) {
    verdict.action = TARN_PACKET_BLOCK;
    verdict.reason = attempt.service->reason;
    verdict.isRemoteDesktop = attempt.service->port == kRemoteDesktopPort ? 1 : 0;
    verdict.remotePort = attempt.remotePort;
    verdict.localPort = attempt.service->port;
    verdict.localAddress = std::bit_cast<std::uint32_t>(attempt.localAddress);
    verdict.remoteAddress = std::bit_cast<std::uint32_t>(attempt.remoteAddress);
    std::memcpy(verdict.sourceMac, attempt.sourceMac.data(), sizeof verdict.sourceMac);
    verdict.alertFlag = 1;
    verdict.filled = 1;
    // QUIRK: a rule that the user excluded still blocks here; the rule lends its texts only.
    // Test: AnExcludedRuleStillBlocksABruteForceAttempt
    FillRuleDetails(context.settings.idsRules, ruleId, ExcludedRule::kIgnored, verdict);
    base::StoreField<150>(verdict.description, u"Bruteforce attack by Malicious IP detected");
}

// Whether the frame was blocked here, so that the signatures are not asked.
bool BlocksBruteForce(const PacketScanContext& context, const EthernetFrame& frame, std::uint16_t ruleId, bool inbound,
                      PacketVerdict& verdict) {
    const auto attempt = ReadAttempt(frame, inbound);
    if (!attempt) return false;
    const bool reported = context.reportedAttackers.Contains(attempt->remote);
    if (!reported) {
        if (!IsMalicious(context, attempt->remote)) return false;
        context.reportedAttackers.Add(attempt->remote);
    }
    FillBruteForce(context, *attempt, ruleId, verdict);
    // QUIRK: an attacker is described once; every further frame is blocked without texts.
    // Test: AKnownAttackerIsBlockedWithoutTextsOrQuery
    if (reported) EmptyRuleTexts(verdict);
    return true;
}

void ScanForSignatures(const PacketScanContext& context, const std::uint8_t* frame, std::uint32_t frameLength,
                       std::uint16_t ruleId, std::uint8_t inbound, PacketVerdict& verdict) {
    const auto& module = context.companions.packetSignatures;
    if (!module || module->PKSScanPacket == nullptr) return;
    // QUIRK: after a failed scan the record stays as the module left it, an attack's 0 included.
    // Test: AFailedSignatureScanLeavesTheRecord
    if (module->PKSScanPacket(frame, frameLength, ruleId, inbound, &verdict) == 0) return;
    if (verdict.action == TARN_SIGNATURE_NO_ATTACK) verdict.action = TARN_PACKET_ALLOW;
    if (verdict.action != TARN_SIGNATURE_ATTACK) return;

    const bool textsWithheld =
        verdict.reason == TARN_PACKET_REASON_KNOWN_ATTACK;  // as the module left it: an excluded rule changes it
    verdict.alertFlag = static_cast<std::uint8_t>(context.settings.idsIpsFlags >> TARN_IDS_ALERT_SHIFT);
    verdict.filled = 1;
    verdict.action = TARN_PACKET_BLOCK;
    FillRuleDetails(context.settings.idsRules, ruleId, ExcludedRule::kAllows, verdict);
    if (textsWithheld) EmptyRuleTexts(verdict);
}

}  // namespace

bool ScanPacket(const PacketScanContext& context, const std::uint8_t* frame, std::uint32_t frameLength,
                std::uint16_t ruleId, std::uint8_t inbound, PacketVerdict& verdict) {
    if (frame == nullptr || frameLength == 0) return false;
    verdict.action = TARN_PACKET_ALLOW;
    if (context.settings.idsIpsStatus == 0) return true;
    const EthernetFrame view(base::Bytes(frame, frameLength));
    if (!BlocksBruteForce(context, view, ruleId, inbound != 0, verdict))
        ScanForSignatures(context, frame, frameLength, ruleId, inbound, verdict);
    return true;
}

}  // namespace tarn::network
