// Prints what a change of the policy would do: text with the changes by entry, or one JSON line for each change.
#ifndef TARN_HOST_IMPACT_IMPACT_REPORT_H
#define TARN_HOST_IMPACT_IMPACT_REPORT_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "host/impact/change_groups.h"
#include "host/impact/verdict_changes.h"

namespace tarn::host {

struct ImpactStyle {
    bool json = false;
    bool quiet = false;       // the totals alone
    std::size_t samples = 3;  // of a group
    std::size_t columns = 0;  // of a line of text; 0 = as long as it is
};

class ImpactReport {
 public:
    ImpactReport(std::ostream& out, const ImpactStyle& style) : out_(out), style_(style), groups_(style.samples) {}
    // captures: the names of those that were read so far.
    void Change(const VerdictChange& change, const std::vector<std::string>& captures);

    struct Totals {
        std::string before;  // the policies
        std::string after;
        std::uint64_t requests = 0;
        std::uint64_t attacksBefore = 0;
        std::uint64_t attacksAfter = 0;
        std::uint64_t failedInputs = 0;
    };
    void Summary(const Totals& totals);

    [[nodiscard]] std::uint64_t Changes() const { return groups_.Count(); }

 private:
    void TextGroups(ChangeKind kind);

    std::ostream& out_;
    ImpactStyle style_;
    ChangeGroups groups_;
};

}  // namespace tarn::host

#endif
