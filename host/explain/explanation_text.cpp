#include <algorithm>
#include <fmt/format.h>

#include "host/explain/explanation_report.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

using State = ExplainedStep::State;

constexpr std::size_t kNameWidth = 24;

std::string EntryWords(const DecidingEntry& entry) {
    return fmt::format("{}:{}  {}", Printable(entry.file), entry.line, Printable(entry.text));
}

void PrintSteps(const Explanation& explanation, std::ostream& out) {
    std::size_t number = 0;
    std::size_t notAsked = 0;
    for (const ExplainedStep& step : explanation.steps) {
        ++number;
        if (step.state == State::kNotAsked && ++notAsked > 1 && step.entries.empty()) continue;
        std::string line = fmt::format("  {:>2} {:<{}}", number, step.name, kNameWidth);
        const bool decided = step.state == State::kDecided;
        if (step.state == State::kNotAsked) {
            const bool isRest = notAsked == 1 && number < explanation.steps.size();
            line = fmt::format("  {:<{}}",
                               isRest ? fmt::format("{} to {}", number, explanation.steps.size())
                                      : fmt::format("{:>2} {}", number, step.name),
                               kNameWidth + 3);
            out << fmt::format("{}not asked: {}\n", line, Printable(step.note));
            if (isRest) continue;
        } else if (step.entries.empty()) {
            out << fmt::format("{}{}{}\n", line, Printable(step.note), decided ? "  <- decided" : "");
        }
        for (std::size_t i = 0; i < step.entries.size(); ++i) {
            const bool isDecider = decided && i == 0;
            std::string first = i == 0 && step.state != State::kNotAsked ? line : std::string(kNameWidth + 5, ' ');
            out << fmt::format("{}{}{}\n", first, EntryWords(step.entries[i]), isDecider ? "  <- decided" : "");
        }
    }
}

void PrintNamed(const Explanation& explanation, std::ostream& out) {
    if (explanation.named.empty()) {
        out << "  no entry of the policy names it\n";
        return;
    }
    out << "  entries that name it:\n";
    for (const NamedEntry& named : explanation.named) {
        const char* mark = named.isDecider ? "  <- decided" : named.matches ? "" : "  (does not match or is off)";
        out << fmt::format("    {}:{}  {}  {}{}\n", Printable(named.entry.file), named.entry.line, named.entry.list,
                           Printable(named.entry.text), mark);
    }
}

std::string LinesOf(const std::vector<DecidingEntry>& entries) {
    std::string text = entries.size() == 1 ? "line " : "lines ";
    for (std::size_t i = 0; i < entries.size(); ++i)
        text += fmt::format("{}{}", i == 0 ? "" : " and ", entries[i].line);
    return text;
}

void PrintProof(const Proof& proof, std::ostream& out) {
    const std::string lines = LinesOf(proof.without);
    if (proof.state == Proof::State::kProved)
        out << fmt::format("  proved: without {} the library says: {}\n", lines, OutcomeWords(proof.foretold));
    else if (proof.state == Proof::State::kContradicted)
        out << fmt::format("  NOT SO: without {} the library says: {}; expected was: {}\n", lines,
                           OutcomeWords(*proof.answer), OutcomeWords(proof.foretold));
    else
        out << fmt::format("  not proved without {}: {}\n", lines, Printable(proof.whyNot));
}

void PrintRemedy(const Remedy& remedy, std::ostream& out) {
    const char* aim = remedy.allows ? "to allow it" : "to block it";
    if (remedy.text.empty()) {
        out << fmt::format("  {}: {}\n", aim, Printable(remedy.words));
        return;
    }
    out << fmt::format("  {}, {}:\n", aim, Printable(remedy.words));
    std::size_t begin = 0;
    while (begin <= remedy.text.size()) {
        const std::size_t end = std::min(remedy.text.find('\n', begin), remedy.text.size());
        out << "    " << Printable(remedy.text.substr(begin, end - begin)) << '\n';
        begin = end + 1;
    }
}

}  // namespace

void PrintExplanation(const Explanation& explanation, std::ostream& out) {
    out << fmt::format("{}  {}\n", Printable(explanation.url), OutcomeWords(explanation.outcome));
    if (!explanation.agrees)
        out << fmt::format("  the policy alone does not explain that: by it the verdict would be {}\n",
                           OutcomeWords(explanation.foretold));
    PrintSteps(explanation, out);
    PrintNamed(explanation, out);
    for (const Proof& proof : explanation.proofs) PrintProof(proof, out);
    if (explanation.remedy) PrintRemedy(*explanation.remedy, out);
}

}  // namespace tarn::host
