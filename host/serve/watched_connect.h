// Connects to a server for a client that waits for it, and gives up when the client has gone meanwhile.
// Used on the strand of the client's socket, which nobody else reads until it has called back.
#ifndef TARN_HOST_SERVE_WATCHED_CONNECT_H
#define TARN_HOST_SERVE_WATCHED_CONNECT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/serve/upstream.h"

namespace tarn::host::serve {

struct WatchedConnection {
    std::shared_ptr<Socket> server{};  // null when none answered, or the client has gone
    std::string mistake{};
    std::vector<std::uint8_t> said{};  // by the client meanwhile
    bool hasClientEnded = false;       // it sends nothing more; it may have ended its side alone
};

// How long a client is waited for that has ended its side.
inline constexpr std::chrono::seconds kEndedClientWaits{1};

// most: of what the client says meanwhile.
void ConnectWatching(Upstream& upstream, const std::vector<Endpoint>& endpoints, std::shared_ptr<Socket> client,
                     std::size_t most, std::function<void(WatchedConnection)> call);

}  // namespace tarn::host::serve

#endif
