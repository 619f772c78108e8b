// What a TCP segment or UDP datagram says, as views into its Ethernet frame.
// Fragments of IP packets are passed over.
#ifndef TARN_HOST_CAPTURE_TRANSPORT_VIEW_H
#define TARN_HOST_CAPTURE_TRANSPORT_VIEW_H

#include <compare>
#include <cstdint>
#include <optional>

#include "base/byte_reader.h"
#include "host/capture/ip_address.h"

namespace tarn::host {

struct Endpoint {
    IpAddress address;
    std::uint16_t port = 0;

    friend constexpr auto operator<=>(const Endpoint&, const Endpoint&) = default;
};

struct TransportView {
    bool isTcp = false;  // otherwise UDP
    Endpoint source;
    Endpoint destination;
    base::Bytes payload;  // as far as it was captured

    std::uint32_t sequence = 0;  // the rest for TCP only
    std::uint32_t acknowledged = 0;
    bool syn = false;
    bool ack = false;
    bool fin = false;
    bool reset = false;
};

// What a frame holds, as far as a view of it is concerned.
enum class FrameContent {
    kTransport,  // a segment or datagram
    kFragment,   // of an IP packet
    kPppoe,      // another network's packet inside
    kDamaged,    // an IP, TCP or UDP header that does not fit into the frame
    kOther
};

// Nothing for a frame that is not kTransport. 802.1Q tags and IPv6 extension headers are passed over.
std::optional<TransportView> ViewTransport(base::Bytes frame);
std::optional<TransportView> ViewTransport(base::Bytes frame, FrameContent& content);

// Who sent an IP packet, also one that holds no whole segment or datagram; nothing for any other frame.
std::optional<IpAddress> ViewSource(base::Bytes frame);

}  // namespace tarn::host

#endif
