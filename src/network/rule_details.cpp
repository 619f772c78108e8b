#include "network/rule_details.h"

#include <array>
#include <cstring>

#include "base/bounded_text.h"

namespace tarn::network {
namespace {

constexpr std::size_t kNameUnits = 50;
constexpr std::size_t kDescriptionUnits = 150;
constexpr std::size_t kDetailsUnits = 400;

// Both fields stand at odd addresses.
template <std::size_t Units>
void CopyField(void* to, const void* from) {
    std::array<char16_t, Units> text;
    std::memcpy(text.data(), from, sizeof text);
    base::StoreField<Units>(to, base::FieldText(text));
}

void ZeroBytes(void* field, std::size_t count) {
    std::memset(field, 0, count);
}

}  // namespace

void FillRuleDetails(const modules::IdsRuleTable& rules, std::uint16_t ruleId, ExcludedRule excluded,
                     PacketVerdict& verdict) {
    const IdsRule* rule = rules.Find(ruleId);
    if (rule == nullptr) return;
    if (rule->excluded == 1 && excluded == ExcludedRule::kAllows) {
        verdict.action = TARN_PACKET_ALLOW;
        verdict.reason = TARN_PACKET_REASON_RULE_EXCLUDED;
    }
    verdict.ruleId = ruleId;
    CopyField<kNameUnits>(verdict.ruleName, rule->name);
    CopyField<kDescriptionUnits>(verdict.description, rule->description);
    CopyField<kDetailsUnits>(verdict.details, rule->details);
}

void EmptyRuleTexts(PacketVerdict& verdict) {
    // QUIRK: as many bytes as each field has units are zeroed, which is half of the field; an old text's second half
    // stays behind the NULs.  Test: EmptiedTextsKeepTheirSecondHalf
    ZeroBytes(verdict.ruleName, kNameUnits);
    ZeroBytes(verdict.description, kDescriptionUnits);
    ZeroBytes(verdict.details, kDetailsUnits);
}

}  // namespace tarn::network
