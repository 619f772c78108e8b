// urlsig.dll, the URL pattern module: malicious URL patterns from the policy.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "policy/site_judge.h"
#include "policy_access_win32.h"

namespace {

using Patterns = std::vector<tarn::policy::ListedText>;

std::unique_ptr<const Patterns> patterns;  // between WSInitUrlsig and WSDeInitUrlsig

}  // namespace

extern "C" {

std::uint8_t TARN_CALL WSInitUrlsig(void) {
    std::uint32_t error = 0;
    try {
        // Without a usable policy the module still starts: it then finds nothing.
        Patterns found;
        tarn::policy::UsePolicy(error, [&](const tarn::policy::Policy& policy) { found = policy.maliciousPatterns; });
        patterns = std::make_unique<const Patterns>(std::move(found));
        return 1;
    } catch (...) {
        return 0;
    }
}

void TARN_CALL WSDeInitUrlsig(std::uint32_t*) {
    patterns.reset();
}

std::uint8_t TARN_CALL WSCheckURLMaliciousPattern(std::uint8_t, const char* host, const char* path, std::uint16_t,
                                                  std::uint8_t* malicious) {
    if (host == nullptr || path == nullptr || malicious == nullptr || patterns == nullptr) return 0;
    try {
        const std::string url = std::string(host) + path;
        const bool hit = std::any_of(patterns->begin(), patterns->end(), [&](const auto& pattern) {
            return tarn::policy::MatchesPattern(url, pattern.text);
        });
        *malicious = hit ? 1 : 0;
        return 1;
    } catch (...) {
        return 0;
    }
}

}  // extern "C"
