#include "network/connection_drop.h"

#include <bit>

#include "network/ethernet_frame.h"

namespace tarn::network {
namespace {

constexpr std::size_t kProtocolOffset = 23;
constexpr std::size_t kAddressesEnd = 34;
constexpr std::size_t kPortsLength = 4;

}  // namespace

// Each view ends behind the bytes that the step needs: what lies further on may not be there.
std::optional<machine::TcpTableRow> RowOfConnection(const std::uint8_t* frame) {
    if (frame == nullptr) return std::nullopt;
    base::ByteReader reader(base::Bytes(frame, kProtocolOffset + 1));
    std::uint8_t protocol = 0;
    if (!reader.Skip(kProtocolOffset) || !reader.Be(protocol) || protocol != kProtocolTcp) return std::nullopt;
    const auto ipv4 = EthernetFrame(base::Bytes(frame, kAddressesEnd)).Ipv4();
    if (!ipv4) return std::nullopt;
    const auto ports = EthernetFrame(base::Bytes(frame, kEthernetHeader + ipv4->length + kPortsLength)).Ports(*ipv4);
    if (!ports) return std::nullopt;
    // QUIRK: the source is the local end whichever way the frame went, so that an inbound frame gives a row that fits
    // no connection.  Test: AnInboundFrameSwapsTheEnds
    return machine::TcpTableRow{.state = machine::kTcpStateDelete,
                                .localAddress = std::bit_cast<std::uint32_t>(ipv4->source),
                                .localPort = NetworkOrder(ports->source),
                                .remoteAddress = std::bit_cast<std::uint32_t>(ipv4->destination),
                                .remotePort = NetworkOrder(ports->destination)};
}

}  // namespace tarn::network
