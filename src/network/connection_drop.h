// Takes the TCP connection of one outbound frame out of the system's connection table, which resets it.
// Which connection deserves that is the host's decision.
#ifndef TARN_NETWORK_CONNECTION_DROP_H
#define TARN_NETWORK_CONNECTION_DROP_H

#include <cstdint>
#include <optional>

namespace tarn::network {

// A row of the system's TCP table, field by field in its order. Addresses and ports are in network byte order, a port
// in the first two of its four bytes.
struct TcpTableRow {
    std::uint32_t state;
    std::uint32_t localAddress;
    std::uint32_t localPort;
    std::uint32_t remoteAddress;
    std::uint32_t remotePort;
};
inline constexpr std::uint32_t kTcpStateDelete = 12;

// The row that deletes the frame's connection, with the source as the local end; nothing without a frame and for
// another protocol than TCP. The frame's length is not known: the protocol is read first (24 bytes), for TCP then the
// addresses (34 bytes) and the two ports behind the IPv4 header (at most 78 bytes). The EtherType is not asked.
std::optional<TcpTableRow> RowOfConnection(const std::uint8_t* frame);

// Windows only. False also for any error of the system, which asks for administrative rights.
bool DropConnection(const std::uint8_t* frame);

}  // namespace tarn::network

#endif
