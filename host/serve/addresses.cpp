#include "host/serve/addresses.h"

#include <algorithm>
#include <array>
#include <exception>

#include "host/serve/connection.h"

namespace tarn::host::serve {

bool IsLinkLocal(const IpAddress& address) {
    const auto& bytes = address.bytes;
    return address.isIpv6 ? bytes[0] == 0xFE && (bytes[1] & 0xC0) == 0x80 : bytes[0] == 169 && bytes[1] == 254;
}

bool IsLoopback(const IpAddress& address) {
    if (!address.isIpv6) return address.bytes[0] == 127;
    return address == ParseIpAddress("::1");
}

bool IsUnspecified(const IpAddress& address) {
    return std::all_of(address.bytes.begin(), address.bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

IpAddress Unmapped(const IpAddress& address) {
    static constexpr std::array<std::uint8_t, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    if (!address.isIpv6 || !std::equal(kMapped.begin(), kMapped.end(), address.bytes.begin())) return address;
    IpAddress inner;
    std::copy(address.bytes.begin() + 12, address.bytes.end(), inner.bytes.begin());
    return inner;
}

// A datagram to an address of this machine would leave from that address. None is sent.
Own AskWhetherOwn(const IpAddress& address) {
    if (IsLoopback(address)) return Own::kYes;
    constexpr std::uint16_t kAnyPort = 9;
    const Udp::endpoint to(AddressOfEndpoint({address, 0}), kAnyPort);
    // Without a way to it, or without IPv6, it is none of this machine's.
    const auto isElsewhere = [](ErrorCode error) {
        return error == asio::error::network_unreachable || error == asio::error::host_unreachable ||
               error == asio::error::address_family_not_supported;
    };
    try {
        asio::io_context io;
        Udp::socket socket(io);
        ErrorCode error;
        socket.open(to.protocol(), error);
        if (!error) socket.connect(to, error);
        if (error) return isElsewhere(error) ? Own::kNo : Own::kUnknown;
        const Udp::endpoint from = socket.local_endpoint(error);
        if (error) return Own::kUnknown;
        return from.address() == to.address() ? Own::kYes : Own::kNo;
    } catch (const std::exception&) {  // no room for another io_context
        return Own::kUnknown;
    }
}

Own OwnAddresses::Find(const IpAddress& address) {
    if (IsLoopback(address)) return Own::kYes;
    const auto now = std::chrono::steady_clock::now();
    {
        const std::lock_guard lock(mutex_);
        const auto found = known_.find(address);
        if (found != known_.end() && now - found->second.since < kept_) return found->second.own;
    }
    const Own own = ask_(address);
    const std::lock_guard lock(mutex_);
    if (known_.size() >= kMost) known_.clear();
    if (own == Own::kUnknown)
        known_.erase(address);  // perhaps it can be asked the next time
    else
        known_.insert_or_assign(address, Known{own, now});
    return own;
}

}  // namespace tarn::host::serve
