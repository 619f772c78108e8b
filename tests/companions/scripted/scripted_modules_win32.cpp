// Every function of every companion module, scripted. Each module links this file with its own list of exports, and
// journals its loading and unloading under its own name (TARN_SCRIPTED_MODULE).
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <iterator>
#include <string>
#include <windows.h>

#include "companions/scripted/companion_script.h"
#include "companions/scripted/settings_functions.h"

namespace {

void Note(const std::string& line) {
    ScriptNote(line.c_str());
}

// A host's own values stand behind the arguments of one call of a settings change; other callers leave there what
// happens to be there, so they are told only where the test expects them.
void NotePassed(const char* function, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    tarn::script::Answers& answers = *ScriptAnswers();
    const bool first = answers.firstCallNotesPassed != 0;
    answers.firstCallNotesPassed = 0;
    if (!first && std::strcmp(answers.passedTo, function) != 0) return;
    Note(std::string(function) + " passed " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c));
}
// Beyond the fourth, arguments stand in the caller's frame, where one that passes fewer has something else: a function
// may only look there, so it does not declare them.
void NotePassed(const char* function, va_list behind) {
    const auto a = va_arg(behind, std::uint64_t);
    const auto b = va_arg(behind, std::uint64_t);
    const auto c = va_arg(behind, std::uint64_t);
    NotePassed(function, a, b, c);
}

// What every function that takes a reserved argument or an error cell has a right to.
void CheckArguments(const char* function, std::uint64_t reserved, const std::uint32_t* error) {
    if (reserved != 0) Note(std::string(function) + " reserved " + std::to_string(reserved));
    if (error == nullptr) Note("null error cell");
    const std::uint32_t* const expected = ScriptAnswers()->expectedErrorCell;
    if (expected != nullptr && error != expected) Note(std::string(function) + " other error cell");
}

// Scans of several threads ask at once.
void CountUnreleased(std::int32_t change) {
    std::atomic_ref(ScriptAnswers()->unreleasedCategories) += change;
}

std::string Narrow(const char16_t* text) {
    std::string narrow;
    for (; *text != u'\0'; ++text) narrow += *text < 0x80 ? static_cast<char>(*text) : '?';
    return narrow;
}

template <class Record>
std::uint8_t Read(const char* function, std::uint64_t reserved, const Record& answer, Record* out,
                  std::uint32_t* error) {
    Note(function);
    CheckArguments(function, reserved, error);
    const std::uint32_t result = ScriptResult(function);
    if (result == 0) {
        if (error != nullptr) *error = 1234;
        return 0;
    }
    std::memcpy(out, &answer, sizeof answer);
    return static_cast<std::uint8_t>(result);
}

template <class Record>
void Release(const char* function, const Record* out) {
    const bool empty = [&] {
        const Record zero{};
        return std::memcmp(out, &zero, sizeof zero) == 0;
    }();
    Note(std::string(function) + (empty ? " empty" : " record"));
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID endOfProcess) {
    if (reason == DLL_PROCESS_ATTACH) Note("load " TARN_SCRIPTED_MODULE);
    // At the end of the process the journal may be gone already.
    if (reason == DLL_PROCESS_DETACH && endOfProcess == nullptr) Note("unload " TARN_SCRIPTED_MODULE);
    return TRUE;
}

#define NOTE_PASSED(function, lastArgument) \
    va_list behind;                         \
    va_start(behind, lastArgument);         \
    NotePassed(function, behind);           \
    va_end(behind)

