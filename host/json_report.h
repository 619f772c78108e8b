// Verdicts as JSON lines for programs: one object per request, then one with the totals.
#ifndef TARN_HOST_JSON_REPORT_H
#define TARN_HOST_JSON_REPORT_H

#include <ostream>

#include "host/verdict_report.h"

namespace tarn::host {

class JsonReport : public VerdictReport {
 public:
    explicit JsonReport(std::ostream& out) : out_(out) {}
    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void Summary() override;

 private:
    std::ostream& out_;
    CaptureHeading heading_;
    Totals totals_;
};

}  // namespace tarn::host

#endif
