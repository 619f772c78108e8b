// What a report tells, counted from the events one by one. Memory grows with what differs (hosts, entries, files), not
// with the number of events, latencies apart.
#ifndef TARN_HOST_REPORT_REPORT_MODEL_H
#define TARN_HOST_REPORT_REPORT_MODEL_H

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "host/deciding_entry.h"
#include "host/report/latencies.h"
#include "host/report/report_rows.h"
#include "host/report/time_line.h"

namespace tarn::host::report {

struct VerdictCounts {
    std::uint64_t blocked = 0;
    std::uint64_t allowed = 0;
    std::uint64_t none = 0;
    [[nodiscard]] std::uint64_t All() const { return blocked + allowed + none; }
    void Count(const std::string& verdict);
};

struct EntryOrder {
    bool operator()(const DecidingEntry& a, const DecidingEntry& b) const {
        return std::tie(a.file, a.line, a.list, a.text) < std::tie(b.file, b.line, b.list, b.text);
    }
};

struct AttackKey {
    std::uint64_t rule = 0;
    std::string name;
    std::string reason;
    std::string direction;
    auto operator<=>(const AttackKey&) const = default;
};
struct AttackCounts {
    std::uint64_t frames = 0;
    std::uint64_t blocked = 0;
    std::map<std::string, std::uint64_t> flows;  // the first few alone
};

struct FileKey {
    std::string file;  // with its share
    std::string action;
    auto operator<=>(const FileKey&) const = default;
};

// Of one kind of call, as the runs counted it: the largest figures of any run.
struct CallTimes {
    std::uint64_t calls = 0;  // of all runs
    std::uint64_t half = 0;
    std::uint64_t p90 = 0;
    std::uint64_t p99 = 0;
    std::uint64_t most = 0;
};

struct RunTotals {
    std::uint64_t runs = 0;  // stats lines
    std::uint64_t requests = 0;
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
    std::uint64_t captures = 0;
    std::map<std::string, CallTimes> calls;  // by call
};

// What the sections of a report show.
struct ReportFigures {
    explicit ReportFigures(std::size_t mostRows) : rows(mostRows) {}

    std::uint64_t events = 0;
    std::uint64_t otherEvents = 0;  // of a type that a report says nothing of
    std::optional<std::int64_t> first;
    std::optional<std::int64_t> last;
    VerdictCounts requests;
    std::uint64_t refused = 0;  // of the blocked requests: by a filter, and by nothing in the policy
    std::uint64_t judgedInPart = 0;
    std::uint64_t notJudged = 0;
    std::uint64_t attackFrames = 0;
    std::uint64_t attacksBlocked = 0;
    std::uint64_t fileEvents = 0;
    std::uint64_t logons = 0;
    std::uint64_t logonsRefused = 0;
    std::uint64_t errors = 0;
    std::map<std::string, VerdictCounts> sites;
    std::map<std::string, VerdictCounts> reasons;
    std::map<DecidingEntry, VerdictCounts, EntryOrder> entries;
    std::map<AttackKey, AttackCounts> attacks;
    std::map<FileKey, std::uint64_t> files;
    std::map<std::string, std::uint64_t> notExamined;        // by kind, what the totals of the runs count
    std::map<std::string, std::uint64_t> notExaminedEvents;  // by kind: flows, or captures where there is no flow
    std::map<std::string, Latencies> latencies;              // by type of event
    RunTotals runs;
    ReportRows rows;
};

class ReportModel : public ReportFigures {
 public:
    explicit ReportModel(std::size_t mostRows = kMostRows) : ReportFigures(mostRows) {}
    void Add(const nlohmann::json& event);

    // By the times of the packets; by the times of writing when no event has one of a packet.
    [[nodiscard]] TimeLine::Result Time() const { return (hasPacketTimes_ ? packetTimes_ : writtenTimes_).Stretches(); }
    [[nodiscard]] bool HasPacketTimes() const { return hasPacketTimes_; }

 private:
    void AddTime(const nlohmann::json& event, Mark mark);
    void AddVerdict(const nlohmann::json& event);
    void AddAttack(const nlohmann::json& event);
    void AddStats(const nlohmann::json& event);

    bool hasPacketTimes_ = false;
    TimeLine packetTimes_;
    TimeLine writtenTimes_;
};

}  // namespace tarn::host::report

#endif
