// sitecls.dll, the categorisation module: categories of hosts and URLs from the policy.
#include <cstring>
#include <memory>
#include <string>

#include "base/bounded_text.h"
#include "policy/record_memory.h"
#include "policy/site_judge.h"
#include "policy/values.h"
#include "policy_access_win32.h"
#include "state_files_win32.h"

namespace {

// Between SCInit and SCDeinit.
struct Knowledge {
    explicit Knowledge(const tarn::policy::Policy& policy) : index(policy.sites), names(policy.categoryNames) {}
    tarn::policy::CategoryIndex index;
    std::map<std::uint16_t, std::string> names;
};
std::unique_ptr<const Knowledge> knowledge;

}  // namespace

extern "C" {

std::uint8_t TARN_CALL SCInit(std::uint8_t, std::uint32_t* error) {
    std::uint32_t own = 0;
    try {
        const auto learn = [](const tarn::policy::Policy& policy) {
            knowledge = std::make_unique<const Knowledge>(policy);
        };
        // Without a usable policy the module still starts: it then knows no site.
        if (!tarn::policy::UsePolicy(error != nullptr ? *error : own, learn)) learn({});
        return 1;
    } catch (...) {
        return 0;
    }
}

void TARN_CALL SCDeinit(std::uint32_t*) {
    knowledge.reset();
}

// A site without categories is an answer too: true, no array.
std::uint8_t TARN_CALL SCGetURLCategories(const char* hostOrUrl, std::uint16_t** categories, std::uint16_t* count,
                                          std::uint32_t) {
    if (hostOrUrl == nullptr || categories == nullptr || count == nullptr || knowledge == nullptr) return 0;
    *categories = nullptr;
    *count = 0;
    try {
        const auto found = knowledge->index.Find(hostOrUrl);
        if (found.empty()) return 1;
        *categories = tarn::policy::AllocateArray<std::uint16_t>(found.size());
        if (*categories == nullptr) return 0;
        std::memcpy(*categories, found.data(), found.size_bytes());
        *count = static_cast<std::uint16_t>(found.size());
        return 1;
    } catch (...) {
        return 0;
    }
}

std::uint8_t TARN_CALL SCGetCategoryName(std::uint16_t category, char16_t* buffer, std::uint32_t capacity) {
    if (buffer == nullptr || capacity == 0 || knowledge == nullptr) return 0;
    try {
        const auto found = knowledge->names.find(category);
        if (found == knowledge->names.end()) return 0;
        return tarn::base::Succeeded(tarn::base::CopyText(buffer, capacity, tarn::policy::Utf16(found->second))) ? 1
                                                                                                                 : 0;
    } catch (...) {
        return 0;
    }
}

std::uint8_t TARN_CALL SCReleaseCategories(std::uint16_t* categories) {
    tarn::policy::ReleaseBlock(categories);
    return 1;
}

// Every answer comes from the policy, so there is no cache to lose; the call is noted for people who look for it.
std::uint8_t TARN_CALL SCSaveCacheFile(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    std::uint32_t error = 0;
    try {
        return tarn::policy::WriteStateFile(u"tarn-category-cache.bin", {}, error) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

}  // extern "C"
