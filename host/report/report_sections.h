// The parts of the report that stand in the page itself, so that they are there without a script, too.
#ifndef TARN_HOST_REPORT_REPORT_SECTIONS_H
#define TARN_HOST_REPORT_REPORT_SECTIONS_H

#include <string>

#include "host/report/report_page.h"

namespace tarn::host::report {

// What is most frequent alone, where a table would be long; it then says how much it leaves out.
inline constexpr std::size_t kMostTableRows = 25;
inline constexpr std::size_t kMostEntries = 500;

std::string TotalsSection(const ReportModel& model);
std::string TimeSection(const ReportModel& model);
std::string SitesSection(const ReportModel& model);
std::string EntriesSection(const ReportModel& model, const ReportInputs& inputs);
std::string AttacksSection(const ReportModel& model);
std::string FilesSection(const ReportModel& model);
std::string NotExaminedSection(const ReportModel& model);
std::string LatencySection(const ReportModel& model);
std::string InputsSection(const ReportModel& model, const ReportInputs& inputs);

}  // namespace tarn::host::report

#endif
