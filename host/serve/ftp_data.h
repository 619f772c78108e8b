// The ports that FTP servers offered for their transfers (RFC 959, RFC 2428): who connects there waits for the server.
// Any thread may call it. An offer counts once, for the client that got it, and not for long.
#ifndef TARN_HOST_SERVE_FTP_DATA_H
#define TARN_HOST_SERVE_FTP_DATA_H

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "host/capture/transport_view.h"

namespace tarn::host::serve {

// The port that a server's reply of one line offers on its own address; nothing for other replies, for another address,
// and for the ports of well-known services.
std::optional<std::uint16_t> OfferedFtpPort(std::string_view reply, const IpAddress& server);

class FtpDataPorts {
 public:
    void Offer(const IpAddress& client, const Endpoint& server);
    // Whether it was offered; from then on no more.
    bool Take(const IpAddress& client, const Endpoint& server);

 private:
    using Clock = std::chrono::steady_clock;
    std::mutex mutex_;
    std::map<std::pair<IpAddress, Endpoint>, Clock::time_point> offers_;  // until when
};

}  // namespace tarn::host::serve

#endif
