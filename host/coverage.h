// Whether a judged request was really looked at. The library allows what it cannot read or does not look into by the
// same reason as what no rule objects to; its documented bounds tell the two apart.
// Nothing here changes a verdict.
#ifndef TARN_HOST_COVERAGE_H
#define TARN_HOST_COVERAGE_H

#include <cstdint>
#include <string_view>

#include "host/judge.h"
#include "host/protocol_choice.h"

namespace tarn::host {

enum class Extent {
    kWhole,
    kPart,  // some rules could not look at it
    kNone
};

struct Coverage {
    Extent extent = Extent::kWhole;
    std::string_view why;  // a literal; empty for kWhole

    [[nodiscard]] bool IsWhole() const { return extent == Extent::kWhole; }
};

// Of the bytes that the URL scan got. hasGap: the capture lacks some of the request.
Coverage CoverageOf(const Protocol& protocol, base::Bytes data, const Endpoint& server, const Judgement& judgement,
                    bool hasGap);

// Of a URL that an extension reported.
Coverage CoverageOfReported(std::uint8_t kind, std::string_view url, const Judgement& judgement);

// Whether a server counts as one of a private network, for which threat lists and categories are not asked: without
// the lowest and the highest address of each range.
bool IsPrivateServer(const IpAddress& address);

// "whole", "part" or "none": for programs.
std::string_view ExtentWord(Extent extent);

}  // namespace tarn::host

#endif
