#include "host/companion_kit/module_facts.h"

#include <algorithm>
#include <array>

#include "tarn/companion_modules.h"

#include "base/text.h"

namespace tarn::host {

namespace {

#define TARN_NAME(function, type) #function,
#define TARN_NAMES(module, file, functions)            \
    constexpr std::string_view k##module##File = file; \
    constexpr std::string_view k##module[] = {functions(TARN_NAME)};
TARN_COMPANION_FILES(TARN_NAMES)
#undef TARN_NAMES
#undef TARN_NAME

constexpr std::string_view kNoStart = "WSInit is false";

constexpr ModuleFacts kModules[] = {
    {kSettingsReaderFile, true, true, kNoStart, kSettingsReader},
    {kStatusReaderFile, true, true, kNoStart, kStatusReader},
    {kPacketSignaturesFile, true, true, kNoStart, kPacketSignatures},
    {kCategorisationFile, true, true, kNoStart, kCategorisation},
    {kHttpsInspectionFile, false, true, "HTTPS inspection blocks nothing", kHttpsInspection},
    {kUrlPatternsFile, false, true, "no malicious pattern matches", kUrlPatterns},
    {kQuarantineFile, false, false, "nothing is put into quarantine", kQuarantine},
    {kDisabledFeaturesReaderFile, false, false, "a managed client asks no category online", kDisabledFeaturesReader},
    {kAgentStatusReaderFile, false, false, "the agent status is 0", kAgentStatusReader},
};

#define TARN_FILE(module, file, functions) file,
constexpr const char* kCompanionFiles[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE
static_assert(std::size(kModules) == std::size(kCompanionFiles));

}  // namespace

std::span<const ModuleFacts> AllModules() {
    return kModules;
}

const ModuleFacts* FindModuleFacts(std::string_view file) {
    const auto found = std::ranges::find_if(
        kModules, [file](const ModuleFacts& module) { return base::EqualIgnoringCase(module.file, file); });
    return found == std::end(kModules) ? nullptr : &*found;
}

bool MayBeMissing(std::string_view function) {
    return function == "ReadAPReportPromptStatus";
}

}  // namespace tarn::host
