#include "host/frame_scan.h"

#include <algorithm>
#include <utility>

#include "host/protocol_choice.h"

namespace tarn::host {

namespace {

constexpr std::size_t kEtherType = 12;
constexpr std::uint16_t kTypeIpv4 = 0x0800;
constexpr std::uint16_t kTypeIpv6 = 0x86DD;
constexpr std::size_t kIpHeader = 14;
constexpr std::size_t kMaxIpHeader = 60;
constexpr std::size_t kIpSource = kIpHeader + 12;
constexpr std::size_t kIpDestination = kIpHeader + 16;
constexpr std::uint8_t kTcp = 6;
constexpr std::uint16_t kSmbPort = 445;
// Attacked connections that are remembered so that each is reported and dropped once; then all are reported again.
constexpr std::size_t kMaxAttacked = 4096;

// Of a tagged frame the number that names tags; 0 for a frame that ends before it.
std::uint16_t EtherType(base::Bytes frame) {
    base::ByteReader reader(frame);
    std::uint16_t type = 0;
    return reader.Skip(kEtherType) && reader.Be(type) ? type : std::uint16_t{0};
}

bool IsUntaggedIpv4(base::Bytes frame) {
    return EtherType(frame) == kTypeIpv4;
}

// A service's port is its rule's number: the lower one, since clients take high ports.
std::uint16_t RuleNumber(const std::optional<TransportView>& view) {
    return view ? std::min(view->source.port, view->destination.port) : std::uint16_t{0};
}

// SMB messages that hold others sealed or packed.
std::optional<Unexamined> HiddenSmb(const TransportView& view) {
    constexpr std::size_t kLengthOfMessage = 4;
    constexpr std::uint16_t kSealed = 0xFD53;  // the first two of four bytes: 0xFD, "SMB"
    constexpr std::uint16_t kPacked = 0xFC53;
    const bool isSmb = view.isTcp && (view.source.port == kSmbPort || view.destination.port == kSmbPort);
    base::ByteReader reader(view.payload);
    std::uint16_t protocol = 0;
    if (!isSmb || !reader.Skip(kLengthOfMessage) || !reader.Be(protocol) || !reader.Skip(2)) return std::nullopt;
    if (protocol == kSealed) return Unexamined::kSmbEncrypted;
    return protocol == kPacked ? std::optional(Unexamined::kSmbCompressed) : std::nullopt;
}

std::string WithoutPort(const std::string& host) {
    const std::size_t bracket = host.find(']');
    return host.substr(0, host.find(':', bracket == std::string::npos ? 0 : bracket));
}

}  // namespace

void FrameScan::Add(const CapturedFrame& frame, const std::optional<TransportView>& view, FrameContent content) {
    if (view) {
        if (const std::optional<IpAddress> guess = localSide_.Learn(*view)) {
            beforeReport_();
            report_.LocalGuess(*guess);
        }
    }
    CountNotExamined(frame, view, content);
    // What this machine did not send came in, whoever else it was for.
    const std::optional<IpAddress> source = view ? view->source.address : ViewSource(frame.bytes);
    const bool inbound = !source || !localSide_.IsLocal(*source);
    ScanPacket(frame, view, inbound);
    ScanSmb(frame, view, inbound);
}

void FrameScan::CountNotExamined(const CapturedFrame& frame, const std::optional<TransportView>& view,
                                 FrameContent content) {
    const auto add = [&](Unexamined kind) {
        UnexaminedTraffic traffic{kind, frame.number, frame.timeNanoseconds};
        if (view) traffic.flow = FlowOf(*view);
        notExamined_.Add(std::move(traffic));
    };
    if (frame.IsCut()) add(Unexamined::kCut);
    switch (content) {
        case FrameContent::kFragment:
            return add(Unexamined::kFragment);
        case FrameContent::kPppoe:
            return add(Unexamined::kPppoe);
        case FrameContent::kDamaged:
            return add(Unexamined::kDamaged);
        case FrameContent::kOther:
            return add(Unexamined::kOtherFrame);
        case FrameContent::kTransport:
            break;
    }
    if (const std::uint16_t type = EtherType(frame.bytes); type != kTypeIpv4)
        add(type == kTypeIpv6 ? Unexamined::kIpv6 : Unexamined::kVlan);
    else if (const auto hidden = view ? HiddenSmb(*view) : std::nullopt)
        add(*hidden);
}

void FrameScan::ScanPacket(const CapturedFrame& frame, const std::optional<TransportView>& view, bool inbound) {
    const PacketVerdict verdict = judge_.ScanPacket(frame.bytes, RuleNumber(view), inbound);
    if (verdict.action != TARN_PACKET_BLOCK && verdict.filled == 0) return;
    PacketAttack attack;
    attack.verdict = verdict;
    attack.latency = judge_.LastLatency();
    attack.frame = frame.number;
    attack.timeNanoseconds = frame.timeNanoseconds;
    attack.inbound = inbound;
    if (view) {
        attack.remote = inbound ? view->source : view->destination;
        attack.local = inbound ? view->destination : view->source;
        attack.flow = FlowOf(*view);
        attack.isFromClient = IsFromClient(*view);
    }
    if (attacked_.size() >= kMaxAttacked) attacked_.clear();
    const std::uint32_t reason = attack.verdict.reason;
    attack.isFirst = attacked_.emplace(attack.remote, attack.local.port, reason).second;
    if (attack.verdict.action == TARN_PACKET_BLOCK) {
        if (view) BlockAskedAddress(*view, attack);
        if (isDropping_ && attack.isFirst) attack.dropped = Drop(frame.bytes, inbound);
    }
    if (entries_ != nullptr) attack.entry = entries_->Find(attack, frame.bytes);
    beforeReport_();
    report_.Attack(attack);
}

void FrameScan::BlockAskedAddress(const TransportView& view, PacketAttack& attack) {
    if (attack.inbound) return;
    const Protocol* protocol = ChooseProtocol({view.payload, view.destination.port, view.isTcp, true});
    if (protocol != &HttpProtocol()) return;
    const RequestView request = protocol->view(view.payload);
    if (request.host.empty()) return;
    const std::string host = WithoutPort(request.host);
    judge_.BlockAddress(host, request.path);
    attack.blockedAddress = host + request.path;
}

std::optional<bool> FrameScan::Drop(base::Bytes frame, bool inbound) {
    const std::vector<std::uint8_t> outbound = OutboundFrame(frame, inbound);
    if (outbound.empty()) return std::nullopt;
    return judge_.DropConnection(outbound);
}

void FrameScan::ScanSmb(const CapturedFrame& frame, const std::optional<TransportView>& view, bool inbound) {
    const std::optional<SmbScanResult> event = judge_.ScanSmb(frame.bytes, inbound);
    if (!event) return;
    ShareFile file{frame.number, frame.timeNanoseconds, *event};
    file.latency = judge_.LastLatency();
    if (view) file.flow = Flow{view->isTcp, view->destination, view->source};  // the server's answer
    beforeReport_();
    report_.File(file);
}

std::vector<std::uint8_t> OutboundFrame(base::Bytes frame, bool inbound) {
    base::ByteReader reader(frame);
    std::uint8_t versionAndLength = 0;
    std::uint8_t protocol = 0;
    if (!IsUntaggedIpv4(frame) || !reader.Skip(kIpHeader) || !reader.Be(versionAndLength) || !reader.Skip(8) ||
        !reader.Be(protocol) || protocol != kTcp)
        return {};
    const std::size_t tcp = kIpHeader + (versionAndLength & 0x0Fu) * std::size_t{4};
    if (!base::Window(frame, tcp, 4)) return {};
    std::vector<std::uint8_t> copy(frame.begin(), frame.end());
    copy.resize(std::max(copy.size(), kIpHeader + kMaxIpHeader + 4));
    if (inbound) {
        const auto at = [&](std::size_t offset) { return copy.begin() + static_cast<std::ptrdiff_t>(offset); };
        std::swap_ranges(at(kIpSource), at(kIpSource + 4), at(kIpDestination));
        std::swap_ranges(at(tcp), at(tcp + 2), at(tcp + 2));
    }
    return copy;
}

}  // namespace tarn::host
