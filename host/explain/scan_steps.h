// The steps of a scan in their order (docs/policy.md, "Which rule wins"), each with what it finds in a policy and what
// it would say. They foretell a verdict from the policy alone.
#ifndef TARN_HOST_EXPLAIN_SCAN_STEPS_H
#define TARN_HOST_EXPLAIN_SCAN_STEPS_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/records.h"

#include "host/account.h"
#include "host/explain/asked_address.h"
#include "host/explain/policy_index.h"

namespace tarn::host {

// What is asked, by whom and when.
struct ScanQuestion {
    AskedAddress asked;
    Account account;               // whose requests are judged
    TarnSystemTime now{};          // local
    bool isUserListEmpty = false;  // the user's white list was reset
};

// A verdict as it is foretold, or as the library gave it.
struct Outcome {
    bool isVerdict = false;  // otherwise the scan ends without one
    bool isBlocked = false;
    std::uint32_t reason = TARN_REASON_DEFAULT;
    bool operator==(const Outcome&) const = default;
};
Outcome OutcomeOf(const Judgement& judgement);

// What one step says.
struct StepAnswer {
    std::vector<EntryRef> entries;    // that match, the one that counts first
    std::optional<Outcome> outcome;   // with which it would end the scan
    std::string note;                 // why it found nothing or decides without an entry; empty when entries tell
    std::optional<EntryRef> decider;  // of outcome, when it is not the first of entries
    bool isOff = false;               // nothing is looked up: the policy switches it off
};

struct ScanStep {
    std::string_view name;
    StepAnswer (*ask)(const PolicyIndex&, const ScanQuestion&);
    std::span<const PolicyList> lists{};  // that it looks things up in
};

// Of a connection, or of an address that a browser's extension reports.
std::span<const ScanStep> StepsOf(const ScanQuestion& question);

// Whether any step asks the list of that entry: it is on, and holds for whoever asks.
bool IsLookedUp(const PolicyIndex& index, const ScanQuestion& question, const EntryRef& entry);

struct Foretold {
    Outcome outcome;
    std::optional<EntryRef> decider;    // empty when no entry decided
    std::optional<std::size_t> step{};  // that decided; empty when none did
};
// The step is a number in StepsOf.
Foretold Foretell(const PolicyIndex& index, const ScanQuestion& question);

}  // namespace tarn::host

#endif
