// Which creates of a capture the monitor reports, each one that it does not explained by one of its own limits. A
// create on a tree that is not known has the reason for which its tree connect was not followed. The limits are applied
// to what the dissector found; the bytes of names and outcomes are not read here.
#ifndef TARN_TESTS_SMB_EXPECTED_EVENTS_H
#define TARN_TESTS_SMB_EXPECTED_EVENTS_H

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "smb/captured_creates.h"
#include "smb/smb_monitor.h"

namespace tarn::smb {

enum class Outcome : std::uint8_t {
    kReported,
    kSuperseded,         // reported, with the action untouched
    kOpened,             // an opened file is no event
    kNotUntaggedIpv4,    // a VLAN tag or IPv6
    kOtherPort,          // not 445
    kNotFirstInSegment,  // the request or the response is not what its segment begins with
    kNameTooLong,        // 260 bytes and more are not followed
    kInterim,            // an interim response used the request up
    kSharedId,           // another connection's request stood under the same id
    kOtherProcess,       // an SMB1 tree belongs to the process that connected it
    kNarrowPath,         // the client named the share in 8-bit text, which as UTF-16 has no end
};

using Outcomes = std::map<Outcome, int>;
using Events = std::vector<std::pair<std::uint64_t, FileEvent>>;  // with the frame that reports

std::ostream& operator<<(std::ostream& stream, Outcome outcome);

struct Expectation {
    Events events;
    Outcomes outcomes;  // of all creates with Status 0
};

Expectation ExpectedOf(const std::vector<CapturedCreate>& creates,
                       const std::vector<std::vector<std::uint8_t>>& frames);

}  // namespace tarn::smb

#endif
