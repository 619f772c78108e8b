// A bounded view of an Ethernet II frame with IPv4 (RFC 791) and TCP (RFC 9293) inside; VLAN tags are not looked
// behind. Borrows the frame; any thread may read its own view.
#ifndef TARN_NETWORK_ETHERNET_FRAME_H
#define TARN_NETWORK_ETHERNET_FRAME_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/byte_reader.h"

namespace tarn::network {

inline constexpr std::size_t kEthernetHeader = 14;
inline constexpr std::uint16_t kEtherTypeIpv4 = 0x0800;
inline constexpr std::uint8_t kProtocolTcp = 6;

struct Ipv4Header {
    std::size_t length = 0;  // bytes, from the IHL as it stands: 0 to 60
    std::uint8_t protocol = 0;
    std::array<std::uint8_t, 4> source{};  // network order
    std::array<std::uint8_t, 4> destination{};
};

struct TcpPorts {
    std::uint16_t source = 0;  // host order
    std::uint16_t destination = 0;
};

// A port of host order in the byte order of the frame.
constexpr std::uint16_t NetworkOrder(std::uint16_t port) {
    return static_cast<std::uint16_t>((port >> 8) | (port << 8));
}

// Every read gives nothing when a byte that it needs lies past the end of the frame.
class EthernetFrame {
 public:
    explicit constexpr EthernetFrame(base::Bytes frame) : frame_(frame) {}

    [[nodiscard]] constexpr std::size_t Size() const { return frame_.size(); }
    [[nodiscard]] std::optional<std::array<std::uint8_t, 6>> SourceMac() const;
    [[nodiscard]] std::optional<std::uint16_t> EtherType() const;
    // The fields up to the destination address; the EtherType is not asked.
    [[nodiscard]] std::optional<Ipv4Header> Ipv4() const;
    // The TCP header begins behind the IPv4 header, options included; the protocol is not asked.
    [[nodiscard]] std::optional<TcpPorts> Ports(const Ipv4Header& ipv4) const;
    // Bytes of the TCP header, from the data offset as it stands: 0 to 60.
    [[nodiscard]] std::optional<std::size_t> TcpHeaderLength(const Ipv4Header& ipv4) const;
    // All bytes from an offset of the frame on; nothing when the offset lies past the end.
    [[nodiscard]] std::optional<base::Bytes> From(std::size_t offset) const;

 private:
    base::Bytes frame_;
};

}  // namespace tarn::network

#endif
