// The row of the system's TCP table that stands for the connection of one outbound frame.
// The host decides which connection is reset; the machine takes the row out of the table.
#ifndef TARN_NETWORK_CONNECTION_DROP_H
#define TARN_NETWORK_CONNECTION_DROP_H

#include <cstdint>
#include <optional>

#include "machine/tcp_table.h"

namespace tarn::network {

// The row that deletes the frame's connection, with the source as the local end; nothing without a frame and for
// another protocol than TCP. The frame's length is not known: the protocol is read first (24 bytes), for TCP then the
// addresses (34 bytes) and the two ports behind the IPv4 header (at most 78 bytes). The EtherType is not asked.
std::optional<machine::TcpTableRow> RowOfConnection(const std::uint8_t* frame);

}  // namespace tarn::network

#endif
