#include "exports/exports_modules.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "base/bounded_text.h"

namespace tarn::fuzz {

ModuleAnswers* moduleAnswers = nullptr;

namespace {

constexpr std::uint32_t kModuleError = 1234;

// Whether the function is to succeed.
bool Called(const char* function) {
    return fakes::FakeModules::Current().Called(function);
}

std::uint32_t SumOf(Bytes bytes) {
    std::uint32_t sum = moduleAnswers->salt;
    for (const std::uint8_t byte : bytes) sum = sum * 31 + byte;
    return sum ^ sum >> 15;
}

void MayThrow(std::uint32_t sum) {
    if (moduleAnswers->scansThrow && sum % 4 == 1) throw std::runtime_error("a module throws");
}

template <ReadKind kind, class Record>
std::uint8_t TARN_CALL Read(std::uint64_t, Record* out, std::uint32_t* error) {
    const Bytes handed(reinterpret_cast<const std::uint8_t*>(out), sizeof *out);
    Require(std::ranges::all_of(handed, [](std::uint8_t byte) { return byte == 0; }), "a read is handed zeros");
    if (!Called(kReadNames[static_cast<std::size_t>(kind)])) {
        std::memset(static_cast<void*>(out), 0xEE, sizeof *out);
        *error = kModuleError;
        return 0;
    }
    moduleAnswers->given.Give(kind, moduleAnswers->records[static_cast<std::size_t>(kind)], moduleAnswers->mayBeOdd,
                              *out);
    return 1;
}

template <ReadKind kind, class Record>
void TARN_CALL Release(Record* record) {
    static const std::string kName =
        "Release" + std::string(kReadNames[static_cast<std::size_t>(kind)]).substr(std::string_view("Read").size());
    Called(kName.c_str());
    moduleAnswers->given.Release(kind, *record);
    *record = {};
}

// Looks at every byte of what is to be saved.
template <class Entry>
void LookAt(const Entry* entries, std::size_t count) {
    const ByteList copy(reinterpret_cast<const std::uint8_t*>(entries),
                        reinterpret_cast<const std::uint8_t*>(entries + count));
    Require(copy.size() == count * sizeof(Entry), "what is saved is there");
}

std::uint8_t TARN_CALL WriteAnswers(std::uint64_t, const DnsCacheRecord* record, std::uint32_t*) {
    Require(record->writeIndex <= TARN_DNS_RING_SLOTS, "the next slot is one of the ring");
    Require(record->count == 0 || record->entries != nullptr, "saved answers stand somewhere");
    LookAt(static_cast<const DnsAnswerEntry*>(record->entries), record->count);
    return Called("WriteDNSCacheSettings") ? 1 : 0;
}

std::uint8_t TARN_CALL WriteSessions(std::uint64_t, const PcSystemControlRecord* record, std::uint32_t*) {
    Require(record->count == 0 || record->records != nullptr, "saved sessions stand somewhere");
    LookAt(static_cast<const SavedSessionRecord*>(record->records), record->count);
    return Called("WritePCSystemControlSettings") ? 1 : 0;
}

std::uint8_t TARN_CALL GetCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                     std::uint32_t) {
    const std::string_view question = text;
    Require(*categories == nullptr && *count == 0, "a look-up is handed an empty answer");
    Require(!question.starts_with('['), "no address in brackets is asked for");
    Require(question.size() < TARN_URL_CAPACITY + TARN_HOST_CAPACITY, "what is asked for is bounded");
    const bool succeeds = Called("SCGetURLCategories");
    const std::uint32_t sum = SumOf(AsBytes(question));
    MayThrow(sum);
    const std::size_t size = sum % 5;
    if (size != 0) {
        auto* const array = new std::uint16_t[size];
        for (std::size_t i = 0; i < size; ++i) array[i] = static_cast<std::uint16_t>(sum >> (3 * i + 3) & 7);
        moduleAnswers->categories.insert(array);
        *categories = array;
        *count = static_cast<std::uint16_t>(size);
    }
    return succeeds && sum % 16 != 7 ? 1 : 0;
}

std::uint8_t TARN_CALL ReleaseCategories(std::uint16_t* categories) {
    Called("SCReleaseCategories");
    Require(moduleAnswers->categories.erase(categories) == 1, "only an array that was delivered is released, once");
    delete[] categories;
    return 1;
}

std::uint8_t TARN_CALL GetCategoryName(std::uint16_t category, char16_t* buffer, std::uint32_t capacity) {
    const bool succeeds = Called("SCGetCategoryName");
    const std::u16string name(category * 40U, u'x');
    base::CopyText(buffer, capacity, name);
    return succeeds ? 1 : 0;
}

std::uint8_t TARN_CALL ScanForSignature(const std::uint8_t* frame, std::uint32_t length, std::uint16_t, std::uint8_t,
                                        PacketVerdict* verdict) {
    const bool succeeds = Called("PKSScanPacket");
    const std::uint32_t sum = SumOf({frame, length});
    MayThrow(sum);
    verdict->action = sum % 4;
    verdict->reason = sum >> 4 & 31;
    return succeeds ? 1 : 0;
}

std::uint8_t TARN_CALL CheckPattern(std::uint8_t, const char* host, const char* path, std::uint16_t,
                                    std::uint8_t* malicious) {
    Require(*malicious == 0, "a pattern is asked with no hit");
    const bool succeeds = Called("WSCheckURLMaliciousPattern");
    const std::uint32_t sum = SumOf(AsBytes(host)) + SumOf(AsBytes(path));
    MayThrow(sum);
    *malicious = sum % 6 == 0 ? 1 : 0;
    return succeeds ? 1 : 0;
}

std::uint8_t TARN_CALL InspectHttps(std::uint32_t, const char* hostAndPath, std::uint32_t, std::uint16_t,
                                    const std::uint8_t* data, std::uint32_t length, std::uint8_t* block) {
    Require(*block == 0, "an inspection begins with no block");
    const bool succeeds = Called("TiScanHttpsPacket");
    const std::uint32_t sum = SumOf(AsBytes(hostAndPath)) + SumOf({data, length});
    MayThrow(sum);
    *block = sum % 6 == 0 ? 1 : 0;
    return succeeds ? 1 : 0;
}

template <ReadKind kind, class Record>
void BindRecord(api::LosingModules& modules) {
    const std::string name = kReadNames[static_cast<std::size_t>(kind)];
    modules.Replace(name, &Read<kind, Record>);
    modules.Replace("Release" + name.substr(std::string_view("Read").size()), &Release<kind, Record>);
}

}  // namespace

