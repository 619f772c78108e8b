// statrd.dll, the status reader: switches, notices, the user's list, parental control from the policy; DNS answers and
// usage records from the files that it keeps.
#include <algorithm>
#include <cstring>

#include "base/bounded_text.h"
#include "base/hash.h"
#include "policy/policy_records.h"
#include "policy/record_memory.h"
#include "policy/values.h"
#include "policy_access_win32.h"
#include "state_files_win32.h"

namespace {

using tarn::policy::ListedText;
using tarn::policy::Policy;

constexpr std::uint32_t kInvalidData = 13;
constexpr std::uint32_t kOutOfMemory = 14;
constexpr std::uint32_t kInvalidParameter = 87;

constexpr std::u16string_view kDnsFile = u"tarn-dns-cache.bin";
constexpr std::u16string_view kSessionFile = u"tarn-sessions.bin";
constexpr std::u16string_view kResetFile = u"tarn-user-list-reset.bin";

// Loads the policy and lets use fill *out; false with the reason in *error.
template <class Record, class Use>
std::uint8_t Deliver(Record* out, std::uint32_t* error, Use&& use) {
    if (error == nullptr) return 0;
    *error = kInvalidParameter;
    if (out == nullptr) return 0;
    try {
        bool isUsed = false;
        if (!tarn::policy::UsePolicy(*error, [&](const Policy& policy) { isUsed = use(policy, *out); })) return 0;
        *error = isUsed ? 0 : kOutOfMemory;
        return isUsed ? 1 : 0;
    } catch (...) {
        *error = kOutOfMemory;
        return 0;
    }
}

// A state file as it is built: a header of numbers, then the items.
class StateBytes {
 public:
    StateBytes(std::size_t headerSize, std::size_t itemsSize) : bytes_(headerSize + itemsSize) {}

    void Put(const void* data, std::size_t size) {
        if (size != 0) std::memcpy(&bytes_[at_], data, size);
        at_ += size;
    }
    template <class Number>
    void Put(Number number) {
        Put(&number, sizeof number);
    }
    [[nodiscard]] const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

 private:
    std::vector<std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

template <class Number>
bool Take(const std::vector<std::uint8_t>& bytes, std::size_t& at, Number& number) {
    if (bytes.size() - at < sizeof number) return false;
    std::memcpy(&number, &bytes[at], sizeof number);
    at += sizeof number;
    return true;
}

// Reads a state file of the form "header, then count items of Item"; anything else in it is damage.
template <class Item>
bool TakeItems(const std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t count, Item*& items) {
    if (bytes.size() - at != count * sizeof(Item)) return false;
    items = tarn::policy::AllocateArray<Item>(count);
    if (count != 0 && items == nullptr) return false;
    if (count != 0) std::memcpy(items, &bytes[at], count * sizeof(Item));
    return true;
}

std::uint8_t Status(bool on) {
    return on ? 1 : 0;
}

// What a reset remembers: the list that was emptied. A list that people edit afterwards counts again.
std::uint32_t FingerprintOf(const std::vector<ListedText>& list) {
    tarn::base::Crc32 crc;
    for (const ListedText& entry : list)
        crc.Add({reinterpret_cast<const std::uint8_t*>(entry.text.c_str()), entry.text.size() + 1});
    return crc.Value();
}

bool WasReset(const std::vector<ListedText>& list) {
    std::vector<std::uint8_t> bytes;
    std::uint32_t error = 0;
    std::uint32_t fingerprint = 0;
    std::size_t at = 0;
    if (!tarn::policy::ReadStateFile(kResetFile, bytes, error)) return false;
    if (bytes.size() == sizeof fingerprint && Take(bytes, at, fingerprint)) return fingerprint == FingerprintOf(list);
    tarn::policy::ReportDamage(kResetFile);
    return false;
}

}  // namespace

extern "C" {

std::uint8_t TARN_CALL ReadBPStatus(std::uint64_t, std::uint8_t* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, std::uint8_t& status) {
        status = Status(policy.features.browsingProtection);
        return true;
    });
}

std::uint8_t TARN_CALL ReadAPStatus(std::uint64_t, std::uint8_t* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, std::uint8_t& status) {
        status = Status(policy.features.antiPhishing);
        return true;
    });
}

std::uint8_t TARN_CALL ReadWebSecCloudStatus(std::uint64_t, std::uint8_t* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, std::uint8_t& status) {
        status = Status(policy.features.cloudLookup);
        return true;
    });
}

std::uint8_t TARN_CALL ReadIDSIPSStatus(std::uint64_t, IdsIpsStatus* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, IdsIpsStatus& status) {
        status = {};
        status.enabled = Status(policy.features.intrusionPrevention);
        return true;
    });
}

std::uint8_t TARN_CALL ReadIDSIPSSettings(std::uint64_t, IdsIpsSettings* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, IdsIpsSettings& settings) {
        settings = {};
        settings.flags = std::uint32_t{policy.idsAlert} << 16;  // the alert byte is the third one
        return true;
    });
}

void TARN_CALL ReleaseIDSIPSSettings(IdsIpsSettings* out) {
    if (out != nullptr) *out = {};
}

std::uint8_t TARN_CALL ReadBPReportPromptStatus(std::uint64_t, PromptBytes* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, PromptBytes& prompt) {
        prompt = policy.notices.browsingProtection;
        return true;
    });
}

std::uint8_t TARN_CALL ReadAPReportPromptStatus(std::uint64_t, PromptBytes* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, PromptBytes& prompt) {
        prompt = policy.notices.antiPhishing;
        return true;
    });
}

