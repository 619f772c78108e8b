// Messages and frames that are made right, with what a reader has to find in them, and then broken in one place now
// and then: the readers get further in them than in bytes that were changed anywhere.
#include <algorithm>
#include <array>
#include <cstring>

#include "base/bounded_text.h"
#include "host/capture/transport_view.h"
#include "host/frame_scan.h"
#include "host/request_view.h"
#include "making/frames.h"
#include "making/messages.h"
#include "making/smb_conversation.h"
#include "network/connection_drop.h"
#include "network/dns_response.h"
#include "network/ethernet_frame.h"
#include "smb/frame_dispatch.h"
#include "targets.h"
#include "url/tls_client_hello.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kLeastIpHeader = 20;

bool SameBytes(Bytes a, Bytes b) {
    return std::ranges::equal(a, b);
}

// ---- Frames ----

void RequireView(const FramePlan& plan, Bytes frame) {
    host::FrameContent content{};
    const auto view = host::ViewTransport(frame, content);
    const auto source = host::ViewSource(frame);
    Require(source && *source == plan.source.address, "the source of a packet is found");
    if (plan.isFragment) {
        Require(!view && content == host::FrameContent::kFragment, "a fragment is told as one");
        return;
    }
    Require(view && content == host::FrameContent::kTransport, "a segment or datagram is found");
    Require(view->isTcp == plan.isTcp && view->source == plan.source && view->destination == plan.destination,
            "both ends of a frame are found");
    Require(SameBytes(view->payload, plan.payload), "the payload is found without its padding");
    if (!plan.isTcp) return;
    Require(view->sequence == plan.sequence && view->acknowledged == plan.acknowledged, "the sequence is found");
    const std::uint8_t flags = static_cast<std::uint8_t>((view->fin ? 1 : 0) | (view->syn ? 2 : 0) |
                                                         (view->reset ? 4 : 0) | (view->ack ? 16 : 0));
    Require(flags == plan.flags, "the flags of a segment are found");
}

// What the library's own view, which looks behind no tag, makes of an untagged IPv4 frame.
void RequireLibraryView(const FramePlan& plan, Bytes frame) {
    const network::EthernetFrame view(frame);
    const auto ipv4 = view.Ipv4();
    Require(ipv4 && ipv4->length == 20 + plan.ipOptions * 4, "the library finds the header");
    Require(SameBytes(ipv4->source, Bytes(plan.source.address.bytes).first(4)) &&
                SameBytes(ipv4->destination, Bytes(plan.destination.address.bytes).first(4)),
            "the library finds the addresses");
    const auto ports = view.Ports(*ipv4);
    Require(ports && ports->source == plan.source.port && ports->destination == plan.destination.port,
            "the library finds the ports");
    if (plan.isTcp) Require(view.TcpHeaderLength(*ipv4) == 20 + plan.tcpOptions * 4, "the library finds the payload");
}

// Dropping a connection takes a frame without a length, so what is handed over must reach behind the ports.
void RequireDrop(Bytes frame, bool inbound) {
    const std::vector<std::uint8_t> outbound = host::OutboundFrame(frame, inbound);
    if (outbound.empty()) return;
    const auto ipv4 = network::EthernetFrame(frame).Ipv4();
    Require(ipv4.has_value(), "only a frame with a header is handed over");
    if (ipv4->length < kLeastIpHeader) return;  // ports within the header, where the ends were exchanged as well
    const ExactBlock block(outbound);
    const auto row = network::RowOfConnection(block.View().data());
    Require(row.has_value(), "a frame that is handed over names a connection");
    const auto ports = network::EthernetFrame(frame).Ports(*ipv4);
    Require(ports && row->localPort == network::NetworkOrder(inbound ? ports->destination : ports->source),
            "this machine's end of a connection is the local one");
}

// ---- SMB ----

bool IsText(std::u16string_view text, const void* field, std::size_t size) {
    std::u16string found(size / sizeof(char16_t), u'\0');
    std::memcpy(found.data(), field, size);
    return base::FieldText(found.data(), found.size()) == text;
}

void RequireFile(const MadeFile& file, const SmbScanResult& result) {
    constexpr std::array<std::uint16_t, 6> kReported{
        0, 0, TARN_SMB_CREATED, TARN_SMB_OVERWRITTEN, TARN_SMB_OVERWRITTEN, TARN_SMB_OVERWRITTEN};
    Require(result.resultKind == TARN_SMB_FILE_EVENT, "a file that a server created is reported");
    Require(result.createAction == kReported[file.action], "what a server did with a file is reported");
    Require(IsText(file.sharePath, &result.sharePath, sizeof result.sharePath), "the share is the one asked for");
    Require(IsText(file.fileName, &result.fileName, sizeof result.fileName), "the file is the one asked for");
    constexpr std::array<std::uint8_t, 4> kServer{192, 0, 2, 10};
    Require(std::memcmp(&result.sourceAddress, kServer.data(), kServer.size()) == 0, "the server is the source");
}

}  // namespace

