// Measures how long the library takes for each scan, by a clock around the call.
// Whoever wants no figures leaves it out: the judge inside answers the same.
#ifndef TARN_HOST_TIMED_JUDGE_H
#define TARN_HOST_TIMED_JUDGE_H

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "host/judge.h"
#include "host/latency_histogram.h"
#include "host/scan_clock.h"

namespace tarn::host {

struct CallLatencies {
    LatencyHistogram url;  // requests and reported addresses
    LatencyHistogram packet;
    LatencyHistogram smb;
    LatencyHistogram logon;
};

class TimedJudge : public Judge {
 public:
    explicit TimedJudge(std::unique_ptr<Judge> judge) : judge_(std::move(judge)) {}

    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        return Measure(latencies_.url, [&] { return judge_->ScanUrl(kind, data, server); });
    }
    Judgement ScanConnection(const ConnectionData& connection) override {
        return Measure(latencies_.url, [&] { return judge_->ScanConnection(connection); });
    }
    PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) override {
        return Measure(latencies_.packet, [&] { return judge_->ScanPacket(frame, rule, inbound); });
    }
    std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool inbound) override {
        return Measure(latencies_.smb, [&] { return judge_->ScanSmb(frame, inbound); });
    }
    bool DropConnection(base::Bytes frame) override { return judge_->DropConnection(frame); }
    void BlockAddress(const std::string& host, const std::string& path) override { judge_->BlockAddress(host, path); }
    Judgement ScanExtensionUrl(std::uint8_t kind, const std::string& url) override {
        return Measure(latencies_.url, [&] { return judge_->ScanExtensionUrl(kind, url); });
    }
    LogonJudgement ScanLogonEvent(const LogonEvent& event) override {
        return Measure(latencies_.logon, [&] { return judge_->ScanLogonEvent(event); });
    }
    void SetClock(const TarnSystemTime& now) override { judge_->SetClock(now); }
    bool SettingsChanged(std::uint32_t kind) override { return judge_->SettingsChanged(kind); }
    bool UpdateSettingsChanged(std::uint32_t mask) override { return judge_->UpdateSettingsChanged(mask); }

    [[nodiscard]] std::optional<std::uint64_t> LastLatency() const override { return last_; }
    [[nodiscard]] const CallLatencies* Latencies() const override { return &latencies_; }

 private:
    template <class Call>
    std::invoke_result_t<Call> Measure(LatencyHistogram& histogram, const Call& call) {
        const std::uint64_t begin = clock_.Now();
        auto answer = call();
        const std::uint64_t end = clock_.Now();
        last_ = end > begin ? end - begin : 0;
        histogram.Add(last_);
        return answer;
    }

    std::unique_ptr<Judge> judge_;
    ScanClock clock_;
    CallLatencies latencies_;
    std::uint64_t last_ = 0;  // nanoseconds
};

}  // namespace tarn::host

#endif
