// The texts of an IDS rule in a packet verdict: filled from the rule table, or emptied for the host.
// Pure functions; the verdict belongs to the caller.
#ifndef TARN_NETWORK_RULE_DETAILS_H
#define TARN_NETWORK_RULE_DETAILS_H

#include <cstdint>

#include "tarn/records.h"

#include "modules/ids_rules.h"

namespace tarn::network {

// The reasons of a packet verdict.
enum PacketReason : std::uint32_t {
    kReasonTextsWithheld = 4,  // the packet-signature module's: an attack that the host knows already
    kReasonRuleExcluded = 20,
    kReasonRemoteDesktop = 23,  // this and the following: brute force against a service of this machine
    kReasonSmb = 25,
    kReasonSqlServer = 27,
    kReasonMySql = 28,
};

enum class ExcludedRule {
    kAllows,   // a rule that the user excluded turns the verdict into an allow with kReasonRuleExcluded
    kIgnored,  // the verdict stands whatever the user excluded
};

// Number and texts of the first rule with this number, each text cut to its field; without one nothing changes.
void FillRuleDetails(const modules::IdsRuleTable& rules, std::uint16_t ruleId, ExcludedRule excluded,
                     PacketVerdict& verdict);

// For an attack that was described to the host before.
void EmptyRuleTexts(PacketVerdict& verdict);

}  // namespace tarn::network

#endif
