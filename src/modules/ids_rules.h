// The IDS rules that apply to the running system, in the library's own deep copies.
// The table owns its copies; packet scans on any thread look rules up, settings exports replace them.
#ifndef TARN_MODULES_IDS_RULES_H
#define TARN_MODULES_IDS_RULES_H

#include <cstdint>
#include <cstdlib>

#include "tarn/companions.h"

namespace tarn::modules {

// The system identifier that rules name, from a classification code; 0 for a code in no row.
std::uint8_t IdsSystemOf(std::uint32_t classification);

// calloc and free, or a test's own; what is allocated is zeroed.
struct RuleMemory {
    void* (*allocate)(std::size_t count, std::size_t size) = &std::calloc;
    void (*release)(void* block) = &std::free;
};

class IdsRuleTable {
 public:
    IdsRuleTable() = default;
    explicit IdsRuleTable(RuleMemory memory) : memory_(memory) {}
    ~IdsRuleTable() { Clear(); }
    IdsRuleTable(const IdsRuleTable&) = delete;
    IdsRuleTable& operator=(const IdsRuleTable&) = delete;

    // A record without rules, kept as it stands, pointer and all.
    void Keep(const IdsSettingsRecord& record);
    // Copies the rules that name no system and those that name this one, in order. False, with an empty table, when
    // memory is missing.
    bool CopySelected(const IdsSettingsRecord& record, std::uint8_t system);
    void Clear();

    [[nodiscard]] const IdsSettingsRecord& Record() const { return record_; }
    // The first rule with this number, or null. Costs the same however many rules there are.
    [[nodiscard]] const IdsRule* Find(std::uint16_t id) const;
    // What its module is given back: the kept record, or a zeroed one when the rules are own copies.
    [[nodiscard]] IdsSettingsRecord KeptRecord() const;

 private:
    bool CopyRule(const IdsRule& from, IdsRule& to);
    bool IndexRules();

    RuleMemory memory_;
    IdsSettingsRecord record_{};
    std::uint32_t* places_ = nullptr;  // by number: one more than the place of its first rule, 0 = no rule
    std::uint32_t placeCount_ = 0;     // one more than the highest number
    bool own_ = false;                 // rules and their system lists are own copies
    bool kept_ = false;                // the record is the module's, without rules
};

}  // namespace tarn::modules

#endif
