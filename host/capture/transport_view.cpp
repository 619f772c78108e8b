#include "host/capture/transport_view.h"

#include <algorithm>
#include <cstddef>

namespace tarn::host {

namespace {

constexpr std::size_t kMacAddresses = 12;
constexpr std::uint16_t kTypeIpv4 = 0x0800;
constexpr std::uint16_t kTypeIpv6 = 0x86DD;
constexpr std::uint8_t kProtocolTcp = 6;
constexpr std::uint8_t kProtocolUdp = 17;
constexpr std::uint8_t kFragmentHeader = 44;
constexpr std::uint16_t kTypePppoeDiscovery = 0x8863;
constexpr std::uint16_t kTypePppoeSession = 0x8864;
constexpr int kMaxTags = 4;
constexpr int kMaxExtensionHeaders = 8;

bool IsTag(std::uint16_t type) {
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

bool TakeAddress(base::ByteReader& reader, bool isIpv6, IpAddress& out) {
    base::Bytes bytes;
    if (!reader.Take(isIpv6 ? 16 : 4, bytes)) return false;
    out.isIpv6 = isIpv6;
    std::copy(bytes.begin(), bytes.end(), out.bytes.begin());
    return true;
}

// The packet without the padding that short frames carry. A length of 0 stands in packets that were captured before
// the network card cut them.
base::Bytes WithoutPadding(base::Bytes packet, std::size_t length) {
    return length == 0 ? packet : packet.first(std::min(packet.size(), length));
}

struct IpContent {
    std::uint8_t protocol = 0;
    bool isFragment = false;
    base::Bytes bytes;
};

std::optional<IpContent> OpenIpv4(base::Bytes packet, TransportView& view) {
    base::ByteReader reader(packet);
    std::uint8_t versionAndLength = 0;
    std::uint16_t totalLength = 0;
    std::uint16_t fragment = 0;
    IpContent content;
    if (!reader.Be(versionAndLength) || versionAndLength >> 4 != 4 || !reader.Skip(1) || !reader.Be(totalLength) ||
        !reader.Skip(2) || !reader.Be(fragment) || !reader.Skip(1) || !reader.Be(content.protocol) || !reader.Skip(2) ||
        !TakeAddress(reader, false, view.source.address) || !TakeAddress(reader, false, view.destination.address))
        return std::nullopt;
    constexpr std::uint16_t kMoreFragmentsAndOffset = 0x3FFF;
    content.isFragment = (fragment & kMoreFragmentsAndOffset) != 0;
    const std::size_t headerLength = (versionAndLength & 0x0Fu) * std::size_t{4};
    packet = WithoutPadding(packet, totalLength);
    if (headerLength < 20 || headerLength > packet.size()) return std::nullopt;
    content.bytes = packet.subspan(headerLength);
    return content;
}

std::optional<IpContent> OpenIpv6(base::Bytes packet, TransportView& view) {
    base::ByteReader reader(packet);
    std::uint32_t versionAndFlow = 0;
    std::uint16_t length = 0;
    std::uint8_t next = 0;
    if (!reader.Be(versionAndFlow) || versionAndFlow >> 28 != 6 || !reader.Be(length) || !reader.Be(next) ||
        !reader.Skip(1) || !TakeAddress(reader, true, view.source.address) ||
        !TakeAddress(reader, true, view.destination.address))
        return std::nullopt;
    base::Bytes rest = WithoutPadding(packet.subspan(reader.Position()), length);
    for (int i = 0; i < kMaxExtensionHeaders; ++i) {
        const bool isOptions = next == 0 || next == 43 || next == 60;  // hop-by-hop, routing, destination
        if (!isOptions) return IpContent{next, next == kFragmentHeader, rest};
        base::ByteReader header(rest);
        std::uint8_t units = 0;
        if (!header.Be(next) || !header.Be(units) || !header.Skip(6 + units * std::size_t{8})) return std::nullopt;
        rest = rest.subspan(header.Position());
    }
    return std::nullopt;
}

bool OpenTcp(base::Bytes segment, TransportView& view) {
    base::ByteReader reader(segment);
    std::uint8_t length = 0;
    std::uint8_t flags = 0;
    if (!reader.Be(view.source.port) || !reader.Be(view.destination.port) || !reader.Be(view.sequence) ||
        !reader.Be(view.acknowledged) || !reader.Be(length) || !reader.Be(flags))
        return false;
    const std::size_t headerLength = (length >> 4) * std::size_t{4};
    if (headerLength < 20 || headerLength > segment.size()) return false;
    view.isTcp = true;
    view.fin = (flags & 0x01) != 0;
    view.syn = (flags & 0x02) != 0;
    view.reset = (flags & 0x04) != 0;
    view.ack = (flags & 0x10) != 0;
    view.payload = segment.subspan(headerLength);
    return true;
}

bool OpenUdp(base::Bytes datagram, TransportView& view) {
    base::ByteReader reader(datagram);
    std::uint16_t length = 0;
    if (!reader.Be(view.source.port) || !reader.Be(view.destination.port) || !reader.Be(length) || !reader.Skip(2))
        return false;
    if (length < 8) return false;
    view.payload = datagram.subspan(8).first(std::min<std::size_t>(datagram.size(), length) - 8);
    return true;
}

// The type of what stands behind the tags, and where.
bool OpenEthernet(base::Bytes frame, std::uint16_t& type, base::Bytes& packet) {
    base::ByteReader reader(frame);
    if (!reader.Skip(kMacAddresses) || !reader.Be(type)) return false;
    for (int tags = 0; IsTag(type); ++tags)
        if (tags == kMaxTags || !reader.Skip(2) || !reader.Be(type)) return false;
    packet = frame.subspan(reader.Position());
    return true;
}

}  // namespace

std::optional<IpAddress> ViewSource(base::Bytes frame) {
    constexpr std::size_t kUpToSourceV4 = 12;
    constexpr std::size_t kUpToSourceV6 = 8;
    std::uint16_t type = 0;
    base::Bytes packet;
    if (!OpenEthernet(frame, type, packet) || (type != kTypeIpv4 && type != kTypeIpv6)) return std::nullopt;
    base::ByteReader reader(packet);
    IpAddress source;
    if (!reader.Skip(type == kTypeIpv6 ? kUpToSourceV6 : kUpToSourceV4) ||
        !TakeAddress(reader, type == kTypeIpv6, source))
        return std::nullopt;
    return source;
}

std::optional<TransportView> ViewTransport(base::Bytes frame) {
    FrameContent ignored{};
    return ViewTransport(frame, ignored);
}

std::optional<TransportView> ViewTransport(base::Bytes frame, FrameContent& content) {
    std::uint16_t type = 0;
    base::Bytes packet;
    content = FrameContent::kOther;
    if (!OpenEthernet(frame, type, packet)) {
        content = FrameContent::kDamaged;
        return std::nullopt;
    }
    if (type == kTypePppoeDiscovery || type == kTypePppoeSession) content = FrameContent::kPppoe;
    if (type != kTypeIpv4 && type != kTypeIpv6) return std::nullopt;

    TransportView view;
    const std::optional<IpContent> ip = type == kTypeIpv4 ? OpenIpv4(packet, view) : OpenIpv6(packet, view);
    const bool isTcp = ip && ip->protocol == kProtocolTcp;
    const bool isUdp = ip && ip->protocol == kProtocolUdp;
    if (ip && ip->isFragment) {
        content = FrameContent::kFragment;
    } else if ((isTcp && OpenTcp(ip->bytes, view)) || (isUdp && OpenUdp(ip->bytes, view))) {
        content = FrameContent::kTransport;
        return view;
    } else if (!ip || isTcp || isUdp) {
        content = FrameContent::kDamaged;
    }
    return std::nullopt;
}

}  // namespace tarn::host
