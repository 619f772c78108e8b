// Ethernet frames with IPv4 and TCP inside, built field by field, and exact-size copies of them.
#ifndef TARN_TESTS_NETWORK_FRAME_BYTES_H
#define TARN_TESTS_NETWORK_FRAME_BYTES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "tarn/records.h"

namespace tarn::network {

using Ipv4 = std::array<std::uint8_t, 4>;
inline constexpr Ipv4 kPeer = {203, 0, 113, 7};
inline constexpr Ipv4 kThisMachine = {192, 0, 2, 10};

struct FrameFields {
    std::array<std::uint8_t, 6> destinationMac = {0x02, 0x11, 0x12, 0x13, 0x14, 0x15};
    std::array<std::uint8_t, 6> sourceMac = {0x02, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
    std::uint16_t etherType = 0x0800;
    std::uint8_t version = 4;
    std::uint8_t headerWords = 5;  // the IHL
    std::uint8_t protocol = 6;
    Ipv4 source = kPeer;
    Ipv4 destination = kThisMachine;
    std::uint16_t sourcePort = 50123;
    std::uint16_t destinationPort = 445;
    std::size_t payload = 0;
};

using FrameBytes = std::vector<std::uint8_t>;

// With the 20 bytes of a TCP header. An IHL below 5 leaves the ports out: the scan reads them inside the IPv4 header.
inline FrameBytes MakeFrame(const FrameFields& fields) {
    const std::size_t tcp = 14 + std::max<std::size_t>(fields.headerWords, 5) * 4;
    FrameBytes bytes(tcp + 20 + fields.payload, 0xEE);
    const auto put16 = [&](std::size_t at, std::uint16_t value) {
        bytes[at] = static_cast<std::uint8_t>(value >> 8);
        bytes[at + 1] = static_cast<std::uint8_t>(value & 0xFF);
    };
    std::ranges::copy(fields.destinationMac, bytes.begin());
    std::ranges::copy(fields.sourceMac, bytes.begin() + 6);
    put16(12, fields.etherType);
    bytes[14] = static_cast<std::uint8_t>(fields.version << 4 | fields.headerWords);
    bytes[23] = fields.protocol;
    std::ranges::copy(fields.source, bytes.begin() + 26);
    std::ranges::copy(fields.destination, bytes.begin() + 30);
    if (fields.headerWords >= 5) {
        put16(tcp, fields.sourcePort);
        put16(tcp + 2, fields.destinationPort);
    }
    return bytes;
}

// The first length bytes in a heap block of exactly that size, so that the sanitizer sees every read past the end.
class ExactBlock {
 public:
    ExactBlock(const FrameBytes& bytes, std::size_t length) : block_(new std::uint8_t[length]) {
        if (length != 0) std::memcpy(block_.get(), bytes.data(), length);
    }
    [[nodiscard]] const std::uint8_t* Data() const { return block_.get(); }

 private:
    std::unique_ptr<std::uint8_t[]> block_;
};

inline IpAddressRecord AddressRecord(const Ipv4& bytes) {
    IpAddressRecord record{};
    std::ranges::copy(bytes, record.bytes);
    return record;
}
inline IpAddressRecord NumberedAddress(std::uint32_t number) {
    return AddressRecord({static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16 & 0xFF),
                          static_cast<std::uint8_t>(number >> 8 & 0xFF), static_cast<std::uint8_t>(number & 0xFF)});
}

}  // namespace tarn::network

#endif
