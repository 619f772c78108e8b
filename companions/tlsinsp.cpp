// tlsinsp.dll, the HTTPS inspection module: hosts whose TLS connections the policy blocks.
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "policy_access_win32.h"

namespace {

using Hosts = std::vector<tarn::policy::ListedText>;

std::unique_ptr<const Hosts> blockedHosts;  // between IntializeSSL and DeIntializeSSL

}  // namespace

extern "C" {

// 0, a failure, when the policy switches HTTPS inspection off.
std::uint32_t TARN_CALL IntializeSSL(void) {
    std::uint32_t error = 0;
    try {
        bool inspects = false;
        tarn::policy::UsePolicy(error, [&](const tarn::policy::Policy& policy) {
            inspects = policy.features.httpsInspection;
            if (inspects) blockedHosts = std::make_unique<const Hosts>(policy.inspectedHosts);
        });
        return inspects ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

void TARN_CALL DeIntializeSSL(void) {
    blockedHosts.reset();
}

std::uint8_t TARN_CALL TiScanHttpsPacket(std::uint32_t, const char* hostAndPath, std::uint32_t, std::uint16_t,
                                         const std::uint8_t*, std::uint32_t, std::uint8_t* block) {
    if (hostAndPath == nullptr || block == nullptr || blockedHosts == nullptr) return 0;
    const std::string_view text(hostAndPath);
    const std::string_view host = text.substr(0, text.find('/'));
    const bool listed = std::any_of(blockedHosts->begin(), blockedHosts->end(),
                                    [&](const auto& entry) { return tarn::base::EqualIgnoringCase(entry.text, host); });
    *block = listed ? 1 : 0;
    return 1;
}

// This module shows no notice.
void TARN_CALL TiShowPopup(void) {}

}  // extern "C"
