#include "host/verdict_report.h"

#include "host/json_report.h"
#include "host/text_report.h"
#include "host/verdict_words.h"

namespace tarn::host {

bool IsUndecided(const Judgement& judgement) {
    return judgement.isValid && judgement.verdict.allow == TARN_ALLOW &&
           judgement.verdict.reason == TARN_REASON_DEFAULT;
}

bool IsLetPass(const JudgedRequest& request) {
    return request.entry && IsUndecided(request.judgement);
}

std::string_view ReasonOf(const JudgedRequest& request) {
    return IsLetPass(request) ? "let pass by a list" : ReasonWords(request.judgement.verdict.reason);
}

bool IsBlocked(const Judgement& judgement) {
    return judgement.isValid && judgement.verdict.allow == TARN_BLOCK;
}

void Totals::Count(const JudgedRequest& request) {
    const Judgement& judgement = request.judgement;
    const Coverage& coverage = request.coverage;
    ++requests;
    if (!coverage.IsWhole()) ++notWhole[{coverage.extent, coverage.why}];
    if (!judgement.isValid) {
        ++withoutVerdict;
        return;
    }
    ++(judgement.verdict.allow == TARN_BLOCK ? blocked : allowed);
    const std::uint32_t reason = judgement.verdict.reason;
    ++byReason[reason];
    if (IsUndecided(judgement) && coverage.extent == Extent::kNone) ++undecidedNotJudged;
    if (IsLetPass(request)) ++undecidedLetPass;
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

std::vector<PolicyTotals> VerdictReport::CountedByPolicy() const {
    std::vector<PolicyTotals> counted;
    Totals before;
    const auto add = [&](const Totals& all) {
        counted.push_back({all.requests - before.requests, all.allowed - before.allowed, all.blocked - before.blocked,
                           all.withoutVerdict - before.withoutVerdict, all.attackFrames - before.attackFrames});
        before = all;
    };
    for (const Totals& totals : policyBegins_) add(totals);
    add(totals_);
    return counted;
}

std::unique_ptr<VerdictReport> MakeReport(std::ostream& out, const ReportStyle& style) {
    if (style.json) return std::make_unique<JsonReport>(out, style);
    return std::make_unique<TextReport>(out, style);
}

}  // namespace tarn::host
