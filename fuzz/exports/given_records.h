// What the settings modules of the exports' world have given to the library and not got back yet. Each record is made
// anew when it is read and freed when it is released, so the sanitizer sees every use behind a release.
#ifndef TARN_FUZZ_EXPORTS_GIVEN_RECORDS_H
#define TARN_FUZZ_EXPORTS_GIVEN_RECORDS_H

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "tarn/companions.h"

#include "making/module_records.h"
#include "target.h"

namespace tarn::fuzz {

enum class ReadKind : std::uint8_t {
    kWebSecurityInternal,
    kBrowsingProtectionInternal,
    kUserWhiteList,
    kThreats,
    kPhishing,
    kRules,
    kDnsAnswers,
    kSessions,
    kParental,
    kCount
};
inline constexpr std::size_t kReadKinds = static_cast<std::size_t>(ReadKind::kCount);
inline constexpr std::array<const char*, kReadKinds> kReadNames{
    "ReadWSInternalWhiteList", "ReadBPInternalWhiteList", "ReadBPUserWhiteList",  "ReadBPSettings",
    "ReadAPSettings",          "ReadIDSSettings",         "ReadDNSCacheSettings", "ReadPCSystemControlSettings",
    "ReadPCSettings"};

// The array of a record.
inline const void* ArrayOf(const UrlListRecord& record) {
    return record.entries;
}
inline const void* ArrayOf(const ThreatSiteList& record) {
    return record.entries;
}
inline const void* ArrayOf(const PhishingSiteList& record) {
    return record.entries;
}
inline const void* ArrayOf(const IdsSettingsRecord& record) {
    return record.rules;
}
inline const void* ArrayOf(const DnsCacheRecord& record) {
    return record.entries;
}
inline const void* ArrayOf(const PcSystemControlRecord& record) {
    return record.records;
}
inline const void* ArrayOf(const PcSettingsRecord& record) {
    return record.entries;
}

class GivenRecords {
 public:
    // answer: what the record is made of.
    template <class Record>
    void Give(ReadKind kind, Bytes answer, bool mayBeOdd, Record& record) {
        Given given{kind, std::make_unique<ModuleRecords>(mayBeOdd), nullptr, {}};
        Pieces pieces(answer);
        given.records->Take(pieces, record);
        given.array = ArrayOf(record);
        given.record.resize(sizeof record);
        std::memcpy(given.record.data(), &record, sizeof record);
        if (given.array != nullptr) given_.push_back(std::move(given));
    }
    // An empty record is none that was given.
    template <class Record>
    void Release(ReadKind kind, const Record& record) {
        if (ArrayOf(record) == nullptr) return;
        for (auto given = given_.begin(); given != given_.end(); ++given) {
            if (given->array != ArrayOf(record)) continue;
            Require(given->kind == kind, "a record goes back to the function that belongs to its read");
            Require(std::memcmp(given->record.data(), &record, sizeof record) == 0, "a record goes back as it came");
            given_.erase(given);
            return;
        }
        EndWith("only what was given goes back, and once");
    }
    // Two kinds are never given back: a list that is forgotten, and the record that is read for its mode alone.
    void RequireAllReleased() const {
        for (const Given& given : given_)
            Require(given.kind == ReadKind::kBrowsingProtectionInternal || given.kind == ReadKind::kParental,
                    "what a module gave is given back");
    }

 private:
    struct Given {
        ReadKind kind;
        std::unique_ptr<ModuleRecords> records;
        const void* array;
        ByteList record;
    };
    std::vector<Given> given_;
};

}  // namespace tarn::fuzz

#endif
