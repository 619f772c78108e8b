// The answers and the journal of the scripted companion modules, shared by the modules and the test process.
// Plain data across the DLL boundary: every binary has a run-time library of its own.
#ifndef TARN_TESTS_COMPANIONS_SCRIPTED_COMPANION_SCRIPT_H
#define TARN_TESTS_COMPANIONS_SCRIPTED_COMPANION_SCRIPT_H

#include <cstddef>
#include <cstdint>

#include "tarn/companions.h"

#if defined(TARN_SCRIPT_IMPLEMENTATION)
#define TARN_SCRIPT_API __declspec(dllexport)
#else
#define TARN_SCRIPT_API __declspec(dllimport)
#endif

namespace tarn::script {

// What the modules answer. The records belong to the test and are handed out as they stand.
struct Answers {
    std::uint8_t bpStatus;
    std::uint8_t apStatus;
    std::uint8_t cloudStatus;
    std::uint8_t agentStatus;
    IdsIpsStatus idsIpsStatus;
    IdsIpsSettings idsIpsSettings;
    PromptBytes bpPrompt;
    PromptBytes apPrompt;
    ThreatSiteList bpSettings;
    PhishingSiteList apSettings;
    UrlListRecord bpUserWhiteList;
    UrlListRecord bpInternalWhiteList;
    UrlListRecord wsInternalWhiteList;
    IdsSettingsRecord idsSettings;
    PcSettingsRecord pcSettings;
    DnsCacheRecord dnsCache;
    PcSystemControlRecord systemControl;
    DisabledFeatures disabledFeatures;
    char16_t serverAddress[260];
    std::uint16_t categories[8];  // of every site
    std::uint16_t categoryCount;
    std::uint8_t malicious;  // of every URL
    std::uint8_t httpsBlock;
    PacketVerdict packetVerdict;
    char passedTo[64];                       // the function that is to tell the host's values behind its arguments
    std::uint8_t firstCallNotesPassed;       // the next function that is called tells them, whichever it is
    const std::uint32_t* expectedErrorCell;  // when set, a function that is handed another one notes it
    QuarantineRequest quarantined;           // the last request; its URL pointer ends with the call
    char16_t quarantinedUrl[1024];
    // What was saved last.
    std::uint32_t savedSessions;
    SavedSessionRecord savedRecords[16];  // the first ones
    std::uint8_t keepsSessions;           // what is saved is what the next read delivers
    std::uint16_t savedDnsCount;
    std::uint16_t savedDnsIndex;
    std::uint8_t savedDnsHasEntries;
    char savedDnsNames[4][256];  // of the first entries
    std::int32_t unreleasedCategories;
    // Called with each line as it is noted, on the noting thread; null = nobody listens.
    void (*listener)(void* context, const char* line);
    void* listenerContext;
};

}  // namespace tarn::script

extern "C" {

TARN_SCRIPT_API tarn::script::Answers* ScriptAnswers();
// Answers and journal as at load: every call succeeds with empty lists and features off.
TARN_SCRIPT_API void ScriptReset();
// From now on the function gives this result (a failed read leaves its output untouched).
TARN_SCRIPT_API void ScriptSetResult(const char* function, std::uint32_t result);
TARN_SCRIPT_API std::uint32_t ScriptResult(const char* function);
TARN_SCRIPT_API void ScriptNote(const char* line);
// The journal's lines, each ended by '\n', cut to capacity; the length without the cut.
TARN_SCRIPT_API std::size_t ScriptJournal(char* text, std::size_t capacity);
}

#endif
