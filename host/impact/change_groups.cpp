#include "host/impact/change_groups.h"

#include <algorithm>

namespace tarn::host {

void ChangeGroups::Add(const VerdictChange& change, const ChangeSample& sample) {
    ++counts_[static_cast<std::size_t>(change.kind)];
    const bool isNew = change.after.decider.has_value();
    const DecidingEntry entry = isNew ? *change.after.decider : change.before.decider.value_or(DecidingEntry{});
    ChangeGroup& group = groups_[{change.kind, isNew, entry.file, entry.line, entry.list, entry.text}];
    group.kind = change.kind;
    group.isNew = isNew;
    group.entry = entry;
    ++group.count;
    if (group.samples.size() >= samples_) return;
    const bool isKnown = std::any_of(group.samples.begin(), group.samples.end(),
                                     [&](const ChangeSample& one) { return one.what == sample.what; });
    if (!isKnown) group.samples.push_back(sample);
}

std::vector<const ChangeGroup*> ChangeGroups::Sorted(ChangeKind kind) const {
    std::vector<const ChangeGroup*> sorted;
    for (const auto& [key, group] : groups_)
        if (group.kind == kind) sorted.push_back(&group);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const ChangeGroup* left, const ChangeGroup* right) { return left->count > right->count; });
    return sorted;
}

}  // namespace tarn::host
