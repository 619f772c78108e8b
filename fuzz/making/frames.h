// Ethernet frames from an input: addresses, ports and payload as a plan says, lengths and checksums right.
#ifndef TARN_FUZZ_MAKING_FRAMES_H
#define TARN_FUZZ_MAKING_FRAMES_H

#include "host/capture/transport_view.h"
#include "making/marked_bytes.h"
#include "target.h"

namespace tarn::fuzz {

struct FramePlan {
    std::size_t tags = 0;  // of VLANs
    bool isTcp = true;     // otherwise UDP
    bool isFragment = false;
    std::size_t ipOptions = 0;   // words of IPv4, headers of options of IPv6
    std::size_t tcpOptions = 0;  // words
    std::size_t padding = 0;     // behind the packet
    host::Endpoint source{};     // both of one family
    host::Endpoint destination{};
    std::uint32_t sequence = 0;
    std::uint32_t acknowledged = 0;
    std::uint8_t flags = 0;  // of TCP
    ByteList payload{};

    [[nodiscard]] bool IsIpv6() const { return source.address.isIpv6; }
};

// Between a few machines and well-known ports, so that frames of one input belong together now and then.
FramePlan TakeFramePlan(Pieces& pieces);

// The segment or datagram alone, and with the link layer around it.
void PutPacket(const FramePlan& plan, MarkedBytes& out);
void PutFrame(const FramePlan& plan, MarkedBytes& out);

// First bytes of a client or a server: of one of the protocols that are judged, or any.
ByteList TakePayload(Pieces& pieces);

}  // namespace tarn::fuzz

#endif
