// The companion modules as structs: the file, one slot for each function in binding order, how a module is started and
// ended. Name and slot of a function come from one token of the public list, so a wrong pair cannot be written.
#ifndef TARN_MODULES_COMPANION_TABLE_H
#define TARN_MODULES_COMPANION_TABLE_H

#include <string_view>

#include "tarn/companion_modules.h"

namespace tarn::modules {

class ModuleCalls;

namespace files {
#define TARN_FILE(module, file, functions) inline constexpr std::u16string_view k##module = u"" file;
TARN_COMPANION_FILES(TARN_FILE)
#undef TARN_FILE
}  // namespace files

// A row of the list as a slot, and as a visit of its name and slot.
#define TARN_SLOT(function, type) type function = nullptr;
#define TARN_IMPORT(function, type) visit(#function, self.function)&&

// What every module's struct has. VisitSlots runs visit(name, slot) in binding order until one gives false.
#define TARN_COMPANION(module, functions)                          \
    static constexpr std::u16string_view kFile = files::k##module; \
    template <class Self, class Visit>                             \
    static bool VisitSlots(Self& self, Visit&& visit) {            \
        return functions(TARN_IMPORT) true;                        \
    }                                                              \
    functions(TARN_SLOT)

// Start runs when everything is bound, and its failure fails the load; Stop runs before the module is freed.

struct SettingsReader {
    TARN_COMPANION(SettingsReader, TARN_SETTINGS_READER_FUNCTIONS)
};

struct StatusReader {
    TARN_COMPANION(StatusReader, TARN_STATUS_READER_FUNCTIONS)
    // QUIRK: behind this function the pointer bound before it is tested again, so a reader without it loads.
    // Test: StatusReaderWithoutApPromptStatus_Loads
    static constexpr std::string_view kMayBeMissing = "ReadAPReportPromptStatus";
};

struct PacketSignatures {
    TARN_COMPANION(PacketSignatures, TARN_PACKET_SIGNATURES_FUNCTIONS)
    bool Start(ModuleCalls& calls);
    void Stop(ModuleCalls& calls);
};

struct Categorisation {
    TARN_COMPANION(Categorisation, TARN_CATEGORISATION_FUNCTIONS)
    bool Start(ModuleCalls& calls);
    void Stop(ModuleCalls& calls);
};

struct HttpsInspection {
    TARN_COMPANION(HttpsInspection, TARN_HTTPS_INSPECTION_FUNCTIONS)
    bool Start(ModuleCalls& calls);
    void Stop(ModuleCalls& calls);
};

struct UrlPatterns {
    TARN_COMPANION(UrlPatterns, TARN_URL_PATTERNS_FUNCTIONS)
    static constexpr bool kNeedsWholePath = true;  // a path that was cut is not tried
    bool Start(ModuleCalls& calls);
    void Stop(ModuleCalls& calls);
};

struct Quarantine {
    TARN_COMPANION(Quarantine, TARN_QUARANTINE_FUNCTIONS)
};

struct DisabledFeaturesReader {
    TARN_COMPANION(DisabledFeaturesReader, TARN_DISABLED_FEATURES_READER_FUNCTIONS)
};

struct AgentStatusReader {
    TARN_COMPANION(AgentStatusReader, TARN_AGENT_STATUS_READER_FUNCTIONS)
};

#undef TARN_COMPANION

}  // namespace tarn::modules

#endif
