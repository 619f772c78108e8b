#include "host/event.h"
#include "host/explain/explanation_report.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

using Json = nlohmann::ordered_json;

Json OutcomeJson(const Outcome& outcome) {
    Json json{{"verdict", !outcome.isVerdict ? "none" : outcome.isBlocked ? "blocked" : "allowed"}};
    if (!outcome.isVerdict) return json;
    json["reason"] = outcome.reason;
    json["reason_text"] = ReasonWords(outcome.reason);
    return json;
}

const char* StateWord(ExplainedStep::State state) {
    switch (state) {
        case ExplainedStep::State::kNothing:
            return "nothing";
        case ExplainedStep::State::kOff:
            return "off";
        case ExplainedStep::State::kDecided:
            return "decided";
        case ExplainedStep::State::kNotAsked:
            break;
    }
    return "not_asked";
}

const char* StateWord(Proof::State state) {
    switch (state) {
        case Proof::State::kProved:
            return "proved";
        case Proof::State::kContradicted:
            return "contradicted";
        case Proof::State::kNotProved:
            break;
    }
    return "not_proved";
}

const char* StateWord(NamedEntry::State state) {
    switch (state) {
        case NamedEntry::State::kMatches:
            return "matches";
        case NamedEntry::State::kDoesNotMatch:
            return "does_not_match";
        case NamedEntry::State::kNotLookedUp:
            break;
    }
    return "not_looked_up";
}

template <class Items, class Make>
Json ArrayOf(const Items& items, Make make) {
    Json array = Json::array();
    for (const auto& item : items) array.push_back(make(item));
    return array;
}

Json StepJson(const ExplainedStep& step) {
    Json json{{"step", step.name}, {"found", StateWord(step.state)}};
    if (!step.note.empty()) json["note"] = step.note;
    json["entries"] = ArrayOf(step.entries, EntryMember);
    return json;
}

Json NamedJson(const NamedEntry& named) {
    Json json = EntryMember(named.entry);
    json["state"] = StateWord(named.state);
    json["decided"] = named.isDecider;
    return json;
}

Json ProofJson(const Proof& proof) {
    Json json{{"without", ArrayOf(proof.without, EntryMember)}, {"state", StateWord(proof.state)}};
    if (proof.answer) json["answer"] = OutcomeJson(*proof.answer);
    if (proof.state != Proof::State::kNotProved) json["foretold"] = OutcomeJson(proof.foretold);
    if (!proof.whyNot.empty()) json["why_not"] = proof.whyNot;
    return json;
}

}  // namespace

Json JsonOf(const Explanation& explanation) {
    Json json{{"url", explanation.url}};
    json.update(OutcomeJson(explanation.outcome));
    json["agrees"] = explanation.agrees;
    if (!explanation.agrees) json["foretold"] = OutcomeJson(explanation.foretold);
    if (explanation.decider) json["entry"] = EntryMember(*explanation.decider);
    if (!explanation.whyDecided.empty()) json["why"] = explanation.whyDecided;
    json["steps"] = ArrayOf(explanation.steps, StepJson);
    json["named"] = ArrayOf(explanation.named, NamedJson);
    json["proofs"] = ArrayOf(explanation.proofs, ProofJson);
    if (explanation.remedy) {
        json["remedy"] = {{"to", explanation.remedy->allows ? "allow" : "block"}};
        if (!explanation.remedy->text.empty()) json["remedy"]["write"] = explanation.remedy->text;
        json["remedy"]["where"] = explanation.remedy->words;
    }
    return json;
}

}  // namespace tarn::host
