// Why an address is judged as it is: the steps of the scan, the entries of the policy that name it, the one that
// decided, what was proved by asking the library again, and what to write to have it otherwise.
// Printing is left to explanation_text.h and explanation_json.h.
#ifndef TARN_HOST_EXPLAIN_EXPLANATION_H
#define TARN_HOST_EXPLAIN_EXPLANATION_H

#include <optional>
#include <string>
#include <vector>

#include "host/explain/policy_variant.h"
#include "host/explain/scan_steps.h"

namespace tarn::host {

struct ExplainedStep {
    enum class State { kNothing, kOff, kDecided, kNotAsked };
    std::string name;
    State state = State::kNothing;
    std::string note;                    // what it found, or why it was not asked
    std::vector<DecidingEntry> entries;  // that match
};

// An entry with the host, its "www." form, a domain above it or the address of the server.
struct NamedEntry {
    enum class State { kMatches, kDoesNotMatch, kNotLookedUp };
    DecidingEntry entry;
    State state = State::kDoesNotMatch;  // not looked up: its list is off, or holds for somebody else
    bool isDecider = false;
};

// What the library says when entries are taken out of the policy.
struct Proof {
    enum class State { kProved, kContradicted, kNotProved };
    std::vector<DecidingEntry> without;
    Outcome foretold;
    std::optional<Outcome> answer;  // of the library
    State state = State::kNotProved;
    std::string whyNot;
};

// What to write into the policy.
struct Remedy {
    bool allows = false;   // else it blocks
    std::string text;      // of the policy; empty when something is only taken out
    std::string words;     // where it goes, or what to take out
    PolicyVariant policy;  // with it
};

struct Explanation {
    std::string url;
    Outcome outcome;     // of the library
    bool agrees = true;  // whether the policy foretells it
    Outcome foretold;
    std::vector<ExplainedStep> steps;
    std::vector<NamedEntry> named;
    std::optional<DecidingEntry> decider;
    std::optional<EntryRef> deciderRef;
    std::string whyDecided;  // when no entry did
    std::vector<Proof> proofs;
    std::optional<Remedy> remedy;
};

// All but the proofs and the remedy.
Explanation Explain(const PolicyIndex& index, const ScanQuestion& question, std::string url, const Outcome& answer);

// "tarn-policy.toml:12"
std::string PlaceWords(const DecidingEntry& entry);
// "BLOCKED 2 malicious site" and the like.
std::string OutcomeWords(const Outcome& outcome);

}  // namespace tarn::host

#endif
