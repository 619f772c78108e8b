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

enum class Waiting {
    kForClient,  // until its first bytes are there, or it has been silent for long
    kForServer   // not at all: it is known that the server speaks first. What the client says is judged nevertheless
};

// HTTP goes on in http_proxy.h with each request judged; everything else is a tunnel once its first bytes are judged.
void StartOpening(Services& services, ClientSide client, Target target, Waiting waiting = Waiting::kForClient);

}  // namespace tarn::host::serve

#endif
