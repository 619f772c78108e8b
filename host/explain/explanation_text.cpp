#include <algorithm>
#include <fmt/format.h>

#include "host/explain/explanation_report.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

using State = ExplainedStep::State;

constexpr std::size_t kNameWidth = 24;

std::string EntryWords(const DecidingEntry& entry) {
    return fmt::format("{}  {}", Printable(PlaceWords(entry)), Printable(entry.text));
}

void PrintEntries(const std::string& line, const ExplainedStep& step, std::ostream& out) {
    for (std::size_t i = 0; i < step.entries.size(); ++i) {
        const char* mark = step.state == State::kNotAsked            ? "  (would match)"
                           : step.state == State::kDecided && i == 0 ? "  <- decided"
                                                                     : "";
        out << fmt::format("{}{}{}\n", i == 0 ? line : std::string(line.size(), ' '), EntryWords(step.entries[i]),
                           mark);
    }
}

void PrintSteps(const Explanation& explanation, std::ostream& out) {
    std::size_t number = 0;
    bool isEnded = false;
    for (const ExplainedStep& step : explanation.steps) {
        ++number;
        const std::string line = fmt::format("  {:>2} {:<{}}", number, step.name, kNameWidth);
        if (step.state == State::kNotAsked) {
            const std::string steps = number == explanation.steps.size()
                                          ? fmt::format("{:>2} {}", number, step.name)
                                          : fmt::format("{} to {}", number, explanation.steps.size());
            if (!isEnded) out << fmt::format("  {:<{}}not asked: {}\n", steps, kNameWidth + 3, Printable(step.note));
            isEnded = true;
        } else if (step.entries.empty()) {
            const bool decided = step.state == State::kDecided;
            out << fmt::format("{}{}{}\n", line, Printable(step.note), decided ? "  <- decided" : "");
        }
        PrintEntries(line, step, out);
    }
}

void PrintNamed(const Explanation& explanation, std::ostream& out) {
    if (explanation.named.empty()) {
        out << "  no entry of the policy names it\n";
        return;
    }
    out << "  entries that name it:\n";
    for (const NamedEntry& named : explanation.named) {
        const char* mark = named.isDecider                                   ? "  <- decided"
                           : named.state == NamedEntry::State::kMatches      ? ""
                           : named.state == NamedEntry::State::kDoesNotMatch ? "  (does not match)"
                                                                             : "  (not looked up)";
        out << fmt::format("    {}:{}  {}  {}{}\n", Printable(named.entry.file), named.entry.line, named.entry.list,
                           Printable(named.entry.text), mark);
    }
}

std::string PlacesOf(const std::vector<DecidingEntry>& entries) {
    std::string text;
    for (std::size_t i = 0; i < entries.size(); ++i)
        text += fmt::format("{}{}", i == 0 ? "" : " and ", Printable(PlaceWords(entries[i])));
    return text;
}

void PrintProof(const Proof& proof, std::ostream& out) {
    const std::string places = PlacesOf(proof.without);
    if (proof.state == Proof::State::kProved)
        out << fmt::format("  proved: without {} the library says: {}\n", places, OutcomeWords(proof.foretold));
    else if (proof.state == Proof::State::kContradicted)
        out << fmt::format("  NOT SO: without {} the library says: {}; expected was: {}\n", places,
                           OutcomeWords(*proof.answer), OutcomeWords(proof.foretold));
    else
        out << fmt::format("  not proved without {}: {}\n", places, Printable(proof.whyNot));
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