std::uint8_t TARN_CALL ReadBPUserWhiteList(std::uint64_t, UrlListRecord* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, UrlListRecord& record) {
        const std::vector<ListedText>& list = policy.whiteLists.user;
        return tarn::policy::BuildUrlList(WasReset(list) ? std::vector<ListedText>{} : list, record);
    });
}

void TARN_CALL ReleaseBPUserWhiteList(UrlListRecord* out) {
    if (out != nullptr) tarn::policy::ReleaseUrlList(*out);
}

std::uint8_t TARN_CALL ResetBPUserWhitelist(std::uint64_t, std::uint32_t* error) {
    return Deliver(error, error, [&](const Policy& policy, std::uint32_t&) {
        std::uint32_t writeError = 0;
        StateBytes state(sizeof(std::uint32_t), 0);
        state.Put(FingerprintOf(policy.whiteLists.user));
        return tarn::policy::WriteStateFile(kResetFile, state.Bytes(), writeError);
    });
}

std::uint8_t TARN_CALL ReadPCSettings(std::uint64_t, PcSettingsRecord* out, std::uint32_t* error) {
    return Deliver(out, error, tarn::policy::BuildParental);
}

void TARN_CALL ReleasePCSettings(PcSettingsRecord* out) {
    if (out != nullptr) tarn::policy::ReleaseParental(*out);
}

std::uint8_t TARN_CALL ReadEPSServerIP(char16_t* buffer, std::uint32_t capacity, std::uint32_t* error) {
    if (capacity == 0) return 0;
    return Deliver(buffer, error, [&](const Policy& policy, char16_t& first) {
        return tarn::base::Succeeded(
            tarn::base::CopyText(&first, capacity, tarn::policy::Utf16(policy.managedClient.server)));
    });
}

std::uint8_t TARN_CALL ReadDNSCacheSettings(std::uint64_t, DnsCacheRecord* out, std::uint32_t* error) {
    if (out == nullptr || error == nullptr) return 0;
    *out = {};
    try {
        std::vector<std::uint8_t> bytes;
        if (!tarn::policy::ReadStateFile(kDnsFile, bytes, *error)) return 0;
        std::size_t at = 0;
        std::uint16_t count = 0;
        std::uint16_t writeIndex = 0;
        DnsAnswerEntry* entries = nullptr;
        if (!Take(bytes, at, count) || !Take(bytes, at, writeIndex) || !TakeItems(bytes, at, count, entries)) {
            tarn::policy::ReportDamage(kDnsFile);
            *error = kInvalidData;
            return 0;
        }
        *out = {count, writeIndex, entries};
        return 1;
    } catch (...) {
        *error = kOutOfMemory;
        return 0;
    }
}

void TARN_CALL ReleaseDNSCacheSettings(DnsCacheRecord* out) {
    if (out == nullptr) return;
    tarn::policy::ReleaseBlock(out->entries);
    *out = {};
}

std::uint8_t TARN_CALL WriteDNSCacheSettings(std::uint64_t, const DnsCacheRecord* record, std::uint32_t* error) {
    if (record == nullptr || error == nullptr) return 0;
    try {
        const std::uint16_t count = record->entries != nullptr ? record->count : std::uint16_t{0};
        StateBytes state(2 * sizeof(std::uint16_t), count * sizeof(DnsAnswerEntry));
        state.Put(count);
        state.Put(std::uint16_t{record->writeIndex});
        state.Put(record->entries, count * sizeof(DnsAnswerEntry));
        return tarn::policy::WriteStateFile(kDnsFile, state.Bytes(), *error) ? 1 : 0;
    } catch (...) {
        *error = kOutOfMemory;
        return 0;
    }
}

std::uint8_t TARN_CALL ReadPCSystemControlSettings(std::uint64_t, PcSystemControlRecord* out, std::uint32_t* error) {
    if (out == nullptr || error == nullptr) return 0;
    *out = {};
    try {
        std::vector<std::uint8_t> bytes;
        if (!tarn::policy::ReadStateFile(kSessionFile, bytes, *error)) return 0;
        std::size_t at = 0;
        std::uint32_t count = 0;
        SavedSessionRecord* records = nullptr;
        if (!Take(bytes, at, count) || !TakeItems(bytes, at, count, records)) {
            tarn::policy::ReportDamage(kSessionFile);
            *error = kInvalidData;
            return 0;
        }
        *out = {count, records};
        return 1;
    } catch (...) {
        *error = kOutOfMemory;
        return 0;
    }
}

void TARN_CALL ReleasePCSystemControlSettings(PcSystemControlRecord* out) {
    if (out == nullptr) return;
    tarn::policy::ReleaseBlock(out->records);
    *out = {};
}

std::uint8_t TARN_CALL WritePCSystemControlSettings(std::uint64_t, const PcSystemControlRecord* record,
                                                    std::uint32_t* error) {
    if (record == nullptr || error == nullptr) return 0;
    try {
        const std::uint32_t count = record->records != nullptr ? record->count : 0;
        StateBytes state(sizeof count, count * sizeof(SavedSessionRecord));
        state.Put(count);
        state.Put(record->records, count * sizeof(SavedSessionRecord));
        return tarn::policy::WriteStateFile(kSessionFile, state.Bytes(), *error) ? 1 : 0;
    } catch (...) {
        *error = kOutOfMemory;
        return 0;
    }
}

}  // extern "C"
