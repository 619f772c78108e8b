// Reads the tests for a policy (TOML): what is asked, and which verdict is expected. Every mistake is told with its
// place.
#ifndef TARN_HOST_EXPECTATIONS_CASE_FILE_H
#define TARN_HOST_EXPECTATIONS_CASE_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/expectations/finding.h"
#include "policy/section.h"

namespace tarn::host {

enum class CaseKind { kUrl, kExtension, kRequest, kFrame, kLogon };

struct PolicyCase {
    std::string name;        // as it is shown; never empty
    std::uint32_t line = 0;  // of the file
    CaseKind kind = CaseKind::kUrl;
    std::string url;                  // of kUrl and kExtension
    std::vector<std::uint8_t> bytes;  // of a request or frame that stands in the file
    std::string server;               // address; of kUrl and kRequest
    std::uint16_t port = 80;          // of the server, of kRequest
    bool isDatagram = false;          // the request is what a server sent over UDP
    std::string capture;              // of a frame that stands in a capture
    std::uint64_t frame = 0;
    bool isInbound = true;  // the frame came to this machine
    std::string account;    // empty: the one that asks
    std::uint32_t event = 0;
    std::uint32_t ticks = 0;  // after the event
    std::string at;           // local time; empty: the one of the run
    Expectation expected;
};

struct CaseFile {
    std::string policy;       // as the file names it; empty when it names none
    bool isTogether = false;  // the cases share one library, so an earlier one may change what a later one finds
    std::vector<PolicyCase> cases;
    std::vector<policy::Mistake> mistakes;  // by line; the cases are of use only when there are none
};

CaseFile ParseCases(std::string_view text);

}  // namespace tarn::host

#endif
