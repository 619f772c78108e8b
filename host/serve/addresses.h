// Kinds of addresses that decide whether a server may be reached.
// Pure functions but for what asks which addresses this machine has; any thread may call all of it.
#ifndef TARN_HOST_SERVE_ADDRESSES_H
#define TARN_HOST_SERVE_ADDRESSES_H

#include <chrono>
#include <functional>
#include <map>
#include <mutex>

#include "host/capture/ip_address.h"

namespace tarn::host::serve {

// 169.254.0.0/16 and fe80::/10.
bool IsLinkLocal(const IpAddress& address);
// 127.0.0.0/8 and ::1.
bool IsLoopback(const IpAddress& address);
bool IsUnspecified(const IpAddress& address);

// ::ffff:0:0/96 reaches the IPv4 address inside.
IpAddress Unmapped(const IpAddress& address);

// Whether this machine has an address: the loopback, or in a network. kUnknown: the system could not be asked.
enum class Own { kNo, kYes, kUnknown };
Own AskWhetherOwn(const IpAddress& address);

// Remembers what it was told for some seconds: asking takes a socket.
class OwnAddresses {
 public:
    using Ask = std::function<Own(const IpAddress& address)>;
    static constexpr std::chrono::seconds kKept{5};
    static constexpr std::size_t kMost = 1024;

    explicit OwnAddresses(Ask ask = AskWhetherOwn, std::chrono::milliseconds kept = kKept)
        : ask_(std::move(ask)), kept_(kept) {}
    Own Find(const IpAddress& address);

 private:
    struct Known {
        Own own;
        std::chrono::steady_clock::time_point since;
    };
    const Ask ask_;
    const std::chrono::milliseconds kept_;
    std::mutex mutex_;
    std::map<IpAddress, Known> known_;
};

}  // namespace tarn::host::serve

#endif
