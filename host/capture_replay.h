// Replays a capture: its frames one by one through the frame scans, and the requests that they make up.
#ifndef TARN_HOST_CAPTURE_REPLAY_H
#define TARN_HOST_CAPTURE_REPLAY_H

#include <cstdint>
#include <functional>
#include <istream>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/capture/tcp_turns.h"
#include "host/explain/entry_finder.h"
#include "host/frame_scan.h"
#include "host/judge.h"
#include "host/protocol_choice.h"
#include "host/verdict_report.h"

namespace tarn::host {

class CaptureReplay {
 public:
    // The addresses of a replacement are exchanged in requests only: the frame scans see frames as they were captured.
    CaptureReplay(Judge& judge, VerdictReport& report, std::vector<AddressReplacement> replacements,
                  FrameScanOptions frameOptions)
        : judge_(judge),
          report_(report),
          replacements_(std::move(replacements)),
          frameOptions_(std::move(frameOptions)) {}

    // Called with the bytes read so far after each frame.
    void OnProgress(std::function<void(std::uint64_t)> call) { onProgress_ = std::move(call); }
    // Called before a frame is judged, with its time; when it answers false the replay ends there.
    void BeforeFrame(std::function<bool(std::uint64_t)> call) { beforeFrame_ = std::move(call); }
    // Called before something is reported.
    void BeforeReport(std::function<void()> call) { beforeReport_ = std::move(call); }

    // Names the entries of the policy that decide; null names none. It must outlive the replay.
    void NameEntriesBy(EntryFinder* entries) { entries_ = entries; }

    // Judges what can be read. On a bad file the result is false and mistake says what is wrong where.
    bool Replay(std::istream& file, const std::string& name, std::string& mistake);

    // Of all captures so far.
    [[nodiscard]] const ReplayTotals& WhatWasRead() const { return read_; }

 private:
    void Count(const CapturedFrame& frame);
    void ConsiderDatagram(const CapturedFrame& frame, const TransportView& view, UnexaminedLog& notExamined);
    // Of a turn in no protocol that there is a scan for.
    Unexamined KindOfUnknown(const Turn& turn);
    void ConsiderTurn(const Turn& turn, UnexaminedLog& notExamined);
    // hasGap: the capture lacks some of the bytes. Null for what there is no scan for.
    const Protocol* Consider(const Utterance& utterance, CaptureOrigin origin, Endpoint server, bool hasGap);
    // Puts another address in the place of address; the result is the one that stood there.
    std::optional<IpAddress> Replace(IpAddress& address) const;

    Judge& judge_;
    VerdictReport& report_;
    std::vector<AddressReplacement> replacements_;
    FrameScanOptions frameOptions_;
    ReplayTotals read_;
    EntryFinder* entries_ = nullptr;
    std::set<Flow> http2_;  // connections of the capture that have begun HTTP/2 in the clear
    std::function<void(std::uint64_t)> onProgress_ = [](std::uint64_t) {};
    std::function<bool(std::uint64_t)> beforeFrame_ = [](std::uint64_t) { return true; };
    std::function<void()> beforeReport_ = [] {};
};

}  // namespace tarn::host

#endif
