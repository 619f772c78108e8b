// Hands every frame of a capture to the packet scan and to the SMB monitor, reports what they find and acts on it.
#ifndef TARN_HOST_FRAME_SCAN_H
#define TARN_HOST_FRAME_SCAN_H

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "host/capture/capture_stream.h"
#include "host/explain/entry_finder.h"
#include "host/judge.h"
#include "host/local_side.h"
#include "host/verdict_report.h"

namespace tarn::host {

struct FrameScanOptions {
    std::vector<IpAddress> local;  // this machine's addresses; without one the first connection tells
    bool drop = false;             // reset the connection of an attack
};

class FrameScan {
 public:
    FrameScan(Judge& judge, VerdictReport& report, const FrameScanOptions& options, UnexaminedLog& notExamined)
        : judge_(judge),
          report_(report),
          localSide_(options.local),
          isDropping_(options.drop),
          notExamined_(notExamined) {}

    // Called before something is reported.
    void BeforeReport(std::function<void()> call) { beforeReport_ = std::move(call); }

    void NameEntriesBy(EntryFinder* entries) { entries_ = entries; }

    // view, content: what ViewTransport says of the frame.
    void Add(const CapturedFrame& frame, const std::optional<TransportView>& view, FrameContent content);

 private:
    // Remote end and local port: those of one connection.
    using Connection = std::tuple<Endpoint, std::uint16_t, std::uint32_t>;

    void CountNotExamined(const CapturedFrame& frame, const std::optional<TransportView>& view, FrameContent content);
    void ScanPacket(const CapturedFrame& frame, const std::optional<TransportView>& view, bool inbound);
    void ScanSmb(const CapturedFrame& frame, const std::optional<TransportView>& view, bool inbound);
    // An attack in a request that this machine sends has the address that it asks for blocked.
    void BlockAskedAddress(const TransportView& view, PacketAttack& attack);
    [[nodiscard]] std::optional<bool> Drop(base::Bytes frame, bool inbound);

    Judge& judge_;
    VerdictReport& report_;
    LocalSide localSide_;
    bool isDropping_;
    UnexaminedLog& notExamined_;
    std::set<Connection> attacked_;
    EntryFinder* entries_ = nullptr;
    std::function<void()> beforeReport_ = [] {};
};

// The IPv4 frame of a TCP segment as this machine would send it, with room behind the longest header for the ports;
// empty for any other frame.
std::vector<std::uint8_t> OutboundFrame(base::Bytes frame, bool inbound);

}  // namespace tarn::host

#endif
