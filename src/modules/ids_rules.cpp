#include "modules/ids_rules.h"

#include <algorithm>
#include <cstring>

#include "machine/system_code.h"

namespace tarn::modules {
namespace {

constexpr std::size_t kSystemStride = 2;  // bytes between two identifiers; the first one counts

namespace code = machine::system_code;

struct Row {
    std::uint32_t first;
    std::uint32_t last;
    std::uint8_t identifier;
};

constexpr Row kRows[] = {
    {code::k50DataCentre, code::k50Workstation, TARN_SYSTEM_5_0},
    {code::k50Server, code::k50Server, TARN_SYSTEM_5_0},
    {code::k51Personal, code::k51Professional, TARN_SYSTEM_5_1},
    {code::k52ItaniumDataCentre, code::k52SecondRelease, TARN_SYSTEM_5_1},
    {code::k52Other, code::k52Other, TARN_SYSTEM_5_1},
    {code::k52WorkstationX64, code::k52WorkstationX64, TARN_SYSTEM_5_2},
    {code::k60Workstation, code::k60Server, TARN_SYSTEM_6_0},
    {code::k60Workstation64, code::k60Workstation64, TARN_SYSTEM_6_0},
    {code::k60Server64, code::k60Server64, TARN_SYSTEM_6_0},
    {code::k61Server, code::k61Workstation64, TARN_SYSTEM_6_1},
    {code::k62Workstation, code::k62Server64, TARN_SYSTEM_6_2},
    {code::k63Workstation, code::k63Server64, TARN_SYSTEM_6_3},
    {code::k10Workstation, code::k10Server64, TARN_SYSTEM_10_0},
    {code::k10Server64From17623, code::k10Workstation64From22000, TARN_SYSTEM_10_0},
};

bool AppliesTo(const IdsRule& rule, std::uint8_t system) {
    if (rule.systemCount == 0 || rule.systems == nullptr) return true;  // names none, so it is for every one
    for (std::size_t i = 0; i < rule.systemCount; ++i)
        if (rule.systems[i * kSystemStride] == system) return true;
    return false;
}

}  // namespace

std::uint8_t IdsSystemOf(std::uint32_t classification) {
    for (const Row& row : kRows)
        if (classification >= row.first && classification <= row.last) return row.identifier;
    return 0;
}

void IdsRuleTable::Keep(const IdsSettingsRecord& record) {
    Clear();
    record_ = record;
    kept_ = true;
}

bool IdsRuleTable::CopyRule(const IdsRule& from, IdsRule& to) {
    std::memcpy(&to, &from, sizeof to);
    to.systems = nullptr;
    if (from.systemCount == 0 || from.systems == nullptr) return true;
    auto* systems = static_cast<std::uint8_t*>(memory_.allocate(from.systemCount, kSystemStride));
    if (systems == nullptr) return false;
    for (std::size_t i = 0; i < from.systemCount; ++i) systems[i * kSystemStride] = from.systems[i * kSystemStride];
    to.systems = systems;
    return true;
}

bool IdsRuleTable::CopySelected(const IdsSettingsRecord& record, std::uint8_t system) {
    Clear();
    record_.extra = record.extra;
    if (record.rules == nullptr) return true;
    std::uint32_t selected = 0;
    for (std::uint32_t i = 0; i < record.ruleCount; ++i) selected += AppliesTo(record.rules[i], system) ? 1 : 0;
    if (selected == 0) return true;
    record_.rules = static_cast<IdsRule*>(memory_.allocate(selected, sizeof(IdsRule)));
    if (record_.rules == nullptr) {
        Clear();
        return false;
    }
    own_ = true;
    for (std::uint32_t i = 0; i < record.ruleCount; ++i) {
        if (!AppliesTo(record.rules[i], system)) continue;
        if (!CopyRule(record.rules[i], record_.rules[record_.ruleCount])) {
            Clear();
            return false;
        }
        ++record_.ruleCount;
    }
    if (!IndexRules()) {
        Clear();
        return false;
    }
    return true;
}

bool IdsRuleTable::IndexRules() {
    std::uint32_t highest = 0;
    for (std::uint32_t i = 0; i < record_.ruleCount; ++i)
        highest = std::max<std::uint32_t>(highest, record_.rules[i].id);
    places_ = static_cast<std::uint32_t*>(memory_.allocate(highest + 1, sizeof(std::uint32_t)));
    if (places_ == nullptr) return false;
    placeCount_ = highest + 1;
    // From the back, so that of several rules with one number the first is found.
    for (std::uint32_t i = record_.ruleCount; i > 0; --i) places_[record_.rules[i - 1].id] = i;
    return true;
}

const IdsRule* IdsRuleTable::Find(std::uint16_t id) const {
    if (id >= placeCount_ || places_[id] == 0) return nullptr;
    return &record_.rules[places_[id] - 1];
}

void IdsRuleTable::Clear() {
    if (own_) {
        for (std::uint32_t i = 0; i < record_.ruleCount; ++i) memory_.release(record_.rules[i].systems);
        memory_.release(record_.rules);
        memory_.release(places_);
    }
    record_ = {};
    places_ = nullptr;
    placeCount_ = 0;
    own_ = false;
    kept_ = false;
}

IdsSettingsRecord IdsRuleTable::KeptRecord() const {
    return kept_ ? record_ : IdsSettingsRecord{};
}

}  // namespace tarn::modules
