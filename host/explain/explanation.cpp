#include "host/explain/explanation.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/explain/named_entries.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

// What ended the scan, for the steps behind it.
std::string WhyNotAsked(const ExplainedStep& decided) {
    if (decided.entries.empty()) return fmt::format("{} decided", decided.name);
    const DecidingEntry& entry = decided.entries.front();
    return fmt::format("{} decided by {}", decided.name, PlaceWords(entry));
}

}  // namespace

std::string PlaceWords(const DecidingEntry& entry) {
    return fmt::format("{}:{}", entry.file, entry.line);
}

std::string OutcomeWords(const Outcome& outcome) {
    if (!outcome.isVerdict) return "no verdict";
    return fmt::format("{} {} {}", outcome.isBlocked ? "BLOCKED" : "allowed", outcome.reason,
                       ReasonWords(outcome.reason));
}

Explanation Explain(const PolicyIndex& index, const ScanQuestion& question, std::string url, const Outcome& answer) {
    Explanation explanation;
    explanation.url = std::move(url);
    explanation.outcome = answer;
    const Foretold foretold = Foretell(index, question);
    explanation.foretold = foretold.outcome;
    explanation.agrees = foretold.outcome == answer;
    explanation.deciderRef = foretold.decider;
    if (foretold.decider) explanation.decider = index.Describe(*foretold.decider);

    std::vector<EntryRef> matching;
    const std::span<const ScanStep> steps = StepsOf(question);
    std::string whyNotAsked;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const StepAnswer said = steps[i].ask(index, question);
        ExplainedStep step;
        step.name = steps[i].name;
        step.note = said.note;
        if (said.isOff) step.state = ExplainedStep::State::kOff;
        if (said.decider) step.entries.push_back(index.Describe(*said.decider));
        for (const EntryRef& entry : said.entries) {
            matching.push_back(entry);
            if (!said.decider || *said.decider != entry) step.entries.push_back(index.Describe(entry));
        }
        if (!whyNotAsked.empty()) {
            step.state = ExplainedStep::State::kNotAsked;
            step.note = whyNotAsked;
        } else if (foretold.step && *foretold.step == i) {
            step.state = ExplainedStep::State::kDecided;
            whyNotAsked = WhyNotAsked(step);
            if (!foretold.decider) explanation.whyDecided = said.note;
        }
        explanation.steps.push_back(std::move(step));
    }
    if (!foretold.step) explanation.whyDecided = "no rule decided";

    std::vector<EntryRef> named = FindNamed(index.Policy(), question.asked);
    for (const EntryRef& entry : matching)
        if (std::find(named.begin(), named.end(), entry) == named.end()) named.push_back(entry);
    for (const EntryRef& entry : named) {
        const bool matches = std::find(matching.begin(), matching.end(), entry) != matching.end();
        const auto state = matches                              ? NamedEntry::State::kMatches
                           : IsLookedUp(index, question, entry) ? NamedEntry::State::kDoesNotMatch
                                                                : NamedEntry::State::kNotLookedUp;
        explanation.named.push_back({index.Describe(entry), state, foretold.decider == entry});
    }
    return explanation;
}

}  // namespace tarn::host
