// The pictures of the report: SVG with a text in its place for whoever does not see it. Words and scales stand around
// it as ordinary text, so that they keep their size on a small screen.
#ifndef TARN_HOST_REPORT_REPORT_CHARTS_H
#define TARN_HOST_REPORT_REPORT_CHARTS_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/report/latencies.h"
#include "host/report/time_line.h"

namespace tarn::host::report {

// Blocked, without a verdict and allowed requests of each stretch on top of each other, attacks in a strip below.
std::string TimeChart(const TimeLine::Result& time);

// One row for each kind: from half of the calls to 99 of 100, and the slowest, on a scale of powers of ten.
std::string LatencyChart(const std::vector<std::pair<std::string, LatencySummary>>& kinds);

// How much of whole is blocked, as a thin bar.
std::string ShareBar(std::uint64_t blocked, std::uint64_t whole);

}  // namespace tarn::host::report

#endif