ModuleAnswers::ModuleAnswers() {
    constexpr std::size_t kBytes = 600;
    std::mt19937 random(20260304);
    for (ByteList& answer : records)
        for (std::size_t i = 0; i < kBytes; ++i) answer.push_back(static_cast<std::uint8_t>(random() & 0xFF));
}

void BindModuleAnswers(api::LosingModules& modules) {
    BindRecord<ReadKind::kWebSecurityInternal, UrlListRecord>(modules);
    BindRecord<ReadKind::kBrowsingProtectionInternal, UrlListRecord>(modules);
    BindRecord<ReadKind::kUserWhiteList, UrlListRecord>(modules);
    BindRecord<ReadKind::kThreats, ThreatSiteList>(modules);
    BindRecord<ReadKind::kPhishing, PhishingSiteList>(modules);
    BindRecord<ReadKind::kRules, IdsSettingsRecord>(modules);
    BindRecord<ReadKind::kDnsAnswers, DnsCacheRecord>(modules);
    BindRecord<ReadKind::kSessions, PcSystemControlRecord>(modules);
    BindRecord<ReadKind::kParental, PcSettingsRecord>(modules);
    modules.Replace("WriteDNSCacheSettings", &WriteAnswers);
    modules.Replace("WritePCSystemControlSettings", &WriteSessions);
    modules.Replace("SCGetURLCategories", &GetCategories);
    modules.Replace("SCReleaseCategories", &ReleaseCategories);
    modules.Replace("SCGetCategoryName", &GetCategoryName);
    modules.Replace("PKSScanPacket", &ScanForSignature);
    modules.Replace("WSCheckURLMaliciousPattern", &CheckPattern);
    modules.Replace("TiScanHttpsPacket", &InspectHttps);
}

}  // namespace tarn::fuzz
