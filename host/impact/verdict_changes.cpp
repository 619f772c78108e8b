#include "host/impact/verdict_changes.h"

#include <utility>

namespace tarn::host {

namespace {

constexpr unsigned kStateBits = 2;

ChangeKind KindOf(VerdictState before, VerdictState after) {
    if (before == after) return ChangeKind::kReason;
    if (after == VerdictState::kBlocked) return ChangeKind::kBlocked;
    return before == VerdictState::kBlocked ? ChangeKind::kAllowed : ChangeKind::kReason;
}

}  // namespace

VerdictChanges::Kept VerdictChanges::Keep(const ImpactItem& item) {
    std::uint32_t number = 0;
    if (item.decider) {
        const DecidingEntry& entry = *item.decider;
        const auto [at, isNew] = numbers_.try_emplace({entry.file, entry.line, entry.list, entry.text},
                                                      static_cast<std::uint32_t>(deciders_.size() + 1));
        if (isNew) deciders_.push_back(entry);
        number = at->second;
    }
    return {item.capture, item.frame, item.reason, number << kStateBits | static_cast<std::uint32_t>(item.state)};
}

ShortVerdict VerdictChanges::VerdictOf(const Kept& kept) const {
    ShortVerdict verdict{static_cast<VerdictState>(kept.deciderAndState & ((1u << kStateBits) - 1)), kept.reason, {}};
    if (const std::uint32_t number = kept.deciderAndState >> kStateBits; number != 0)
        verdict.decider = deciders_[number - 1];
    return verdict;
}

void VerdictChanges::Before(const ImpactItem& item) {
    (item.attack != nullptr ? attacks_ : requests_).push_back(Keep(item));
}

void VerdictChanges::After(const ImpactItem& item) {
    if (item.attack == nullptr) {
        if (nextRequest_ == requests_.size()) {
            isSameTraffic_ = false;
            return;
        }
        const Kept& kept = requests_[nextRequest_++];
        if (kept.capture != item.capture || kept.frame != item.frame)
            isSameTraffic_ = false;
        else
            Compare(kept, item);
        return;
    }
    ++attacksAfter_;
    const auto place = [](const auto& one) { return std::pair(one.capture, one.frame); };
    while (nextAttack_ < attacks_.size() && place(attacks_[nextAttack_]) < place(item))
        TellGone(attacks_[nextAttack_++]);
    if (nextAttack_ < attacks_.size() && place(attacks_[nextAttack_]) == place(item))
        Compare(attacks_[nextAttack_++], item);
    else
        Compare({item.capture, item.frame, 0, 0}, item);
}

void VerdictChanges::End() {
    while (nextAttack_ < attacks_.size()) TellGone(attacks_[nextAttack_++]);
    if (nextRequest_ != requests_.size()) isSameTraffic_ = false;
}

void VerdictChanges::TellGone(const Kept& kept) {
    const ShortVerdict before = VerdictOf(kept);
    tell_({KindOf(before.state, VerdictState::kNone), true, kept.capture, kept.frame, before, {}, nullptr});
}

void VerdictChanges::Compare(const Kept& kept, const ImpactItem& item) {
    const auto state = static_cast<VerdictState>(kept.deciderAndState & ((1u << kStateBits) - 1));
    if (state == item.state && kept.reason == item.reason) return;
    tell_({KindOf(state, item.state),
           item.attack != nullptr,
           item.capture,
           item.frame,
           VerdictOf(kept),
           {item.state, item.reason, item.decider},
           &item});
}

}  // namespace tarn::host
