// A connection whose client named its server already (CONNECT, SOCKS5): what the client says first decides what it is
// and is judged before anything goes upstream. Used on the strand of the client's socket.
#ifndef TARN_HOST_SERVE_OPENING_H
#define TARN_HOST_SERVE_OPENING_H

#include <functional>
#include <memory>
#include <vector>

#include "host/serve/connection.h"
#include "host/serve/upstream.h"

namespace tarn::host::serve {

// The client's side of a connection, handed from one protocol to the next.
struct ClientSide {
    std::shared_ptr<Socket> socket;
    std::vector<std::uint8_t> said;  // what was read and not used yet
    Endpoint client;
    Endpoint listener;
    std::uint32_t processId = 0;
    ConnectionSet::Place place;
    std::uint64_t judgedAt = 0;  // Filter::Changes() before what it says was judged
    bool hasEnded = false;       // it says nothing more
};

// HTTP goes on in http_proxy.h with each request judged, FTP in ftp_control.h with each command; everything else is a
// tunnel once its first bytes are judged.
void StartOpening(Services& services, ClientSide client, Target target);

}  // namespace tarn::host::serve

#endif
