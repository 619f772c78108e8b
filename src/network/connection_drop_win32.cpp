#include <iphlpapi.h>
#include <windows.h>
#include <winsock2.h>

#include "network/connection_drop.h"

namespace tarn::network {

static_assert(kTcpStateDelete == MIB_TCP_STATE_DELETE_TCB);

bool DropConnection(const std::uint8_t* frame) {
    const auto row = RowOfConnection(frame);
    if (!row) return false;
    MIB_TCPROW entry{};
    entry.dwState = row->state;
    entry.dwLocalAddr = row->localAddress;
    entry.dwLocalPort = row->localPort;
    entry.dwRemoteAddr = row->remoteAddress;
    entry.dwRemotePort = row->remotePort;
    return SetTcpEntry(&entry) == NO_ERROR;
}

}  // namespace tarn::network
