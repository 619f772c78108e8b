#include "host/explain/proof.h"

#include "host/explain/policy_edit.h"
#include "policy/policy_reader.h"

namespace tarn::host {

std::vector<Proof> Prove(const std::string& policyText, const PolicyIndex& index, const ScanQuestion& question,
                         const policy::FindSid& findSid, const AskWithPolicy& ask) {
    constexpr std::size_t kMostTakenOut = 2;  // the entry that decided, and the one that would be next
    std::vector<Proof> proofs;
    std::vector<DecidingEntry> without;
    std::string text = policyText;
    policy::Policy policy = index.Policy();
    Foretold foretold = Foretell(index, question);
    while (foretold.decider && proofs.size() < kMostTakenOut) {
        Proof proof;
        without.push_back(Describe(policy, *foretold.decider));
        proof.without = without;
        const auto edited = WithoutEntry(text, policy, *foretold.decider, findSid, proof.whyNot);
        if (!edited) {
            proofs.push_back(std::move(proof));
            break;
        }
        text = *edited;
        policy = policy::ParsePolicy(text, findSid).policy;
        foretold = Foretell(PolicyIndex(policy), question);
        proof.foretold = foretold.outcome;
        proof.answer = ask(text, proof.whyNot);
        if (proof.answer)
            proof.state = *proof.answer == foretold.outcome ? Proof::State::kProved : Proof::State::kContradicted;
        proofs.push_back(std::move(proof));
    }
    return proofs;
}

}  // namespace tarn::host
