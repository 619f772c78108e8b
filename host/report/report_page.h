// The report as one page that needs nothing else: report.html with the parts of report.css and report.js in it.
#ifndef TARN_HOST_REPORT_REPORT_PAGE_H
#define TARN_HOST_REPORT_REPORT_PAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/deciding_entry.h"
#include "host/report/report_model.h"

namespace tarn::host::report {

struct ReportInputs {
    std::vector<std::string> names;
    std::vector<std::string> problems;  // what could not be read, the first of them
    std::uint64_t problemCount = 0;
    std::uint64_t repeated = 0;  // lines that stand in another file too
    std::string policy;          // the file of neverDecided
    std::optional<std::vector<DecidingEntry>> neverDecided;
    std::size_t policyEntries = 0;
};

std::string ReportPage(const ReportModel& model, const ReportInputs& inputs);

// Replaces each {{name}} once; what is put in is not looked at again.
std::string FillTemplate(std::string_view page, const std::vector<std::pair<std::string_view, std::string>>& parts);
// "sha256-…" as a policy for scripts wants it, of 64 hexadecimal digits.
std::string ScriptHash(std::string_view hexadecimal);

}  // namespace tarn::host::report

#endif
