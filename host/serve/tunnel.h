// Two open sockets whose bytes are handed on as they are, in both directions, until both have ended.
// A side that is not read keeps the other one waiting: no more than a buffer is held for each direction.
#ifndef TARN_HOST_SERVE_TUNNEL_H
#define TARN_HOST_SERVE_TUNNEL_H

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "host/serve/opening.h"

namespace tarn::host::serve {

// Between 2 and 64 KiB for each direction, as much as the traffic fills.
inline constexpr std::size_t kLeastTunnelBuffer = 2048;
inline constexpr std::size_t kMostTunnelBuffer = 65536;
inline constexpr std::size_t kMostHeld = 16384;
inline constexpr std::size_t kMostHeard = 2048;

enum class Held { kMore, kPass, kRefuse, kTakeOver, kTakeBoth };

// Whether what a tunnel carries is blocked by now; it is closed then.
using IsBlockedNow = std::function<bool()>;

// What holds the client's first bytes back when the server speaks first.
struct Inspection {
    // heard: what the server said, kMostHeard bytes at most. Of what passes, isBlockedNow may become another one.
    std::function<Held(base::Bytes said, std::string_view heard, IsBlockedNow& isBlockedNow)> judge;
    std::function<void(std::string_view said)> listen;  // to all that the server says meanwhile
    std::function<void(ClientSide)> takeOver;  // the server's side is closed then; nothing was sent to the client
    // The open server's side, too; what it said that the client has not got yet.
    std::function<void(ClientSide, std::shared_ptr<Socket> server, std::vector<std::uint8_t> serverSaid)> takeBoth;
};

// client.said goes to the server first, serverSaid to the client. isBlockedNow is asked at the start when the policy
// has changed since client.judgedAt, after each change and from time to time, on the strand of the client's socket;
// without it nobody asks.
void StartTunnel(Services& services, ClientSide client, std::shared_ptr<Socket> server,
                 std::vector<std::uint8_t> serverSaid = {}, IsBlockedNow isBlockedNow = {}, Inspection inspection = {});

}  // namespace tarn::host::serve

#endif