#define READ(function, Record, field)                                                                 \
    std::uint8_t TARN_CALL function(std::uint64_t reserved, Record* out, std::uint32_t* error, ...) { \
        NOTE_PASSED(#function, error);                                                                \
        return Read(#function, reserved, ScriptAnswers()->field, out, error);                         \
    }
#define RELEASE(function, Record)                                                             \
    void TARN_CALL function(Record* out, std::uint64_t a, std::uint64_t b, std::uint64_t c) { \
        NotePassed(#function, a, b, c);                                                       \
        Release(#function, out);                                                              \
    }

extern "C" {

TARN_SETTINGS_FUNCTIONS(READ, RELEASE)

std::uint8_t TARN_CALL ResetBPUserWhitelist(std::uint64_t reserved, std::uint32_t* error, ...) {
    NOTE_PASSED("ResetBPUserWhitelist", error);
    Note("ResetBPUserWhitelist");
    CheckArguments("ResetBPUserWhitelist", reserved, error);
    return static_cast<std::uint8_t>(ScriptResult("ResetBPUserWhitelist"));
}

std::uint8_t TARN_CALL WriteDNSCacheSettings(std::uint64_t reserved, const DnsCacheRecord* record, std::uint32_t* error,
                                             ...) {
    NOTE_PASSED("WriteDNSCacheSettings", error);
    Note("WriteDNSCacheSettings error " + std::to_string(*error));
    CheckArguments("WriteDNSCacheSettings", reserved, error);
    ScriptAnswers()->savedDnsCount = record->count;
    ScriptAnswers()->savedDnsIndex = record->writeIndex;
    ScriptAnswers()->savedDnsHasEntries = record->entries != nullptr ? 1 : 0;
    auto& names = ScriptAnswers()->savedDnsNames;
    for (std::size_t i = 0; record->entries != nullptr && i < std::size(names) && i < record->count; ++i)
        std::memcpy(names[i], record->entries[i].hostName, sizeof names[i]);
    return static_cast<std::uint8_t>(ScriptResult("WriteDNSCacheSettings"));
}

std::uint8_t TARN_CALL WritePCSystemControlSettings(std::uint64_t reserved, const PcSystemControlRecord* record,
                                                    std::uint32_t* error, ...) {
    NOTE_PASSED("WritePCSystemControlSettings", error);
    CheckArguments("WritePCSystemControlSettings", reserved, error);
    tarn::script::Answers& answers = *ScriptAnswers();
    answers.savedSessions = record->count;
    const std::size_t kept = std::min<std::size_t>(record->count, std::size(answers.savedRecords));
    std::copy_n(record->records, kept, answers.savedRecords);
    if (answers.keepsSessions != 0) answers.systemControl = {static_cast<std::uint32_t>(kept), answers.savedRecords};
    Note("WritePCSystemControlSettings " + std::to_string(record->count));
    return static_cast<std::uint8_t>(ScriptResult("WritePCSystemControlSettings"));
}

std::uint8_t TARN_CALL ReadEPSServerIP(char16_t* buffer, std::uint32_t capacity, std::uint32_t* error) {
    Note("ReadEPSServerIP " + std::to_string(capacity));
    CheckArguments("ReadEPSServerIP", 0, error);
    if (ScriptResult("ReadEPSServerIP") == 0) return 0;
    std::memcpy(buffer, ScriptAnswers()->serverAddress, sizeof ScriptAnswers()->serverAddress);
    return 1;
}

std::uint8_t TARN_CALL SCInit(std::uint8_t onlineAllowed, std::uint32_t* error, ...) {
    NOTE_PASSED("SCInit", error);
    CheckArguments("SCInit", 0, error);
    Note("SCInit " + std::to_string(onlineAllowed));
    return static_cast<std::uint8_t>(ScriptResult("SCInit"));
}

void TARN_CALL SCDeinit(std::uint32_t*, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    NotePassed("SCDeinit", a, b, c);
    Note("SCDeinit");
}

std::uint8_t TARN_CALL SCGetURLCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                          std::uint32_t mode) {
    Note("SCGetURLCategories " + std::string(text) + " " + std::to_string(mode));
    const tarn::script::Answers& answers = *ScriptAnswers();
    *count = answers.categoryCount;
    *categories = nullptr;
    if (answers.categoryCount != 0) {
        *categories =
            static_cast<std::uint16_t*>(HeapAlloc(GetProcessHeap(), 0, answers.categoryCount * sizeof(std::uint16_t)));
        std::memcpy(*categories, answers.categories, answers.categoryCount * sizeof(std::uint16_t));
        CountUnreleased(1);
    }
    return static_cast<std::uint8_t>(ScriptResult("SCGetURLCategories"));
}

std::uint8_t TARN_CALL SCGetCategoryName(std::uint16_t category, char16_t* buffer, std::uint32_t capacity) {
    Note("SCGetCategoryName " + std::to_string(category) + " " + std::to_string(capacity));
    constexpr char16_t kName[] = u"Scripted";
    std::memcpy(buffer, kName, sizeof kName);
    return static_cast<std::uint8_t>(ScriptResult("SCGetCategoryName"));
}

std::uint8_t TARN_CALL SCReleaseCategories(std::uint16_t* categories) {
    Note("SCReleaseCategories");
    CountUnreleased(-1);
    HeapFree(GetProcessHeap(), 0, categories);
    return 1;
}

std::uint8_t TARN_CALL SCSaveCacheFile(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    Note("SCSaveCacheFile " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c) + " " +
         std::to_string(d));
    return 1;
}

std::uint8_t TARN_CALL PKSInit(void** context, std::uint32_t* error) {
    Note("PKSInit");
    CheckArguments("PKSInit", 0, error);
    *context = reinterpret_cast<void*>(std::uintptr_t{77});
    return static_cast<std::uint8_t>(ScriptResult("PKSInit"));
}

void TARN_CALL PKSDeinit(void* context, std::uint32_t*) {
    Note("PKSDeinit " + std::to_string(reinterpret_cast<std::uintptr_t>(context)));
}

std::uint8_t TARN_CALL PKSScanPacket(const std::uint8_t*, std::uint32_t length, std::uint16_t ruleId,
                                     std::uint8_t inbound, PacketVerdict* verdict) {
    Note("PKSScanPacket " + std::to_string(length) + " " + std::to_string(ruleId) + " " + std::to_string(inbound));
    if (ScriptResult("PKSScanPacket") == 0) return 0;
    *verdict = ScriptAnswers()->packetVerdict;
    return 1;
}

std::uint32_t TARN_CALL IntializeSSL(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    NotePassed("IntializeSSL", a, b, c);
    Note("IntializeSSL");
    return ScriptResult("IntializeSSL");
}

void TARN_CALL DeIntializeSSL(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    NotePassed("DeIntializeSSL", a, b, c);
    Note("DeIntializeSSL");
}

std::uint8_t TARN_CALL TiScanHttpsPacket(std::uint32_t processId, const char* hostAndPath, std::uint32_t remoteIpv4,
                                         std::uint16_t remotePort, const std::uint8_t*, std::uint32_t length,
                                         std::uint8_t* block) {
    Note("TiScanHttpsPacket " + std::to_string(processId) + " " + hostAndPath + " " + std::to_string(remoteIpv4) + " " +
         std::to_string(remotePort) + " " + std::to_string(length));
    *block = ScriptAnswers()->httpsBlock;
    return static_cast<std::uint8_t>(ScriptResult("TiScanHttpsPacket"));
}

void TARN_CALL TiShowPopup(void) {
    Note("TiShowPopup");
}

std::uint8_t TARN_CALL WSCheckURLMaliciousPattern(std::uint8_t kind, const char* host, const char* path,
                                                  std::uint16_t remotePort, std::uint8_t* malicious) {
    Note("WSCheckURLMaliciousPattern " + std::to_string(kind) + " " + host + " " + path + " " +
         std::to_string(remotePort));
    *malicious = ScriptAnswers()->malicious;
    return static_cast<std::uint8_t>(ScriptResult("WSCheckURLMaliciousPattern"));
}

std::uint8_t TARN_CALL WSInitUrlsig(void) {
    Note("WSInitUrlsig");
    return static_cast<std::uint8_t>(ScriptResult("WSInitUrlsig"));
}

void TARN_CALL WSDeInitUrlsig(std::uint32_t*) {
    Note("WSDeInitUrlsig");
}

std::uint8_t TARN_CALL ZRQuarantineFile(const char16_t* path, std::uint64_t a, const QuarantineRequest* request,
                                        std::uint64_t b, std::uint64_t c, std::uint64_t d, std::uint64_t* out1,
                                        std::uint32_t* out2) {
    *out1 = 1;
    *out2 = 2;
    Note("ZRQuarantineFile " + std::to_string(a + b + c + d) + " " + std::to_string(request->type) + " " +
         Narrow(path));
    Note("for " + Narrow(request->url));
    ScriptAnswers()->quarantined = *request;
    std::memset(ScriptAnswers()->quarantinedUrl, 0xCD, sizeof ScriptAnswers()->quarantinedUrl);
    const std::size_t units = std::char_traits<char16_t>::length(request->url) + 1;
    std::memcpy(ScriptAnswers()->quarantinedUrl, request->url,
                std::min(units * sizeof(char16_t), sizeof ScriptAnswers()->quarantinedUrl));
    return static_cast<std::uint8_t>(ScriptResult("ZRQuarantineFile"));
}

std::uint8_t TARN_CALL GetYALStatus(std::uint8_t* status, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    NotePassed("GetYALStatus", a, b, c);
    Note("GetYALStatus");
    if (ScriptResult("GetYALStatus") == 0) return 0;
    *status = ScriptAnswers()->agentStatus;
    return 1;
}

}  // extern "C"
