// Verdicts as JSON lines for programs: one object per request, frame with an attack and file, then the totals.
#ifndef TARN_HOST_JSON_REPORT_H
#define TARN_HOST_JSON_REPORT_H

#include <ostream>

#include "host/verdict_report.h"

namespace tarn::host {

class JsonReport : public VerdictReport {
 public:
    JsonReport(std::ostream& out, const ReportStyle& style) : out_(out), style_(style) {}
    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

 private:
    std::ostream& out_;
    ReportStyle style_;
    CaptureHeading heading_;
};

}  // namespace tarn::host

#endif
