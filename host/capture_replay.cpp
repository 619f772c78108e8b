#include "host/capture_replay.h"

#include <algorithm>
#include <utility>

#include "host/capture/capture_reader.h"
#include "host/capture/transport_view.h"
#include "host/ports.h"

namespace tarn::host {

namespace {

constexpr std::uint16_t kSmbPort = 445;  // left to the frame scans
constexpr std::uint16_t kQuicPort = 443;

}  // namespace

bool CaptureReplay::Replay(std::istream& file, const std::string& name, std::string& mistake) {
    report_.BeginCapture({name, replacements_});
    ++read_.captures;
    http2_.clear();
    UnexaminedLog::Tell tell;
    if (report_.WantsUnexamined())
        tell = [this](const UnexaminedTraffic& traffic) {
            beforeReport_();
            report_.NotExamined(traffic);
        };
    UnexaminedLog notExamined(read_.notExamined, std::move(tell));
    TcpTurns turns([&](const Turn& turn) { ConsiderTurn(turn, notExamined); });
    FrameScan frames(judge_, report_, frameOptions_, notExamined);
    frames.BeforeReport([this] { beforeReport_(); });
    frames.NameEntriesBy(entries_);
    CaptureReader reader(file);
    CapturedFrame frame;
    bool isStopped = false;
    while (!isStopped && reader.Next(frame)) {
        onProgress_(reader.BytesRead());
        isStopped = !beforeFrame_(frame.timeNanoseconds);
        if (isStopped) break;
        Count(frame);
        FrameContent content{};
        const std::optional<TransportView> view = ViewTransport(frame.bytes, content);
        frames.Add(frame, view, content);
        if (!view) continue;
        if (view->isTcp)
            turns.Add(*view, frame.number, frame.timeNanoseconds);
        else
            ConsiderDatagram(frame, *view, notExamined);
    }
    if (!isStopped) turns.Finish();
    report_.TellLeftOut();
    mistake = reader.Error();
    return mistake.empty();
}

void CaptureReplay::Count(const CapturedFrame& frame) {
    ++read_.frames;
    read_.bytes += frame.captured;
    if (const std::uint64_t time = frame.timeNanoseconds; time != 0) {
        read_.firstNanoseconds = read_.firstNanoseconds == 0 ? time : std::min(read_.firstNanoseconds, time);
        read_.lastNanoseconds = std::max(read_.lastNanoseconds, time);
    }
    if (!frame.IsCut()) return;
    ++read_.cutFrames;
    read_.mostKept = std::max(read_.mostKept, frame.captured);
    read_.mostOriginal = std::max(read_.mostOriginal, frame.original);
}

void CaptureReplay::ConsiderTurn(const Turn& turn, UnexaminedLog& notExamined) {
    const Utterance utterance{turn.data, turn.server.port, true, true};
    const Protocol* const protocol =
        Consider(utterance, {turn.frame, turn.timeNanoseconds, turn.client, {}, {}}, turn.server, turn.hasGap);
    const auto add = [&](Unexamined kind, std::string outerName = {}) {
        notExamined.Add(
            {kind, turn.frame, turn.timeNanoseconds, Flow{true, turn.client, turn.server}, std::move(outerName)});
    };
    if (protocol == &TlsProtocol()) {
        if (HidesHello(turn.data)) add(Unexamined::kEch, protocol->view(turn.data).host);
        if (RecordLength(turn.data) > turn.firstSegment) add(Unexamined::kHelloSplit);
    } else if (protocol == nullptr && turn.server.port != kSmbPort) {
        add(KindOfUnknown(turn));
    }
}

Unexamined CaptureReplay::KindOfUnknown(const Turn& turn) {
    const Flow flow{true, turn.client, turn.server};
    if (turn.index == 0) http2_.erase(flow);  // another connection of the same ends
    if (BeginsHttp2(turn.data)) {
        if (http2_.size() >= UnexaminedLog::kMaxFlows) http2_.clear();
        http2_.insert(flow);
    }
    return http2_.contains(flow) ? Unexamined::kHttp2 : Unexamined::kUnknownProtocol;
}

void CaptureReplay::ConsiderDatagram(const CapturedFrame& frame, const TransportView& view,
                                     UnexaminedLog& notExamined) {
    // Of datagrams only what a server says is of interest, so the sender counts as the server.
    const Utterance utterance{view.payload, view.source.port, false, false};
    if (Consider(utterance, {frame.number, frame.timeNanoseconds, view.destination, {}, {}}, view.source,
                 frame.IsCut()) != nullptr ||
        view.destination.port == kDnsPort)
        return;
    const bool isQuic = view.source.port == kQuicPort || view.destination.port == kQuicPort;
    notExamined.Add(
        {isQuic ? Unexamined::kQuic : Unexamined::kOtherDatagram, frame.number, frame.timeNanoseconds, FlowOf(view)});
}

const Protocol* CaptureReplay::Consider(const Utterance& utterance, CaptureOrigin origin, Endpoint server,
                                        bool hasGap) {
    const Protocol* protocol = ChooseProtocol(utterance);
    if (protocol == nullptr || utterance.data.empty()) return protocol;
    origin.replacedClient = Replace(origin.client.address);
    origin.replacedServer = Replace(server.address);
    JudgedRequest request{protocol, protocol->view(utterance.data), server, origin, {}, {}};
    request.judgement = judge_.ScanUrl(protocol->kind, utterance.data, server);
    request.latency = judge_.LastLatency();
    request.coverage = CoverageOf(*protocol, utterance.data, server, request.judgement, hasGap);
    if (entries_ != nullptr) request.entry = entries_->Find(request);
    beforeReport_();
    report_.Request(request);
    return protocol;
}

std::optional<IpAddress> CaptureReplay::Replace(IpAddress& address) const {
    for (const AddressReplacement& replacement : replacements_) {
        if (replacement.from != address) continue;
        address = replacement.to;
        return replacement.from;
    }
    return std::nullopt;
}

}  // namespace tarn::host
