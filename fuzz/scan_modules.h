// The companion modules of the scan targets: what they answer stands in a policy, so equal questions get equal answers.
// What a scan makes of the answers is checked by the targets.
#ifndef TARN_FUZZ_SCAN_MODULES_H
#define TARN_FUZZ_SCAN_MODULES_H

#include <cstdint>

#include "tarn/companions.h"

#include "modules/companions.h"
#include "policy/policy.h"
#include "policy/site_judge.h"

namespace tarn::fuzz {

// Plain functions can reach it only as a global.
struct ScriptedModules {
    const policy::Policy* policy = nullptr;
    const policy::CategoryIndex* categories = nullptr;
    bool fail = false;   // every call but the releases
    int unreleased = 0;  // category lists
    int loaded = 0;      // modules that were not freed
};
extern ScriptedModules scriptedModules;

void BindScriptedModules(modules::Companions& companions);

// What the quarantine module exports.
std::uint8_t TARN_CALL ScriptedQuarantine(const char16_t* path, std::uint64_t reserved1,
                                          const QuarantineRequest* request, std::uint64_t reserved3,
                                          std::uint64_t reserved4, std::uint64_t reserved5, std::uint64_t* out1,
                                          std::uint32_t* out2);

}  // namespace tarn::fuzz

#endif
