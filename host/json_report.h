// Verdicts, attacks, files and what was not examined as events, one a line, then the totals.
// What the events are named stands in docs/events.schema.json.
#ifndef TARN_HOST_JSON_REPORT_H
#define TARN_HOST_JSON_REPORT_H

#include <ostream>
#include <vector>

#include "host/event.h"
#include "host/latency_histogram.h"
#include "host/verdict_change_events.h"
#include "host/verdict_report.h"

namespace tarn::host {

class JsonReport : public VerdictReport {
 public:
    JsonReport(std::ostream& out, const ReportStyle& style) : out_(out), style_(style) {}
    void BeginRound() override { changes_.BeginRound(); }
    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;
    [[nodiscard]] bool WantsUnexamined() const override { return !style_.quiet; }
    void NotExamined(const UnexaminedTraffic& traffic) override;
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

 private:
    // With the place in the capture.
    [[nodiscard]] Event BeginFrameEvent(std::string_view type, std::uint64_t frame, std::uint64_t time) const;
    void AddRequests(Event& event) const;
    void AddReplay(const ReplayTotals& replay, Event& event) const;

    std::ostream& out_;
    ReportStyle style_;
    CaptureHeading heading_;
    std::vector<IpAddress> guesses_;
    VerdictChangeEvents changes_;
};

// The totals that every command has, to be added to.
[[nodiscard]] Event BeginStats(const RunEnd& end);
// What is told of a request, behind type, time and place.
void AddVerdict(const JudgedRequest& request, Event& event);
[[nodiscard]] Event Percentiles(const LatencyHistogram& calls);
// How long the calls took, where they were measured.
void AddLatencies(const CallLatencies* latencies, Event& event);

}  // namespace tarn::host

#endif
