// A row of the system's TCP connection table, as a connection is taken out of it.
#ifndef TARN_MACHINE_TCP_TABLE_H
#define TARN_MACHINE_TCP_TABLE_H

#include <cstdint>

namespace tarn::machine {

// Field by field in the system's order. Addresses and ports are in network byte order, a port in the first two of its
// four bytes.
struct TcpTableRow {
    std::uint32_t state;
    std::uint32_t localAddress;
    std::uint32_t localPort;
    std::uint32_t remoteAddress;
    std::uint32_t remotePort;
};
inline constexpr std::uint32_t kTcpStateDelete = 12;

}  // namespace tarn::machine

#endif
