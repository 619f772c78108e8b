#include "scan_modules.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "base/bounded_text.h"
#include "policy/values.h"
#include "target.h"

namespace tarn::fuzz {

ScriptedModules scriptedModules;

namespace {

std::uint8_t TARN_CALL GetCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                     std::uint32_t) {
    const auto found = scriptedModules.categories->Find(text);
    *count = static_cast<std::uint16_t>(found.size());
    *categories = nullptr;
    if (!found.empty()) {
        *categories = new std::uint16_t[found.size()];
        std::ranges::copy(found, *categories);
        ++scriptedModules.unreleased;
    }
    return scriptedModules.fail ? 0 : 1;
}

std::uint8_t TARN_CALL ReleaseCategories(std::uint16_t* categories) {
    delete[] categories;
    --scriptedModules.unreleased;
    return 1;
}

std::uint8_t TARN_CALL GetCategoryName(std::uint16_t category, char16_t* buffer, std::uint32_t capacity) {
    const auto found = scriptedModules.policy->categoryNames.find(category);
    if (found == scriptedModules.policy->categoryNames.end()) return 0;
    base::CopyText(buffer, capacity, policy::Utf16(found->second));
    return 1;
}

std::uint8_t TARN_CALL CheckPattern(std::uint8_t, const char* host, const char* path, std::uint16_t,
                                    std::uint8_t* malicious) {
    const std::string url = std::string(host) + path;
    *malicious = std::ranges::any_of(scriptedModules.policy->maliciousPatterns,
                                     [&](const auto& pattern) { return policy::MatchesPattern(url, pattern.text); })
                     ? 1
                     : 0;
    return scriptedModules.fail ? 0 : 1;
}

std::uint8_t TARN_CALL InspectHttps(std::uint32_t, const char* hostAndPath, std::uint32_t, std::uint16_t,
                                    const std::uint8_t* data, std::uint32_t length, std::uint8_t* block) {
    std::uint32_t sum = 0;
    for (std::uint32_t i = 0; i < length; ++i) sum += data[i];
    const std::string text = hostAndPath;
    *block = std::ranges::any_of(scriptedModules.policy->inspectedHosts,
                                 [&](const auto& host) { return text.starts_with(host.text); }) ||
                     sum % 16 == 3
                 ? 1
                 : 0;
    return scriptedModules.fail ? 0 : 1;
}

}  // namespace

std::uint8_t TARN_CALL ScriptedQuarantine(const char16_t*, std::uint64_t, const QuarantineRequest* request,
                                          std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t* out1,
                                          std::uint32_t* out2) {
    Require(std::u16string_view(request->url).size() < TARN_URL_CAPACITY, "the URL that is acted on is bounded");
    *out1 = *out2 = 0;
    return scriptedModules.fail ? 0 : 1;
}

void BindScriptedModules(modules::Companions& companions) {
    companions.categorisation = modules::Categorisation{.SCGetURLCategories = GetCategories,
                                                        .SCGetCategoryName = GetCategoryName,
                                                        .SCReleaseCategories = ReleaseCategories};
    companions.urlPatterns = modules::UrlPatterns{.WSCheckURLMaliciousPattern = CheckPattern};
    companions.httpsInspection = modules::HttpsInspection{.TiScanHttpsPacket = InspectHttps, .TiShowPopup = [] {}};
}

}  // namespace tarn::fuzz
