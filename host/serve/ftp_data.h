// The ports of FTP: those of its servers, and those that servers offered for their transfers (RFC 959, RFC 2428). Who
// connects to one of these waits for the server.
// Any thread may call it. An offer counts once, for the client that got it, and not for long.
#ifndef TARN_HOST_SERVE_FTP_DATA_H
#define TARN_HOST_SERVE_FTP_DATA_H

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/capture/transport_view.h"

namespace tarn::host::serve {

// On these ports a connection is FTP from the beginning: the usual one, and where servers stand that may not have it.
inline constexpr std::uint16_t kFtpPort = 21;
inline constexpr std::uint16_t kOtherFtpPort = 2121;
bool IsFtpPort(std::uint16_t port);

// The port that a server's reply of one line offers on its own address; nothing for other replies, for another address,
// and for the ports of well-known services.
std::optional<std::uint16_t> OfferedFtpPort(std::string_view reply, const IpAddress& server);

class FtpDataPorts {
 public:
    // host: as the client named the server of its session.
    void Offer(const IpAddress& client, const Endpoint& server, const std::string& host);
    // That host when the port was offered, from then on no more. named: what the client calls the server now, which is
    // that host or an address; behind another name it is no transfer.
    std::optional<std::string> Take(const IpAddress& client, const Endpoint& server, std::string_view named);

 private:
    using Clock = std::chrono::steady_clock;
    std::mutex mutex_;
    struct Offered {
        std::string host{};
        Clock::time_point until{};
    };
    std::map<std::pair<IpAddress, Endpoint>, Offered> offers_;
};

}  // namespace tarn::host::serve

#endif
