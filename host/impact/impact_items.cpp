#include "host/impact/impact_items.h"

#include "host/verdict_words.h"

namespace tarn::host {

void ImpactItems::BeginCapture(const CaptureHeading& heading) {
    captures_.push_back(heading.name);
}

std::uint32_t ImpactItems::Capture() const {
    return captures_.empty() ? 0 : static_cast<std::uint32_t>(captures_.size() - 1);
}

std::string ImpactItems::HostOf(const JudgedRequest& request) {
    const std::string& host = request.view.host;
    if (hosts_.size() < kMostHosts) hosts_.insert(host);
    return hosts_.contains(host) ? host : std::string();
}

void ImpactItems::Request(const JudgedRequest& request) {
    Counting().Count(request);
    ImpactItem item;
    item.capture = Capture();
    item.frame = request.origin ? static_cast<std::uint32_t>(request.origin->frame) : 0;
    item.request = &request;
    if (request.judgement.isValid) {
        item.reason = request.judgement.verdict.reason;
        item.state = IsBlocked(request.judgement) ? VerdictState::kBlocked : VerdictState::kAllowed;
        if (request.entry)
            item.decider = request.entry;
        else if (!IsUndecided(request.judgement))
            item.decider = DecidingEntry{std::string(ReasonWords(item.reason)), HostOf(request), "", 0};
    }
    use_(item);
}

void ImpactItems::LocalGuess(const IpAddress&) {}

void ImpactItems::Attack(const PacketAttack& attack) {
    Counting().Count(attack);
    ImpactItem item;
    item.capture = Capture();
    item.frame = static_cast<std::uint32_t>(attack.frame);
    item.attack = &attack;
    item.reason = attack.verdict.reason;
    item.state = attack.verdict.action == TARN_PACKET_BLOCK ? VerdictState::kBlocked : VerdictState::kAllowed;
    item.decider = attack.entry ? *attack.entry : DecidingEntry{std::string(AttackWords(item.reason)), "", "", 0};
    use_(item);
}

void ImpactItems::File(const ShareFile& file) {
    Counting().Count(file);
}

void ImpactItems::Summary(const std::optional<ReplayTotals>&, const RunEnd&) {}

}  // namespace tarn::host
