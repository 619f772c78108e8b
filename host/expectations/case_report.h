// Tells which cases of a policy's tests did not come out as expected: as text side by side, or as JSON lines.
// Keeps the results for a test server.
#ifndef TARN_HOST_EXPECTATIONS_CASE_REPORT_H
#define TARN_HOST_EXPECTATIONS_CASE_REPORT_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "host/expectations/case_file.h"
#include "host/expectations/case_runner.h"
#include "host/expectations/junit.h"

namespace tarn::host {

struct CaseReportStyle {
    bool json = false;
    bool verbose = false;  // the cases that are as expected, too
    std::size_t columns = 0;
};

class CaseReport {
 public:
    CaseReport(std::ostream& out, const CaseReportStyle& style) : out_(out), style_(style) {}
    void Add(const std::string& file, const PolicyCase& one, const RanCase& ran, double seconds);
    void Summary();

    [[nodiscard]] const std::vector<TestResult>& Results() const { return results_; }
    [[nodiscard]] bool HasDifferences() const { return different_ != 0; }
    [[nodiscard]] bool HasFailures() const { return failed_ != 0; }

 private:
    std::ostream& out_;
    CaseReportStyle style_;
    std::vector<TestResult> results_;
    std::size_t different_ = 0;
    std::size_t failed_ = 0;
};

}  // namespace tarn::host

#endif
