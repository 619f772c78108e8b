// Verdicts as aligned text for people.
#ifndef TARN_HOST_TEXT_REPORT_H
#define TARN_HOST_TEXT_REPORT_H

#include <ostream>
#include <string>
#include <string_view>

#include "host/verdict_report.h"

namespace tarn::host {

class TextReport : public VerdictReport {
 public:
    TextReport(std::ostream& out, const ReportStyle& style) : out_(out), style_(style) {}
    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void Summary() override;

 private:
    [[nodiscard]] std::string Coloured(std::string_view text, const Judgement& judgement) const;
    void Details(const JudgedRequest& request);

    std::ostream& out_;
    ReportStyle style_;
    Totals totals_;
    bool isFirstCapture_ = true;
};

}  // namespace tarn::host

#endif
