// Verdicts as aligned text for people.
#ifndef TARN_HOST_TEXT_REPORT_H
#define TARN_HOST_TEXT_REPORT_H

#include <array>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/round_changes.h"
#include "host/row_history.h"
#include "host/text_rows.h"
#include "host/verdict_report.h"

namespace tarn::host {

// "2 allowed, 1 blocked", and how many have no verdict.
[[nodiscard]] std::string CountWords(const Totals& totals);
// A line for each reason; of the requests that no rule decided, how many were not judged or let pass by a list.
[[nodiscard]] std::string ReasonLines(const Totals& totals);

class TextReport : public VerdictReport {
 public:
    TextReport(std::ostream& out, const ReportStyle& style)
        : out_(out), style_(style), rows_(out, style.colour, style.columns) {}
    void BeginRound() override;
    void EndRound() override;
    void BeginCapture(const CaptureHeading& heading) override;
    void TellLeftOut() override;
    void Request(const JudgedRequest& request) override;
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

 private:
    // False when it is left out: it is as in the round before, or not wanted and no news either.
    // decider: what decided; empty when no rule did.
    bool Row(TextRow row, bool isWanted, const std::string& decider = {});
    std::uint32_t NumberOf(const std::string& decider);
    void Note(const std::string& line);  // of a capture; a quiet report says it when something of it is shown
    void Details(const JudgedRequest& request);
    void FrameSummary();
    void PolicySummary();
    void NotWholeSummary(const std::optional<ReplayTotals>& replay);
    void ReadSummary(const ReplayTotals& replay);

    std::ostream& out_;
    ReportStyle style_;
    TextRows rows_;
    std::array<RowHistory, 3> histories_;  // by kind of row: one that is new or gone moves no other kind's
    RoundChanges changes_;
    std::vector<std::string> deciders_{std::string()};
    std::map<std::string, std::uint32_t> deciderNumbers_{{"", 0}};
    std::string notes_;          // that wait for a row
    std::uint64_t leftOut_ = 0;  // requests that no rule decided, and the rows that are as before, since it was told
    std::uint64_t leftOutNotJudged_ = 0;  // of the requests
    std::uint64_t leftOutLetPass_ = 0;    // of the requests, by an entry of a list
    std::uint64_t unchanged_ = 0;
    std::uint64_t furtherFrames_ = 0;  // of attacks, that have no row of their own
    bool isFirstCapture_ = true;
    bool isFirstRound_ = true;
};

}  // namespace tarn::host

#endif
