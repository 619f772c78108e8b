// setrd.dll, the settings reader: site lists, internal white lists and IDS rules from the policy.
#include "policy/policy_records.h"
#include "policy/record_memory.h"
#include "policy_access_win32.h"

namespace {

using tarn::policy::Policy;

// Loads the policy and builds one record; false with the reason in *error.
template <class Record, class Build>
std::uint8_t Deliver(Record* out, std::uint32_t* error, Build&& build) {
    constexpr std::uint32_t kOutOfMemory = 14;
    constexpr std::uint32_t kInvalidParameter = 87;
    if (out == nullptr || error == nullptr) {
        if (error != nullptr) *error = kInvalidParameter;
        return 0;
    }
    try {
        bool isBuilt = false;
        if (!tarn::policy::UsePolicy(*error, [&](const Policy& policy) { isBuilt = build(policy, *out); })) return 0;
        if (isBuilt) return 1;
    } catch (...) {
    }
    *error = kOutOfMemory;
    return 0;
}

template <class Record>
void Give(Record* out, void (*release)(Record&)) {
    if (out != nullptr) release(*out);
}

}  // namespace

extern "C" {

// Not one of the companion functions: the other reference modules ask here for the policy, which is read once for all.
__declspec(dllexport) std::uint32_t TARN_CALL
    ShareReferencePolicy(const char* build, tarn::policy::PolicyUse use, void* context) {
    return tarn::policy::SharePolicy(build, use, context);
}

std::uint8_t TARN_CALL ReadWSInternalWhiteList(std::uint64_t, UrlListRecord* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, UrlListRecord& record) {
        return tarn::policy::BuildUrlList(policy.whiteLists.webSecurity, record);
    });
}

void TARN_CALL ReleaseWSInternalWhiteList(UrlListRecord* out) {
    Give(out, tarn::policy::ReleaseUrlList);
}

std::uint8_t TARN_CALL ReadBPInternalWhiteList(std::uint64_t, UrlListRecord* out, std::uint32_t* error) {
    return Deliver(out, error, [](const Policy& policy, UrlListRecord& record) {
        return tarn::policy::BuildUrlList(policy.whiteLists.browsingProtection, record);
    });
}

void TARN_CALL ReleaseBPInternalWhiteList(UrlListRecord* out) {
    Give(out, tarn::policy::ReleaseUrlList);
}

std::uint8_t TARN_CALL ReadBPSettings(std::uint64_t, ThreatSiteList* out, std::uint32_t* error) {
    return Deliver(out, error, tarn::policy::BuildThreatSites);
}

void TARN_CALL ReleaseBPSettings(ThreatSiteList* out) {
    Give(out, tarn::policy::ReleaseThreatSites);
}

std::uint8_t TARN_CALL ReadAPSettings(std::uint64_t, PhishingSiteList* out, std::uint32_t* error) {
    return Deliver(out, error, tarn::policy::BuildPhishingSites);
}

void TARN_CALL ReleaseAPSettings(PhishingSiteList* out) {
    Give(out, tarn::policy::ReleasePhishingSites);
}

std::uint8_t TARN_CALL ReadIDSSettings(std::uint64_t, IdsSettingsRecord* out, std::uint32_t* error) {
    return Deliver(out, error, tarn::policy::BuildIdsRules);
}

void TARN_CALL ReleaseIDSSettings(IdsSettingsRecord* out) {
    Give(out, tarn::policy::ReleaseIdsRules);
}

}  // extern "C"
