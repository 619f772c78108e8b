// The rows of the table of events: what a row says, and which are kept when there are too many.
#ifndef TARN_HOST_REPORT_REPORT_ROWS_H
#define TARN_HOST_REPORT_REPORT_ROWS_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarn::host::report {

inline constexpr std::size_t kMostRows = 100000;

// Texts are printable and of bounded length.
struct ReportRow {
    std::int64_t micros = -1;  // since 1970; -1 = unknown, as below
    std::string type;
    std::string verdict;
    std::string what;
    std::string flow;
    std::string reason;
    std::string entry;
    std::string capture;
    std::int64_t frame = -1;
    std::int64_t latency = -1;  // nanoseconds
    std::string more;
    bool isFinding = false;  // blocked, refused, an attack or an error: kept first
};

// Nothing for totals, and for types that are not known.
std::optional<ReportRow> RowOf(const nlohmann::json& event);

class ReportRows {
 public:
    explicit ReportRows(std::size_t most = kMostRows) : most_(most) {}
    void Add(const ReportRow& row);
    [[nodiscard]] std::uint64_t Kept() const;
    [[nodiscard]] std::uint64_t LeftOut() const { return added_ - Kept(); }
    // {"texts": [...], "columns": {"time": [...], ...}} by time, as it may stand in a script element.
    [[nodiscard]] std::string Json() const;

 private:
    struct Stored {
        std::int64_t micros;
        std::int64_t frame;
        std::int64_t latency;
        std::uint32_t type, verdict, what, flow, reason, entry, capture, more;
    };
    std::uint32_t NumberOfText(const std::string& text);

    std::size_t most_;
    std::uint64_t added_ = 0;
    std::vector<Stored> findings_;
    std::vector<Stored> others_;
    std::unordered_map<std::string, std::uint32_t> numbers_{{"", 0}};
    std::vector<std::string> texts_{""};
};

}  // namespace tarn::host::report

#endif
