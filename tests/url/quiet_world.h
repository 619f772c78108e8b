// A library of facts whose fakes answer at once and allocate nothing, for tests and benchmarks that watch a scan
// itself. What is asked of the fakes is journalled nowhere; tests of what a scan asks use scan_fixture.
#ifndef TARN_TESTS_URL_QUIET_WORLD_H
#define TARN_TESTS_URL_QUIET_WORLD_H

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "fakes/clocks.h"
#include "fakes/no_modules.h"
#include "fakes/processes.h"
#include "support/scan_inputs.h"
#include "url/url_scan.h"
#include "url/web_extension_scan.h"

namespace tarn::url {

// What the modules answer. Plain functions can reach it only as a global.
struct QuietAnswers {
    std::uint16_t category = 40;
    std::uint16_t categoryCount = 1;
    std::uint8_t malicious = 0;
    std::uint8_t httpsBlock = 0;
};
inline QuietAnswers quietAnswers;

inline std::uint8_t TARN_CALL QuietCategories(const char*, std::uint16_t** categories, std::uint16_t* count,
                                              std::uint32_t) {
    *categories = quietAnswers.categoryCount != 0 ? &quietAnswers.category : nullptr;
    *count = quietAnswers.categoryCount;
    return 1;
}
inline std::uint8_t TARN_CALL QuietRelease(std::uint16_t*) {
    return 1;
}
inline std::uint8_t TARN_CALL QuietCategoryName(std::uint16_t, char16_t* buffer, std::uint32_t) {
    std::copy_n(u"name", 5, buffer);
    return 1;
}
inline std::uint8_t TARN_CALL QuietPattern(std::uint8_t, const char*, const char*, std::uint16_t,
                                           std::uint8_t* malicious) {
    *malicious = quietAnswers.malicious;
    return 1;
}
inline std::uint8_t TARN_CALL QuietHttps(std::uint32_t, const char*, std::uint32_t, std::uint16_t, const std::uint8_t*,
                                         std::uint32_t, std::uint8_t* block) {
    *block = quietAnswers.httpsBlock;
    return 1;
}
inline std::uint8_t TARN_CALL QuietQuarantine(const char16_t*, std::uint64_t, const QuarantineRequest*, std::uint64_t,
                                              std::uint64_t, std::uint64_t, std::uint64_t*, std::uint32_t*) {
    return 1;
}

// Every module loads, and quarantines everything.
class QuietModules final : public fakes::NoModules {
 public:
    void* Load(const char16_t*) override { return this; }
    void* Find(void*, const char*) override { return reinterpret_cast<void*>(QuietQuarantine); }
    void Free(void*) override {}
};

// Every feature is on, every module is loaded, every list is empty.
struct QuietWorld : ScanInputs {
    QuietWorld() {
        quietAnswers = {};
        processes.executable = u"C:\\Program Files\\Reader\\Reader.exe";
        ringAllocated = dnsRing.Allocate();
        dnsBlockSwitch = 1;
        settings.bpStatus = settings.apStatus = settings.idsIpsStatus = 1;
        companions.categorisation = modules::Categorisation{.SCGetURLCategories = QuietCategories,
                                                            .SCGetCategoryName = QuietCategoryName,
                                                            .SCReleaseCategories = QuietRelease};
        companions.urlPatterns = modules::UrlPatterns{.WSCheckURLMaliciousPattern = QuietPattern};
        companions.httpsInspection = modules::HttpsInspection{.TiScanHttpsPacket = QuietHttps};
    }

    [[nodiscard]] ScanContext Context() { return ScanInputs::Context(system, processes, clock); }
    bool Scan(ScanRequest& request) { return ScanUrl(Context(), request, verdict, prompt); }
    bool ScanExtension(ScanRequest& request) { return ScanWebExtensionUrl(Context(), request, verdict, prompt); }

    QuietModules system;
    fakes::OneProgram processes;
    fakes::FixedClock clock;
    bool ringAllocated = false;

    UrlVerdict verdict{};
    PromptBytes prompt{};
};

// A request and the bytes it points to, with the one spare byte that a scan writes behind them.
class OwnedRequest {
 public:
    OwnedRequest(std::uint8_t kind, std::string_view data, const IpAddressRecord& remote, std::uint16_t port,
                 bool stopBeforeCategories = false)
        : bytes_(data.size() + 1) {
        std::copy(data.begin(), data.end(), bytes_.begin());
        request_.processId = 4711;
        request_.data = bytes_.data();
        request_.dataLength = static_cast<std::uint32_t>(data.size());
        request_.remoteAddress = remote;
        request_.remotePort = static_cast<std::uint16_t>((port >> 8) | (port << 8));
        request_.stopBeforeCategories = stopBeforeCategories ? 1 : 0;
        request_.kind = kind;
    }
    [[nodiscard]] ScanRequest& Get() { return request_; }

 private:
    std::vector<std::uint8_t> bytes_;  // stays where it is when this is moved
    ScanRequest request_{};
};

}  // namespace tarn::url

#endif
