// SOCKS5 without a login: CONNECT to addresses and names. The client is told that it is connected before anything is
// opened, because its first bytes decide whether that may be; opening.h and ftp_control.h go on from there.
#ifndef TARN_HOST_SERVE_SOCKS5_H
#define TARN_HOST_SERVE_SOCKS5_H

#include <memory>

#include "host/serve/ftp_data.h"
#include "host/serve/opening.h"

namespace tarn::host::serve {

// The connection owns itself. data: shared by all connections of one server.
void StartSocks(Services& services, ClientSide client, std::shared_ptr<FtpDataPorts> data);

}  // namespace tarn::host::serve

#endif
