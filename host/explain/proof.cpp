#include "host/explain/proof.h"

#include <memory>

#include "host/explain/policy_edit.h"

namespace tarn::host {

std::vector<Proof> Prove(PolicyVariant policy, const PolicyIndex& index, const ScanQuestion& question,
                         const policy::FindSid& findSid, const AskWithPolicy& ask) {
    constexpr std::size_t kMostTakenOut = 2;  // the entry that decided, and the one that would be next
    std::vector<Proof> proofs;
    std::vector<DecidingEntry> without;
    const PolicyIndex* current = &index;
    std::unique_ptr<const PolicyIndex> edited;  // owns the current one from the first edit on
    Foretold foretold = Foretell(index, question);
    while (foretold.decider && proofs.size() < kMostTakenOut) {
        Proof proof;
        without.push_back(current->Describe(*foretold.decider));
        proof.without = without;
        auto next = WithoutEntry(policy, current->Policy(), *foretold.decider, findSid, proof.whyNot);
        if (!next) {
            proofs.push_back(std::move(proof));
            break;
        }
        policy = std::move(next->variant);
        edited = std::make_unique<const PolicyIndex>(std::move(next->says));
        current = edited.get();
        foretold = Foretell(*current, question);
        proof.foretold = foretold.outcome;
        proof.answer = ask(policy, proof.whyNot);
        if (proof.answer)
            proof.state = *proof.answer == foretold.outcome ? Proof::State::kProved : Proof::State::kContradicted;
        proofs.push_back(std::move(proof));
    }
    return proofs;
}

}  // namespace tarn::host
