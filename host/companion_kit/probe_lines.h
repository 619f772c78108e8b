// What a process that checks one module says to the one that started it, line by line; and what its end means.
// Plain text both ways.
#ifndef TARN_HOST_COMPANION_KIT_PROBE_LINES_H
#define TARN_HOST_COMPANION_KIT_PROBE_LINES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/companion_kit/finding.h"

namespace tarn::host {

std::string TextOf(const CompanionCheck& check);
// False for a text that is none of a check.
bool ReadCheck(std::string_view text, CompanionCheck& check);

// Each with its line end.
std::string CallLine(std::string_view function);
std::string FindingLine(const CompanionFinding& finding);
std::string EndLine();

// How the process of a check ended.
struct ProbeEnd {
    bool isHanging = false;      // it did not answer in time and was ended
    std::uint32_t exitCode = 0;  // else
};

// Reads the lines as they come.
class ProbeLines {
 public:
    explicit ProbeLines(CompanionCheck check) : check_(std::move(check)) {}
    // A line without its end; what is none of these lines is left out.
    void Read(std::string_view line);
    // The findings, with one for a process that did not come to the end of its check.
    [[nodiscard]] std::vector<CompanionFinding> Findings(const ProbeEnd& end) const;

 private:
    CompanionCheck check_;
    std::vector<CompanionFinding> findings_;
    std::string calling_;
    bool hasEnded_ = false;
};

}  // namespace tarn::host

#endif
