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
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

 private:
    enum class Colour { kGood, kBad, kNotice };

    [[nodiscard]] std::string Coloured(std::string_view text, Colour colour) const;
    // One line in the columns that requests, attacks and files share; end: what stands behind the verdict.
    void Line(std::uint64_t timeNanoseconds, const std::string& client, const RequestView& view,
              const std::string& verdict, const std::string& end);
    void NameColumns();
    void TellLeftOut();
    void Details(const JudgedRequest& request);
    void FrameSummary();
    void NotWholeSummary(const std::optional<ReplayTotals>& replay);
    void ReadSummary(const ReplayTotals& replay);

    std::ostream& out_;
    ReportStyle style_;
    std::uint64_t leftOut_ = 0;  // of the capture
    bool isFirstCapture_ = true;
    bool areColumnsNamed_ = true;
};

}  // namespace tarn::host

#endif
