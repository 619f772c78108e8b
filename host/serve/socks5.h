// SOCKS5 without a login: CONNECT to addresses and names. The client is told that it is connected before anything is
// opened, because its first bytes decide whether that may be; opening.h goes on from there.
#ifndef TARN_HOST_SERVE_SOCKS5_H
#define TARN_HOST_SERVE_SOCKS5_H

#include "host/serve/opening.h"

namespace tarn::host::serve {

// The connection owns itself.
void StartSocks(Services& services, ClientSide client);

}  // namespace tarn::host::serve

#endif
