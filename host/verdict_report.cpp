#include "host/verdict_report.h"

#include "host/json_report.h"
#include "host/text_report.h"

namespace tarn::host {

void Totals::Count(const Judgement& judgement) {
    ++requests;
    if (!judgement.isValid) {
        ++withoutVerdict;
        return;
    }
    ++(judgement.verdict.allow == TARN_BLOCK ? blocked : allowed);
    const std::uint32_t reason = judgement.verdict.reason;
    ++byReason[reason];
}

std::unique_ptr<VerdictReport> MakeReport(std::ostream& out, const ReportStyle& style) {
    if (style.json) return std::make_unique<JsonReport>(out);
    return std::make_unique<TextReport>(out, style);
}

}  // namespace tarn::host
