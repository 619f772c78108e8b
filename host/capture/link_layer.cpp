#include "host/capture/link_layer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "base/byte_reader.h"

namespace tarn::host {

namespace {

constexpr std::pair<std::uint16_t, std::string_view> kLinkTypeNames[] = {
    {0, "BSD loopback"},
    {1, "Ethernet"},
    {9, "PPP"},
    {12, "raw IP"},
    {14, "raw IP"},
    {101, "raw IP"},
    {105, "IEEE 802.11"},
    {108, "OpenBSD loopback"},
    {113, "Linux cooked"},
    {127, "IEEE 802.11 with radiotap"},
    {187, "Bluetooth HCI"},
    {189, "USB (Linux)"},
    {192, "per-packet information"},
    {195, "IEEE 802.15.4"},
    {220, "USB (Linux)"},
    {228, "raw IPv4"},
    {229, "raw IPv6"},
    {249, "USB (Windows)"},
    {253, "netlink"},
    {276, "Linux cooked v2"},
};

constexpr std::uint16_t kTypeIpv4 = 0x0800;
constexpr std::uint16_t kTypeIpv6 = 0x86DD;

// What a header says of the frame behind it.
struct LinkHeader {
    std::size_t length = 0;
    std::uint16_t type = 0;  // as Ethernet numbers it
    std::array<std::uint8_t, 6> sender{};
};

// Six bytes of a hardware address, of the eight that a cooked header has room for.
void TakeSender(std::uint16_t length, base::Bytes address, LinkHeader& header) {
    if (length == header.sender.size()) std::copy_n(address.begin(), header.sender.size(), header.sender.begin());
}

std::optional<LinkHeader> ReadCooked(base::Bytes frame) {
    base::ByteReader reader(frame);
    LinkHeader header;
    std::uint16_t addressLength = 0;
    base::Bytes address;
    if (!reader.Skip(4) || !reader.Be(addressLength) || !reader.Take(8, address) || !reader.Be(header.type))
        return std::nullopt;
    header.length = reader.Position();
    TakeSender(addressLength, address, header);
    return header;
}

std::optional<LinkHeader> ReadCookedV2(base::Bytes frame) {
    base::ByteReader reader(frame);
    LinkHeader header;
    std::uint8_t addressLength = 0;
    base::Bytes address;
    if (!reader.Be(header.type) || !reader.Skip(9) || !reader.Be(addressLength) || !reader.Take(8, address))
        return std::nullopt;
    header.length = reader.Position();
    TakeSender(addressLength, address, header);
    return header;
}

std::optional<LinkHeader> ReadRawIp(base::Bytes frame) {
    std::uint8_t versionAndLength = 0;
    if (!base::ByteReader(frame).Be(versionAndLength)) return std::nullopt;
    const unsigned version = versionAndLength >> 4U;
    if (version != 4 && version != 6) return std::nullopt;
    return LinkHeader{0, version == 4 ? kTypeIpv4 : kTypeIpv6, {}};
}

// A number of the capturing system for the address family, in that system's byte order.
std::optional<LinkHeader> ReadLoopback(base::Bytes frame) {
    constexpr std::uint32_t kIpv4 = 2;
    constexpr std::uint32_t kIpv6[] = {10, 24, 28, 30};  // Linux, NetBSD, FreeBSD, macOS
    std::uint32_t big = 0;
    std::uint32_t little = 0;
    if (!base::ByteReader(frame).Be(big) || !base::ByteReader(frame).Le(little)) return std::nullopt;
    const std::uint32_t family = std::min(big, little);  // the numbers are small
    if (family == kIpv4) return LinkHeader{4, kTypeIpv4, {}};
    if (std::find(std::begin(kIpv6), std::end(kIpv6), family) != std::end(kIpv6)) return LinkHeader{4, kTypeIpv6, {}};
    return std::nullopt;
}

struct LinkType {
    std::uint16_t number;
    std::optional<LinkHeader> (*read)(base::Bytes frame);
};

// Besides Ethernet itself.
constexpr LinkType kLinkTypes[] = {
    {0, ReadLoopback}, {12, ReadRawIp},  {14, ReadRawIp},  {101, ReadRawIp},    {108, ReadLoopback},
    {113, ReadCooked}, {228, ReadRawIp}, {229, ReadRawIp}, {276, ReadCookedV2},
};

const LinkType* Find(std::uint16_t number) {
    const auto found = std::find_if(std::begin(kLinkTypes), std::end(kLinkTypes),
                                    [&](const LinkType& type) { return type.number == number; });
    return found == std::end(kLinkTypes) ? nullptr : found;
}

constexpr std::uint16_t kEthernet = 1;

}  // namespace

bool IsReplayedLinkType(std::uint16_t linkType) {
    return linkType == kEthernet || Find(linkType) != nullptr;
}

std::string_view LinkTypeName(std::uint16_t linkType) {
    for (const auto& [number, name] : kLinkTypeNames)
        if (number == linkType) return name;
    return "a type without a name here";
}

void MakeEthernet(std::uint16_t linkType, std::vector<std::uint8_t>& frame) {
    const LinkType* const type = Find(linkType);
    if (type == nullptr) return;
    const LinkHeader header = type->read(frame).value_or(LinkHeader{});
    std::array<std::uint8_t, 14> made{};
    std::copy(header.sender.begin(), header.sender.end(), made.begin() + 6);
    made[12] = static_cast<std::uint8_t>(header.type >> 8);
    made[13] = static_cast<std::uint8_t>(header.type & 0xFF);
    frame.erase(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(header.length));
    frame.insert(frame.begin(), made.begin(), made.end());
}

}  // namespace tarn::host
