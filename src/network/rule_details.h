// The texts of an IDS rule in a packet verdict: filled from the rule table, or emptied for the host.
// Pure functions; the verdict belongs to the caller.
#ifndef TARN_NETWORK_RULE_DETAILS_H
#define TARN_NETWORK_RULE_DETAILS_H

#include <cstdint>

#include "tarn/records.h"

#include "modules/ids_rules.h"

namespace tarn::network {

enum class ExcludedRule {
    kAllows,   // a rule that the user excluded turns the verdict into an allow with TARN_PACKET_REASON_RULE_EXCLUDED
    kIgnored,  // the verdict stands whatever the user excluded
};

// Number and texts of the first rule with this number, each text cut to its field; without one nothing changes.
void FillRuleDetails(const modules::IdsRuleTable& rules, std::uint16_t ruleId, ExcludedRule excluded,
                     PacketVerdict& verdict);

// For an attack that was described to the host before.
void EmptyRuleTexts(PacketVerdict& verdict);

}  // namespace tarn::network

#endif
