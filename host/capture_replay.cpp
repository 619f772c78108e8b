#include "host/capture_replay.h"

#include "host/capture/capture_reader.h"
#include "host/capture/tcp_turns.h"
#include "host/capture/transport_view.h"

namespace tarn::host {

namespace {

constexpr std::uint16_t kSmbPort = 445;  // left to the frame scans

}  // namespace

bool CaptureReplay::Replay(std::istream& file, const std::string& name, std::string& mistake) {
    report_.BeginCapture({name, replacements_});
    TcpTurns turns([this](const Turn& turn) {
        const Utterance utterance{turn.data, turn.server.port, true, true};
        Consider(utterance, {turn.frame, turn.timeNanoseconds, turn.client, {}, {}}, turn.server);
    });
    FrameScan frames(judge_, report_, frameOptions_, notExamined_);
    frames.BeforeReport([this] { beforeReport_(); });
    CaptureReader reader(file);
    CapturedFrame frame;
    while (reader.Next(frame)) {
        onProgress_(reader.BytesRead());
        beforeFrame_(frame.timeNanoseconds);
        const std::optional<TransportView> view = ViewTransport(frame.bytes);
        frames.Add(frame, view);
        if (!view) continue;
        if (view->isTcp) {
            turns.Add(*view, frame.number, frame.timeNanoseconds);
            continue;
        }
        // Of datagrams only what a server says is of interest, so the sender counts as the server.
        const Utterance utterance{view->payload, view->source.port, false, false};
        Consider(utterance, {frame.number, frame.timeNanoseconds, view->destination, {}, {}}, view->source);
    }
    turns.Finish();
    mistake = reader.Error();
    return mistake.empty();
}

void CaptureReplay::Consider(const Utterance& utterance, CaptureOrigin origin, Endpoint server) {
    const Protocol* protocol = ChooseProtocol(utterance);
    if (protocol == nullptr && utterance.isTcp && utterance.serverPort != kSmbPort) ++notExamined_.unknownTurns;
    if (protocol == nullptr || utterance.data.empty()) return;
    origin.replacedClient = Replace(origin.client.address);
    origin.replacedServer = Replace(server.address);
    JudgedRequest request{protocol, protocol->view(utterance.data), server, origin, {}};
    request.judgement = judge_.ScanUrl(protocol->kind, utterance.data, server);
    beforeReport_();
    report_.Request(request);
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
