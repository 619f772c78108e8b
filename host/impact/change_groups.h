// Changed verdicts by the entry that makes the change: the new one's that blocks now or that lets pass, else the old
// one's that blocked.
#ifndef TARN_HOST_IMPACT_CHANGE_GROUPS_H
#define TARN_HOST_IMPACT_CHANGE_GROUPS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "host/impact/verdict_changes.h"

namespace tarn::host {

struct ChangeSample {
    std::string what;   // the host and its path, or what was attacked
    std::string where;  // "monday.pcap:12"; empty for an address that was named
};

struct ChangeGroup {
    ChangeKind kind = ChangeKind::kReason;
    bool isNew = true;  // the entry is one of the new policy
    DecidingEntry entry;
    std::uint64_t count = 0;
    std::vector<ChangeSample> samples;  // the first ones, each once
};

class ChangeGroups {
 public:
    // samples: of a group at most.
    explicit ChangeGroups(std::size_t samples) : samples_(samples) {}
    void Add(const VerdictChange& change, const ChangeSample& sample);

    // Of one kind, the largest first.
    [[nodiscard]] std::vector<const ChangeGroup*> Sorted(ChangeKind kind) const;
    [[nodiscard]] std::uint64_t CountOf(ChangeKind kind) const { return counts_[static_cast<std::size_t>(kind)]; }
    [[nodiscard]] std::uint64_t Count() const { return counts_[0] + counts_[1] + counts_[2]; }

 private:
    using Key = std::tuple<ChangeKind, bool, std::string, std::uint32_t, std::string, std::string>;

    std::size_t samples_;
    std::map<Key, ChangeGroup> groups_;
    std::array<std::uint64_t, 3> counts_{};
};

}  // namespace tarn::host

#endif
