// Finds what a second pass over the same traffic judges otherwise than the first.
// Of each item of the first pass it keeps 16 bytes (16 MB for a million), and each different entry once.
#ifndef TARN_HOST_IMPACT_VERDICT_CHANGES_H
#define TARN_HOST_IMPACT_VERDICT_CHANGES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/impact/impact_items.h"

namespace tarn::host {

struct ShortVerdict {
    VerdictState state = VerdictState::kNone;
    std::uint32_t reason = 0;
    std::optional<DecidingEntry> decider;
};

enum class ChangeKind : std::uint8_t { kBlocked, kAllowed, kReason };  // newly blocked, no longer blocked, neither

struct VerdictChange {
    ChangeKind kind = ChangeKind::kReason;
    bool isAttack = false;
    std::uint32_t capture = 0;
    std::uint32_t frame = 0;
    ShortVerdict before;
    ShortVerdict after;
    const ImpactItem* item = nullptr;  // of the second pass; null for an attack that it does not find
};

class VerdictChanges {
 public:
    using Tell = std::function<void(const VerdictChange&)>;
    explicit VerdictChanges(Tell tell) : tell_(std::move(tell)) {}

    // All of the first pass, then all of the second, in the order in which they were judged; then End.
    void Before(const ImpactItem& item);
    void After(const ImpactItem& item);
    void End();

    // False when the second pass had other requests: the captures are not what they were.
    [[nodiscard]] bool IsSameTraffic() const { return isSameTraffic_; }
    [[nodiscard]] std::size_t Requests() const { return requests_.size(); }
    [[nodiscard]] std::size_t AttacksBefore() const { return attacks_.size(); }
    [[nodiscard]] std::size_t AttacksAfter() const { return attacksAfter_; }

 private:
    struct Kept {
        std::uint32_t capture;
        std::uint32_t frame;
        std::uint32_t reason;
        std::uint32_t deciderAndState;  // the number of the decider, 0 for none; the state in the lower two bits
    };
    static_assert(sizeof(Kept) == 16);

    Kept Keep(const ImpactItem& item);
    [[nodiscard]] ShortVerdict VerdictOf(const Kept& kept) const;
    void TellGone(const Kept& kept);
    void Compare(const Kept& kept, const ImpactItem& item);

    Tell tell_;
    std::vector<Kept> requests_;
    std::vector<Kept> attacks_;
    std::vector<DecidingEntry> deciders_;
    std::map<std::tuple<std::string, std::uint32_t, std::string, std::string>, std::uint32_t> numbers_;
    std::size_t nextRequest_ = 0;
    std::size_t nextAttack_ = 0;
    std::size_t attacksAfter_ = 0;
    bool isSameTraffic_ = true;
};

}  // namespace tarn::host

#endif
