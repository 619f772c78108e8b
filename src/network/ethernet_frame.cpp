#include "network/ethernet_frame.h"

#include <algorithm>

namespace tarn::network {
namespace {

constexpr std::size_t kSourceMacOffset = 6;
constexpr std::size_t kEtherTypeOffset = 12;
constexpr std::size_t kTcpDataOffset = 12;  // from the start of the TCP header

template <std::size_t N>
bool ReadArray(base::ByteReader& reader, std::array<std::uint8_t, N>& out) {
    base::Bytes bytes;
    if (!reader.Take(N, bytes)) return false;
    std::ranges::copy(bytes, out.begin());
    return true;
}

}  // namespace

std::optional<std::array<std::uint8_t, 6>> EthernetFrame::SourceMac() const {
    base::ByteReader reader(frame_);
    std::array<std::uint8_t, 6> mac{};
    if (!reader.Skip(kSourceMacOffset) || !ReadArray(reader, mac)) return std::nullopt;
    return mac;
}

std::optional<std::uint16_t> EthernetFrame::EtherType() const {
    base::ByteReader reader(frame_);
    std::uint16_t type = 0;
    if (!reader.Skip(kEtherTypeOffset) || !reader.Be(type)) return std::nullopt;
    return type;
}

std::optional<Ipv4Header> EthernetFrame::Ipv4() const {
    base::ByteReader reader(frame_);
    Ipv4Header header;
    std::uint8_t versionAndLength = 0;
    if (!reader.Skip(kEthernetHeader) || !reader.Be(versionAndLength)) return std::nullopt;
    header.length = (versionAndLength & 0x0FU) * std::size_t{4};
    if (!reader.Skip(8) || !reader.Be(header.protocol) || !reader.Skip(2)) return std::nullopt;
    if (!ReadArray(reader, header.source) || !ReadArray(reader, header.destination)) return std::nullopt;
    return header;
}

std::optional<TcpPorts> EthernetFrame::Ports(const Ipv4Header& ipv4) const {
    base::ByteReader reader(frame_);
    TcpPorts ports;
    if (!reader.Skip(kEthernetHeader + ipv4.length)) return std::nullopt;
    if (!reader.Be(ports.source) || !reader.Be(ports.destination)) return std::nullopt;
    return ports;
}

std::optional<std::size_t> EthernetFrame::TcpHeaderLength(const Ipv4Header& ipv4) const {
    base::ByteReader reader(frame_);
    std::uint8_t offsetAndFlags = 0;
    if (!reader.Skip(kEthernetHeader + ipv4.length + kTcpDataOffset) || !reader.Be(offsetAndFlags)) return std::nullopt;
    return (offsetAndFlags >> 4U) * std::size_t{4};
}

std::optional<base::Bytes> EthernetFrame::From(std::size_t offset) const {
    base::ByteReader reader(frame_);
    if (!reader.Skip(offset)) return std::nullopt;
    return reader.Rest();
}

}  // namespace tarn::network
