// A report that prints what is not as an earlier replay found it, instead of all verdicts.
#ifndef TARN_HOST_EXPECTATIONS_EXPECTING_REPORT_H
#define TARN_HOST_EXPECTATIONS_EXPECTING_REPORT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/expectations/expected_lines.h"
#include "host/expectations/junit.h"
#include "host/json_report.h"
#include "host/verdict_report.h"

namespace tarn::host {

class ExpectingReport : public VerdictReport {
 public:
    // name: of the file that the lines come from. style: of the report that this one stands for.
    ExpectingReport(std::ostream& out, const ReportStyle& style, ExpectedLines expected, std::string name);

    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;
    // Tells what was not found, unless the run was stopped.
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

    [[nodiscard]] bool HasDifferences() const { return different_ + missing_ + extra_ != 0; }
    // Lines are expected, but of captures that were not replayed.
    [[nodiscard]] bool HasNothingCompared() const {
        return !expected_.Lines().empty() && same_ == 0 && !HasDifferences();
    }
    // One for each capture.
    [[nodiscard]] std::vector<TestResult> Results() const;

 private:
    struct CaptureResult {
        std::uint64_t compared = 0;
        std::uint64_t differences = 0;
        std::uint64_t untold = 0;  // of a capture of which the file has no line
        std::string details;       // of the first ones
    };

    // Compares the lines that the inner report wrote.
    void Drain();
    void CompareLine(const std::string& text);
    void Tell(const char* word, const std::string& type, const std::string& capture, std::uint64_t frame,
              std::uint64_t line, const std::vector<Comparison>& compared);
    void TellMissing();
    void TellUnknownCaptures();
    void TellNotCompared();

    std::ostream& out_;
    ReportStyle style_;
    ExpectedLines expected_;
    std::string name_;
    std::ostringstream written_;
    JsonReport inner_;
    std::map<std::string, CaptureResult> captures_;
    std::uint64_t same_ = 0;
    std::uint64_t different_ = 0;
    std::uint64_t missing_ = 0;
    std::uint64_t extra_ = 0;
    std::uint64_t notListed_ = 0;         // found, of what the file does not list
    std::uint64_t linesNotReplayed_ = 0;  // expected of captures that were not replayed
    std::set<std::string> capturesNotReplayed_;
};

}  // namespace tarn::host

#endif
