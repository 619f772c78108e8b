// How the steps of a scan say what they found, and what several of them look up.
#ifndef TARN_HOST_EXPLAIN_STEP_ANSWERS_H
#define TARN_HOST_EXPLAIN_STEP_ANSWERS_H

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/explain/scan_steps.h"

namespace tarn::host::steps {

inline constexpr Outcome kAllowed{true, false, TARN_REASON_DEFAULT};
inline constexpr Outcome kNoVerdict{};

constexpr Outcome Blocked(std::uint32_t reason) {
    return {true, true, reason};
}

inline StepAnswer Off(std::string why) {
    StepAnswer answer;
    answer.isOff = true;
    answer.note = std::move(why);
    return answer;
}

inline StepAnswer Nothing(std::string why) {
    StepAnswer answer;
    answer.note = std::move(why);
    return answer;
}

// What holds without an entry of the policy.
inline StepAnswer Ends(const Outcome& outcome, std::string why) {
    StepAnswer answer;
    answer.outcome = outcome;
    answer.note = std::move(why);
    return answer;
}

// Decides when something matches.
inline StepAnswer Match(std::vector<EntryRef> entries, const Outcome& outcome) {
    StepAnswer answer;
    answer.entries = std::move(entries);
    if (answer.entries.empty())
        answer.note = "not listed";
    else
        answer.outcome = outcome;
    return answer;
}

inline void Append(std::vector<EntryRef>& entries, PolicyList list, const EntryNumbers& numbers,
                   std::uint32_t user = 0) {
    for (const std::uint32_t number : numbers) entries.push_back({list, number, 0, user});
}

inline bool HasUsers(const policy::Policy& policy) {
    return policy.parental.mode != TARN_PC_ABSENT && !policy.parental.users.empty();
}

inline bool IsOneForAll(const policy::Policy& policy) {
    return policy.parental.mode == TARN_PC_ONE_FOR_ALL;
}

// With one for all the library takes over the first entry alone.
inline std::uint32_t UsersThatCount(const policy::Policy& policy) {
    if (!HasUsers(policy)) return 0;
    return IsOneForAll(policy) ? 1 : static_cast<std::uint32_t>(policy.parental.users.size());
}

inline bool Contains(const std::vector<std::uint16_t>& categories, std::uint16_t category) {
    return std::find(categories.begin(), categories.end(), category) != categories.end();
}

// The user's white list turns a block into an allowing reason.
inline std::vector<EntryRef> UserListed(const PolicyIndex& index, const ScanQuestion& question) {
    std::vector<EntryRef> entries;
    if (!question.isUserListEmpty)
        Append(entries, PolicyList::kUserWhiteList, index.UserWhiteList().Find(question.asked.hostAndPath));
    return entries;
}

inline std::vector<EntryRef> InternallyListed(const PolicyIndex& index, const ScanQuestion& question) {
    std::vector<EntryRef> entries;
    Append(entries, PolicyList::kBrowsingProtection, index.BrowsingProtection().Find(question.asked.hostAndPath));
    return entries;
}

inline StepAnswer LetPass(StepAnswer answer, const std::vector<EntryRef>& whiteListed, const Outcome& outcome) {
    if (whiteListed.empty() || !answer.outcome) return answer;
    answer.outcome = outcome;
    answer.decider = whiteListed.front();
    answer.entries.insert(answer.entries.end(), whiteListed.begin(), whiteListed.end());
    return answer;
}

// The steps that ask for categories: category_steps.cpp.
StepAnswer MaliciousCategory(const PolicyIndex& index, const ScanQuestion& question);
StepAnswer PhishingCategory(const PolicyIndex& index, const ScanQuestion& question);
StepAnswer Patterns(const PolicyIndex& index, const ScanQuestion& question);
StepAnswer BlockedCategories(const PolicyIndex& index, const ScanQuestion& question);

}  // namespace tarn::host::steps

#endif
