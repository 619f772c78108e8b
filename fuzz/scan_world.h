// All that a URL scan asks, natively: the lists and modules of the default policy, and a machine with one user.
// One world serves all inputs; what a scan leaves behind is forgotten before the next one.
#ifndef TARN_FUZZ_SCAN_WORLD_H
#define TARN_FUZZ_SCAN_WORLD_H

#include <cstdint>
#include <string_view>

#include "tarn/records.h"

#include "support/scan_inputs.h"
#include "target.h"

namespace tarn::fuzz {

// What an input chooses besides the data of the request.
struct ScanChoice {
    std::uint8_t kind = TARN_KIND_HTTP;
    std::uint16_t port = 80;
    std::uint8_t stopBeforeCategories = 0;
    IpAddressRecord remote{};
    std::uint8_t facts = 0;  // one bit for each fact that a machine may have or not

    // Eight bytes of the input.
    explicit ScanChoice(Pieces& pieces);
};

// What a verdict and its prompt are full of before a scan.
inline constexpr std::uint8_t kUnwrittenByte = 0xCD;

struct ScanOutcome {
    bool isValid = false;
    UrlVerdict verdict;
    PromptBytes prompt;
    std::string_view endedBy;
};

class ScanWorld {
 public:
    static ScanWorld& Instance();
    // Back to how the world was, with the facts chosen.
    void Reset(const ScanChoice& choice);

    using Scan = bool (*)(const url::ScanContext&, const ScanRequest&, UrlVerdict&, PromptBytes&, std::string_view*);
    // data has one spare byte behind it.
    ScanOutcome Run(Scan scan, const ScanChoice& choice, ExactBlock& data);

 private:
    ScanWorld();

    class Modules;

    url::ScanInputs inputs_;
    std::uint8_t facts_ = 0;
};

// What holds for every outcome of a scan, the fields that it may not have written included.
void RequireOutcome(const ScanOutcome& outcome);

}  // namespace tarn::fuzz

#endif