void MadeFrame(Bytes input) {
    Pieces pieces(input);
    const bool inbound = pieces.Byte() % 2 != 0;
    const FramePlan plan = TakeFramePlan(pieces);
    MarkedBytes made;
    PutFrame(plan, made);
    const bool isWhole = made.MayBreak(pieces);
    const ExactBlock frame(made.All());
    EthernetFrames(frame.View());
    RequireDrop(frame.View(), inbound);

    ByteList scanned{0, 7, inbound ? std::uint8_t{1} : std::uint8_t{0}};
    scanned.insert(scanned.end(), made.All().begin(), made.All().end());
    PacketScan(scanned);

    if (!isWhole) return;
    RequireView(plan, frame.View());
    if (plan.tags == 0 && !plan.IsIpv6()) RequireLibraryView(plan, frame.View());
}

void MadeTlsHello(Bytes input) {
    Pieces pieces(input);
    MarkedBytes made;
    const MadeHello hello = PutHello(pieces, made);
    const bool isWhole = made.MayBreak(pieces);
    const ExactBlock block(made.All());
    TlsHello(block.View());
    (void)host::ViewTlsHello(block.View());
    if (!isWhole) return;
    url::UrlText name;
    Require(url::ExtractTlsServerName(block.View(), name) == hello.isTaken, "a hello within the bounds is read");
    if (hello.isTaken)
        Require(name.View() == hello.name.substr(0, hello.name.find('\0')), "the name is the one in the hello");
    Require(host::ViewTlsHello(block.View()).host == hello.name, "the viewer sees the name as it stands");
    Require(host::HidesHello(block.View()) == hello.hides, "an encrypted hello is seen");
    Require(host::RecordLength(block.View()) == block.View().size(), "the record ends with the hello");
}

void MadeDnsMessage(Bytes input) {
    Pieces pieces(input);
    MarkedBytes made;
    const MadeDnsResponse response = PutDnsResponse(pieces, made);
    const bool isWhole = made.MayBreak(pieces);
    ByteList alone{0};
    alone.insert(alone.end(), made.All().begin(), made.All().end());
    DnsResponse(alone);
    if (!isWhole) return;
    const ExactBlock block(made.All());
    DnsAnswerEntry answer;
    std::memset(&answer, 0xCD, sizeof answer);
    Require(network::ParseDnsResponse(block.View(), answer) == response.isTaken,
            "a response within the bounds is read");
    if (!response.isTaken) return;
    Require(std::memcmp(answer.hostName, response.name.c_str(), response.name.size() + 1) == 0,
            "the name is the one asked for");
    Require(answer.addressCount == response.addresses.size(), "every address is counted");
    for (std::size_t i = 0; i < std::min<std::size_t>(response.addresses.size(), 2); ++i)
        Require(std::memcmp(&answer.addresses[i], &response.addresses[i], sizeof(IpAddressRecord)) == 0,
                "the first two addresses are kept, IPv4 before IPv6");
}

// A conversation is right up to the one frame that may be broken.
void MadeSmb(Bytes input) {
    Pieces pieces(input);
    const std::uint8_t breaking = pieces.Byte();
    const std::uint8_t brokenFrame = pieces.Byte();
    const Bytes how = pieces.Take(8);
    std::vector<MadeSmbFrame> frames = TakeSmbConversation(pieces);
    std::size_t right = frames.size();
    if (breaking % 2 == 1 && !frames.empty()) {
        right = brokenFrame % frames.size();
        Pieces choice(how);
        frames[right].bytes.Break(choice);
    }

    smb::SmbTables tables;
    ByteList again;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const MadeSmbFrame& frame = frames[i];
        const ExactBlock block(frame.bytes.All());
        SmbScanResult result;
        std::memset(&result, 0, sizeof result);
        const bool isValid = smb::ScanSmbFrame(block.View(), frame.isInbound ? 1 : 0, tables, result);
        const std::size_t size = frame.bytes.Size();
        again.insert(again.end(), {frame.isInbound ? std::uint8_t{1} : std::uint8_t{0},
                                   static_cast<std::uint8_t>(size & 0xFF), static_cast<std::uint8_t>(size >> 8)});
        again.insert(again.end(), frame.bytes.All().begin(), frame.bytes.All().end());
        if (i >= right) continue;
        Require(frame.file || result.resultKind == TARN_SMB_NOTHING, "nothing else is reported");
        if (!frame.file) continue;
        Require(isValid, "a file is reported with success");
        RequireFile(*frame.file, result);
    }
    SmbFrames(again);
}

}  // namespace tarn::fuzz
