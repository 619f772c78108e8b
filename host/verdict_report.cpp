#include "host/verdict_report.h"

#include "host/json_report.h"
#include "host/text_report.h"
#include "host/verdict_words.h"

namespace tarn::host {

bool IsUndecided(const Judgement& judgement) {
    return judgement.isValid && judgement.verdict.allow == TARN_ALLOW &&
           judgement.verdict.reason == TARN_REASON_DEFAULT;
}

void Totals::Count(const Judgement& judgement, const Coverage& coverage) {
    ++requests;
    if (!coverage.IsWhole()) ++notWhole[{coverage.extent, coverage.why}];
    if (!judgement.isValid) {
        ++withoutVerdict;
        return;
    }
    ++(judgement.verdict.allow == TARN_BLOCK ? blocked : allowed);
    const std::uint32_t reason = judgement.verdict.reason;
    ++byReason[reason];
}

std::uint64_t Totals::CountOf(Extent extent) const {
    std::uint64_t count = extent == Extent::kWhole ? requests : 0;
    for (const auto& [cause, number] : notWhole) {
        if (extent == Extent::kWhole) count -= number;
        if (extent == cause.first) count += number;
    }
    return count;
}

void Totals::Count(const PacketAttack& attack) {
    ++attackFrames;
    if (attack.verdict.action == TARN_PACKET_BLOCK) ++attackFramesBlocked;
    const std::uint32_t reason = attack.verdict.reason;
    ++attacksByReason[reason];
}

void Totals::Count(const ShareFile& file) {
    ++files;
    ++filesByAction[FileWord(file.event)];
}

std::unique_ptr<VerdictReport> MakeReport(std::ostream& out, const ReportStyle& style) {
    if (style.json) return std::make_unique<JsonReport>(out, style.brief);
    return std::make_unique<TextReport>(out, style);
}

}  // namespace tarn::host
