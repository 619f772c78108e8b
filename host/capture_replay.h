// Finds the requests in a capture and has them judged one by one.
// The file format is left to capture/, the choice of scans to protocol_choice.h, the printing to the report.
#ifndef TARN_HOST_CAPTURE_REPLAY_H
#define TARN_HOST_CAPTURE_REPLAY_H

#include <cstdint>
#include <functional>
#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "host/judge.h"
#include "host/protocol_choice.h"
#include "host/verdict_report.h"

namespace tarn::host {

class CaptureReplay {
 public:
    CaptureReplay(Judge& judge, VerdictReport& report, std::vector<AddressReplacement> replacements)
        : judge_(judge), report_(report), replacements_(std::move(replacements)) {}

    // Called with the bytes read so far after each frame.
    std::function<void(std::uint64_t)> onProgress = [](std::uint64_t) {};
    // Called before a request is reported.
    std::function<void()> onRequest = [] {};

    // Judges what can be read. On a bad file the result is false and mistake says what is wrong where.
    bool Replay(std::istream& file, const std::string& name, std::string& mistake);

 private:
    void Consider(const Utterance& utterance, CaptureOrigin origin, Endpoint server);
    // Puts another address in the place of address; the result is the one that stood there.
    std::optional<IpAddress> Replace(IpAddress& address) const;

    Judge& judge_;
    VerdictReport& report_;
    std::vector<AddressReplacement> replacements_;
};

}  // namespace tarn::host

#endif
