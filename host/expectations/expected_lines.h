// What an earlier replay found, or what somebody wrote down: verdicts, attacks and files, one JSON object a line.
// Keeps of each line what can be compared, about 300 bytes; the found ones come in the order of the capture.
#ifndef TARN_HOST_EXPECTATIONS_EXPECTED_LINES_H
#define TARN_HOST_EXPECTATIONS_EXPECTED_LINES_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/expectations/finding.h"

namespace tarn::host {

enum class LineMatch { kSame, kDifferent, kExtra };

struct ExpectedLine {
    std::string type;
    std::string capture;  // empty when the line names none
    std::uint64_t frame = 0;
    std::uint64_t number = 0;  // of the line, from 1
    std::string rest;          // what is compared, as JSON
    bool isFound = false;
};

class ExpectedLines {
 public:
    using Object = nlohmann::ordered_json;

    // False with the reason in mistake.
    bool Read(std::istream& input, std::string& mistake);

    // Compares with the next line that is expected of that frame. A line of the file is used once.
    LineMatch Take(const Object& found, std::vector<Comparison>& compared, const ExpectedLine*& expected);
    // Whether lines of that type must stand in the file. One that holds the totals of a run is whole; of a shorter one
    // the types count that it has.
    [[nodiscard]] bool Wants(std::string_view type) const;
    // Whether the file would have this line if its run had found it. Not where it has less lines of the kind than the
    // totals of its run say, as with --brief and --quiet, nor where it has no totals.
    [[nodiscard]] bool ListsAllLike(const Object& found) const;
    // How many lines its run left out, by its totals.
    [[nodiscard]] std::uint64_t LeftOut() const;
    // Whether a line is of that capture, or of any.
    [[nodiscard]] bool Has(const std::string& capture) const;
    [[nodiscard]] std::vector<const ExpectedLine*> Missing() const;
    [[nodiscard]] const std::vector<ExpectedLine>& Lines() const { return lines_; }

 private:
    void Add(const Object& line, std::uint64_t number);
    void AddTotals(const Object& stats);

    std::vector<ExpectedLine> lines_;
    std::unordered_map<std::string, std::vector<std::size_t>> byFrame_;
    std::set<std::string, std::less<>> types_;
    std::set<std::string> captures_;
    std::map<std::string, std::uint64_t> listed_;  // lines of each kind: type, of a verdict with its reason
    std::map<std::string, std::uint64_t> totals_;  // what the run says to have had of it
    bool isWhole_ = false;
};

// Of a line of output, or of this file: verdicts, attacks and files are compared.
bool IsComparedType(std::string_view type);

}  // namespace tarn::host

#endif
