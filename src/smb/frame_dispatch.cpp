#include "smb/frame_dispatch.h"

#include <bit>
#include <cstddef>
#include <optional>

#include "network/ethernet_frame.h"
#include "smb/tracker.h"

namespace tarn::smb {
namespace {

constexpr std::uint16_t kSmbPort = 445;
constexpr std::size_t kNetBiosHeader = 4;  // neither tested nor used

// QUIRK: only the low 16 bits of the frame's length count, and a payload of any length but none goes on.
// Test: OnlyTheLow16BitsOfTheLengthTellAnEmptyPayload
bool HasNoPayload(std::size_t frameLength, std::size_t headers) {
    return static_cast<std::uint16_t>(frameLength - headers) == network::kEthernetHeader;
}

}  // namespace

bool ScanSmbFrame(base::Bytes frame, std::uint8_t direction, SmbTables& tables, SmbScanResult& result) {
    if (frame.empty()) return false;
    result.resultKind = TARN_SMB_NOTHING;

    const network::EthernetFrame view(frame);
    if (view.EtherType() != network::kEtherTypeIpv4) return false;
    const std::optional<network::Ipv4Header> ipv4 = view.Ipv4();
    if (!ipv4 || ipv4->protocol != network::kProtocolTcp) return false;
    const std::optional<network::TcpPorts> ports = view.Ports(*ipv4);
    if (!ports || (ports->source != kSmbPort && ports->destination != kSmbPort)) return false;

    // QUIRK: both header lengths count as they stand, without a minimum.  Test: HeaderLengthsCountAsTheyStand
    const std::optional<std::size_t> tcpLength = view.TcpHeaderLength(*ipv4);
    if (!tcpLength || HasNoPayload(view.Size(), ipv4->length + *tcpLength)) return false;
    // QUIRK: a segment is taken to begin with a message; what follows the first one is not seen.
    // Test: ASegmentIsExaminedUpToItsFirstMessage
    const std::optional<base::Bytes> message =
        view.From(network::kEthernetHeader + ipv4->length + *tcpLength + kNetBiosHeader);
    std::uint8_t protocol = 0;
    if (!message || !base::ByteReader(*message).Peek(protocol)) return false;

    const SmbEndpointRecord endpoint{network::NetworkOrder(ports->source), network::NetworkOrder(ports->destination),
                                     std::bit_cast<std::uint32_t>(ipv4->source),
                                     std::bit_cast<std::uint32_t>(ipv4->destination), direction};
    switch (protocol) {
        case static_cast<std::uint8_t>(SmbProtocol::kSmb2):
            return Smb2Track(endpoint, *message, tables, result);
        case static_cast<std::uint8_t>(SmbProtocol::kSmb1):
            return Smb1Track(endpoint, *message, tables, result);
        default:
            return true;  // encrypted (0xFD), compressed (0xFC) or no SMB at all
    }
}

}  // namespace tarn::smb
