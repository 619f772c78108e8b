// What the companion modules of the exports' world answer, in the places of functions of the tests' scripted modules.
#ifndef TARN_FUZZ_EXPORTS_EXPORTS_MODULES_H
#define TARN_FUZZ_EXPORTS_EXPORTS_MODULES_H

#include <array>
#include <set>

#include "api/machine_with_modules.h"
#include "exports/given_records.h"
#include "target.h"

namespace tarn::fuzz {

// Plain functions can reach it only as a global.
struct ModuleAnswers {
    ModuleAnswers();

    std::array<ByteList, kReadKinds> records;  // what each read makes its record of
    bool mayBeOdd = false;                     // records as a damaged module gives them
    std::uint8_t salt = 0;                     // of the answers to scans
    bool scansThrow = false;                   // now and then, which no module may
    GivenRecords given;
    std::set<const std::uint16_t*> categories;  // arrays that were not released
};
extern ModuleAnswers* moduleAnswers;

void BindModuleAnswers(api::LosingModules& modules);

}  // namespace tarn::fuzz

#endif
