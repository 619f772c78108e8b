#include "making/frames.h"

#include <algorithm>
#include <array>
#include <string>

#include "making/messages.h"

namespace tarn::fuzz {
namespace {

constexpr std::uint16_t kPorts[] = {80, 443, 21, 53, 445, 8080, 3389, 1433, 3306, 40000, 40001, 50000};
constexpr std::uint16_t kTagTypes[] = {0x8100, 0x88A8, 0x9100};
constexpr std::uint8_t kTcp = 6;
constexpr std::uint8_t kUdp = 17;
constexpr std::uint8_t kFragmentHeader = 44;
constexpr std::uint8_t kDestinationOptions = 60;

host::Endpoint TakeEndpoint(Pieces& pieces, bool isIpv6) {
    const std::uint8_t choice = pieces.Byte();
    host::Endpoint end;
    end.address.isIpv6 = isIpv6;
    const std::uint8_t machine = choice & 3;
    if (isIpv6)
        end.address.bytes = {0x20, 1, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, machine};
    else
        end.address.bytes = {machine == 3 ? std::uint8_t{10} : std::uint8_t{192}, 0, 2, machine};
    end.port = kPorts[(choice >> 2) % std::size(kPorts)];
    return end;
}

// RFC 1071.
std::uint16_t Checksum(Bytes bytes, std::uint32_t sum = 0) {
    for (std::size_t i = 0; i < bytes.size(); ++i) sum += static_cast<std::uint32_t>(bytes[i]) << (i % 2 == 0 ? 8 : 0);
    while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

Bytes AddressBytes(const host::IpAddress& address) {
    return Bytes(address.bytes).first(address.isIpv6 ? 16 : 4);
}

// Of a segment or datagram, with the addresses of its packet.
std::uint16_t TransportChecksum(const FramePlan& plan, Bytes segment) {
    const std::uint16_t addresses = static_cast<std::uint16_t>(~Checksum(AddressBytes(plan.source.address)));
    const std::uint16_t more = static_cast<std::uint16_t>(~Checksum(AddressBytes(plan.destination.address)));
    const std::uint32_t protocol = plan.isTcp ? kTcp : kUdp;
    return Checksum(segment, addresses + more + protocol + static_cast<std::uint32_t>(segment.size()));
}

void PutTransport(const FramePlan& plan, MarkedBytes& out) {
    const std::size_t start = out.Size();
    out.Put(plan.source.port, 2);
    out.Put(plan.destination.port, 2);
    std::size_t sum = 0;
    if (plan.isTcp) {
        out.Put(plan.sequence, 4);
        out.Put(plan.acknowledged, 4);
        out.PutMarked((5 + plan.tcpOptions) << 4, 1);
        out.Put(plan.flags, 1);
        out.Put(0xFFFF, 2);
        sum = out.Open(2);
        out.Put(0, 2);
        for (std::size_t i = 0; i < plan.tcpOptions * 4; ++i) out.Put(1, 1);  // no operation
        out.PutBytes(plan.payload);
    } else {
        const std::size_t length = out.Open(2);
        sum = out.Open(2);
        out.PutBytes(plan.payload);
        out.Close(length, 6);
    }
    out.Set(sum, TransportChecksum(plan, Bytes(out.All()).subspan(start)));
}

void PutIpv4(const FramePlan& plan, MarkedBytes& out) {
    const std::size_t start = out.Size();
    const std::size_t headerLength = 20 + plan.ipOptions * 4;
    out.PutMarked(0x40 | headerLength / 4, 1);
    out.Put(0, 1);
    const std::size_t length = out.Open(2);
    out.Put(0x1234, 2);
    out.PutMarked(plan.isFragment ? 0x2000 : 0x4000, 2);
    out.Put(64, 1);
    out.PutMarked(plan.isTcp ? kTcp : kUdp, 1);
    const std::size_t sum = out.Open(2);
    out.PutBytes(AddressBytes(plan.source.address));
    out.PutBytes(AddressBytes(plan.destination.address));
    for (std::size_t i = 0; i < plan.ipOptions * 4; ++i) out.Put(1, 1);
    PutTransport(plan, out);
    out.Close(length, 4);
    out.Set(sum, Checksum(Bytes(out.All()).subspan(start, headerLength)));
}

void PutIpv6(const FramePlan& plan, MarkedBytes& out) {
    const std::uint8_t transport = plan.isTcp ? kTcp : kUdp;
    const std::uint8_t behindOptions = plan.isFragment ? kFragmentHeader : transport;
    out.PutMarked(0x60000000, 4);
    const std::size_t length = out.Open(2);
    out.PutMarked(plan.ipOptions != 0 ? kDestinationOptions : behindOptions, 1);
    out.Put(64, 1);
    out.PutBytes(AddressBytes(plan.source.address));
    out.PutBytes(AddressBytes(plan.destination.address));
    const std::size_t behindHeader = out.Size();
    for (std::size_t i = 0; i < plan.ipOptions; ++i) {
        out.Put(i + 1 < plan.ipOptions ? kDestinationOptions : behindOptions, 1);
        out.PutMarked(i, 1);  // units of eight bytes behind the first
        out.PutZeros(6 + i * 8);
    }
    if (plan.isFragment) {
        out.Put(transport, 1);
        out.Put(0, 1);
        out.PutMarked(1, 2);
        out.Put(7, 4);
    }
    PutTransport(plan, out);
    out.Set(length, out.Size() - behindHeader);
}

std::string TakeHttp(Pieces& pieces) {
    constexpr std::string_view kMethods[] = {"GET", "POST", "HEAD", "CONNECT"};
    constexpr std::string_view kHosts[] = {"www.lantern.example", "chat.example:8080", "[2001:db8::1]:443",
                                           "192.0.2.10"};
    const std::uint8_t choice = pieces.Byte();
    std::string text(kMethods[choice % 4]);
    text += " /";
    text += pieces.TakeText(pieces.Byte());
    text += " HTTP/1.1\r\n";
    if ((choice & 0x40) != 0) text += "X: " + std::string(pieces.TakeText(pieces.Byte())) + "\r\n";
    text += "Host: ";
    text += (choice & 0x80) != 0 ? std::string(pieces.TakeText(pieces.Byte())) : std::string(kHosts[choice >> 2 & 3]);
    return text + "\r\n\r\n";
}

}  // namespace

ByteList TakePayload(Pieces& pieces) {
    MarkedBytes made;
    switch (pieces.Byte() % 6) {
        case 0: {
            const std::string text = TakeHttp(pieces);
            return {text.begin(), text.end()};
        }
        case 1:
            (void)PutHello(pieces, made);
            break;
        case 2:
            (void)PutDnsResponse(pieces, made);
            break;
        case 3: {
            const std::string text = "RETR " + std::string(pieces.TakeText(pieces.Byte())) + "\r\n";
            return {text.begin(), text.end()};
        }
        case 4:
            return {};
        default: {
            const Bytes bytes = pieces.Take(pieces.Number() % 1400);
            return {bytes.begin(), bytes.end()};
        }
    }
    made.MayBreak(pieces);
    return made.All();
}

FramePlan TakeFramePlan(Pieces& pieces) {
    FramePlan plan;
    const std::uint8_t link = pieces.Byte();
    const std::uint8_t packet = pieces.Byte();
    plan.tags = (link & 7) == 1 ? 1 + (link >> 3 & 3) : 0;
    plan.isTcp = packet % 4 != 3;
    plan.isFragment = (packet >> 2) % 16 == 5;
    plan.ipOptions = (link >> 3) % 8 == 7 ? 1 + (link >> 6) : 0;
    const bool isIpv6 = (packet >> 6) == 3;
    plan.source = TakeEndpoint(pieces, isIpv6);
    plan.destination = TakeEndpoint(pieces, isIpv6);
    if (plan.isTcp) {
        const std::uint8_t tcp = pieces.Byte();
        plan.flags = tcp & 0x17;
        plan.tcpOptions = tcp >> 5;
        plan.sequence = pieces.Number() % 4096;
        plan.acknowledged = pieces.Number() % 4096;
    }
    plan.payload = TakePayload(pieces);
    plan.padding = (link >> 6) == 2 ? pieces.Byte() % 32 : 0;
    return plan;
}

void PutPacket(const FramePlan& plan, MarkedBytes& out) {
    out.SetOrder(ByteOrder::kNetwork);
    if (plan.IsIpv6())
        PutIpv6(plan, out);
    else
        PutIpv4(plan, out);
}

void PutFrame(const FramePlan& plan, MarkedBytes& out) {
    out.SetOrder(ByteOrder::kNetwork);
    constexpr std::array<std::uint8_t, 12> kMacs{2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2};
    out.PutBytes(kMacs);
    for (std::size_t i = 0; i < plan.tags; ++i) {
        out.PutMarked(kTagTypes[i % std::size(kTagTypes)], 2);
        out.Put(i + 1, 2);
    }
    out.PutMarked(plan.IsIpv6() ? 0x86DD : 0x0800, 2);
    PutPacket(plan, out);
    out.PutZeros(plan.padding);
}

}  // namespace tarn::fuzz
