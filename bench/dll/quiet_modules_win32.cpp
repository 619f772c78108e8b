// Every function of every companion module, answering at once what the measuring program has told, and journalling
// nothing: what is measured is the library. Each module links this file with its own list of exports.
#include <algorithm>
#include <cstring>

#include "companions/scripted/companion_script.h"
#include "companions/scripted/settings_functions.h"

namespace {

template <class Record>
std::uint8_t Answer(const Record& answer, Record* out) {
    std::memcpy(out, &answer, sizeof answer);
    return 1;
}

std::uint16_t harmlessCategory = 40;

}  // namespace

#define READ(function, Record, field)                                             \
    std::uint8_t TARN_CALL function(std::uint64_t, Record* out, std::uint32_t*) { \
        return Answer(ScriptAnswers()->field, out);                               \
    }
#define RELEASE(function, Record) \
    void TARN_CALL function(Record*) {}

extern "C" {

TARN_SETTINGS_FUNCTIONS(READ, RELEASE)

std::uint8_t TARN_CALL ResetBPUserWhitelist(std::uint64_t, std::uint32_t*) {
    return 1;
}
std::uint8_t TARN_CALL WriteDNSCacheSettings(std::uint64_t, const DnsCacheRecord*, std::uint32_t*) {
    return 1;
}
std::uint8_t TARN_CALL WritePCSystemControlSettings(std::uint64_t, const PcSystemControlRecord*, std::uint32_t*) {
    return 1;
}
std::uint8_t TARN_CALL ReadEPSServerIP(char16_t* buffer, std::uint32_t, std::uint32_t*) {
    buffer[0] = u'\0';
    return 1;
}

std::uint8_t TARN_CALL SCInit(std::uint8_t, std::uint32_t*) {
    return 1;
}
void TARN_CALL SCDeinit(std::uint32_t*) {}
std::uint8_t TARN_CALL SCGetURLCategories(const char*, std::uint16_t** categories, std::uint16_t* count,
                                          std::uint32_t) {
    *categories = &harmlessCategory;
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL SCGetCategoryName(std::uint16_t, char16_t* buffer, std::uint32_t) {
    buffer[0] = u'\0';
    return 1;
}
std::uint8_t TARN_CALL SCReleaseCategories(std::uint16_t*) {
    return 1;
}
std::uint8_t TARN_CALL SCSaveCacheFile(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    return 1;
}

std::uint8_t TARN_CALL PKSInit(void** context, std::uint32_t*) {
    *context = &harmlessCategory;
    return 1;
}
void TARN_CALL PKSDeinit(void*, std::uint32_t*) {}
std::uint8_t TARN_CALL PKSScanPacket(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                     PacketVerdict* verdict) {
    verdict->action = TARN_SIGNATURE_NO_ATTACK;
    return 1;
}

std::uint32_t TARN_CALL IntializeSSL(void) {
    return 1;
}
void TARN_CALL DeIntializeSSL(void) {}
std::uint8_t TARN_CALL TiScanHttpsPacket(std::uint32_t, const char*, std::uint32_t, std::uint16_t, const std::uint8_t*,
                                         std::uint32_t, std::uint8_t* block) {
    *block = 0;
    return 1;
}
void TARN_CALL TiShowPopup(void) {}

std::uint8_t TARN_CALL WSCheckURLMaliciousPattern(std::uint8_t, const char*, const char*, std::uint16_t,
                                                  std::uint8_t* malicious) {
    *malicious = 0;
    return 1;
}
std::uint8_t TARN_CALL WSInitUrlsig(void) {
    return 1;
}
void TARN_CALL WSDeInitUrlsig(std::uint32_t*) {}

std::uint8_t TARN_CALL ZRQuarantineFile(const char16_t*, std::uint64_t, const QuarantineRequest*, std::uint64_t,
                                        std::uint64_t, std::uint64_t, std::uint64_t*, std::uint32_t*) {
    return 1;
}

std::uint8_t TARN_CALL GetYALStatus(std::uint8_t* status) {
    *status = 0;
    return 1;
}

}  // extern "C"
