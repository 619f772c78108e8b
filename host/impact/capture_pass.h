// One pass over captures and addresses through one library, in the time of the captures.
#ifndef TARN_HOST_IMPACT_CAPTURE_PASS_H
#define TARN_HOST_IMPACT_CAPTURE_PASS_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "host/frame_scan.h"
#include "host/judge.h"
#include "host/named_inputs.h"
#include "host/verdict_report.h"

namespace tarn::host {

struct PassInputs {
    std::vector<NamedInput> captures;  // files
    std::vector<std::string> urls;
    std::vector<AddressReplacement> replacements;
    FrameScanOptions frames;
    bool isClockSet = false;  // the options name the time; the captures' times do not count
};

struct PassEnd {
    std::uint64_t cutFrames = 0;
    bool areSettingsRead = true;  // false when the library lost its parental settings as the schedule turned
};

// options: those that the library was opened with. complain: called with what is wrong with an input.
// progress: where a terminal sees how far it is; null without one. mayGoOn: asked before each frame and address.
struct PassWorld {
    Environment& environment;
    std::function<void(const std::string&)> complain;
    std::function<bool()> mayGoOn;
    std::ostream* progress = nullptr;
};
PassEnd JudgeInputs(const PassInputs& inputs, Judge& library, const LibraryOptions& options, VerdictReport& report,
                    const PassWorld& world);

}  // namespace tarn::host

#endif
