// Knows the lines of the files before, so that an event that was merged from one file into another counts once.
// Lines are told apart by a keyed hash of 64 bits: whoever chose what stands in them cannot make two of them alike.
#ifndef TARN_HOST_REPORT_REPEATED_LINES_H
#define TARN_HOST_REPORT_REPEATED_LINES_H

#include <array>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tarn::host::report {

// SipHash-2-4 (Aumasson and Bernstein).
std::uint64_t KeyedHash(const std::array<std::uint64_t, 2>& key, std::string_view text);

// Whether the same line in another file is the same event: of a frame, or the totals of a run. Both have the
// microsecond in which they were written. Single addresses may be judged on two machines at the same time.
bool CanRepeat(const nlohmann::json& event);

class RepeatedLines {
 public:
    RepeatedLines();
    void BeginFile();
    // Whether the line stands in a file before this one.
    bool IsRepeated(std::string_view line);

 private:
    std::array<std::uint64_t, 2> key_;
    std::unordered_set<std::uint64_t> before_;
    std::vector<std::uint64_t> here_;
};

}  // namespace tarn::host::report

#endif
