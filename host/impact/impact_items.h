// A verdict of one pass over the traffic, as far as a comparison of two policies wants it.
#ifndef TARN_HOST_IMPACT_IMPACT_ITEMS_H
#define TARN_HOST_IMPACT_IMPACT_ITEMS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/deciding_entry.h"
#include "host/verdict_report.h"

namespace tarn::host {

enum class VerdictState : std::uint8_t { kNone, kAllowed, kBlocked };

struct ImpactItem {
    std::uint32_t capture = 0;  // which of the captures, from 0
    std::uint32_t frame = 0;    // 0 for an address that was named
    VerdictState state = VerdictState::kNone;
    std::uint32_t reason = 0;
    // What decided: an entry, or in the place of an unknown one the reason as list and the host as text, which is
    // empty for those behind the first 10,000 hosts. Nothing where no rule decided.
    std::optional<DecidingEntry> decider;
    const JudgedRequest* request = nullptr;  // one of the two; only as long as the item is handed on
    const PacketAttack* attack = nullptr;
};

// Hands on an item for each request and each frame with an attack.
class ImpactItems : public VerdictReport {
 public:
    using Use = std::function<void(const ImpactItem&)>;
    explicit ImpactItems(Use use) : use_(std::move(use)) {}

    void BeginCapture(const CaptureHeading& heading) override;
    void Request(const JudgedRequest& request) override;
    void LocalGuess(const IpAddress& address) override;
    void Attack(const PacketAttack& attack) override;
    void File(const ShareFile& file) override;  // no policy has anything to do with files
    void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) override;

    [[nodiscard]] const std::vector<std::string>& Captures() const { return captures_; }

 private:
    static constexpr std::size_t kMostHosts = 10000;  // that no entry decides; further ones go without their name

    [[nodiscard]] std::uint32_t Capture() const;
    [[nodiscard]] std::string HostOf(const JudgedRequest& request);

    Use use_;
    std::vector<std::string> captures_;
    std::set<std::string> hosts_;
};

}  // namespace tarn::host

#endif
