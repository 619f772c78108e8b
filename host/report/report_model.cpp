#include "host/report/report_model.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/report/event_fields.h"

namespace tarn::host::report {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kFlowsOfAnAttack = 3;

Mark MarkOf(const std::string& verdict) {
    if (verdict == "blocked") return Mark::kBlocked;
    return verdict == "allowed" ? Mark::kAllowed : Mark::kNone;
}

// The host of a URL, for sites that a browser's extension reports.
std::string HostOf(const Json& event) {
    std::string host = TextOf(event, "host");
    if (!host.empty()) return host;
    const std::string url = TextOf(event, "url");
    const std::size_t scheme = url.find("://");
    const std::size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
    host = url.substr(begin, url.find_first_of("/?#", begin) - begin);
    if (const std::size_t user = host.rfind('@'); user != std::string::npos) host.erase(0, user + 1);
    return host;
}

std::uint64_t CountIn(const Json& event, const char* name) {
    return NumberOf(event, name).value_or(0);
}

}  // namespace

void VerdictCounts::Count(const std::string& verdict) {
    switch (MarkOf(verdict)) {
        case Mark::kBlocked:
            ++blocked;
            break;
        case Mark::kAllowed:
            ++allowed;
            break;
        default:
            ++none;
    }
}

void ReportModel::AddTime(const Json& event, Mark mark) {
    if (const auto packet = PacketTimeOf(event)) {
        if (!hasPacketTimes_) first = last = std::nullopt;
        hasPacketTimes_ = true;
        packetTimes_.Add(*packet, mark);
        first = std::min(first.value_or(*packet), *packet);
        last = std::max(last.value_or(*packet), *packet);
        return;
    }
    const auto written = ParseTime(TextOf(event, "written"));
    if (!written || hasPacketTimes_) return;
    writtenTimes_.Add(*written, mark);
    first = std::min(first.value_or(*written), *written);
    last = std::max(last.value_or(*written), *written);
}

void ReportModel::AddVerdict(const Json& event) {
    const bool isRefused = IsRefusedRequest(event);
    if (isRefused) ++refused;
    const std::string verdict = isRefused ? "blocked" : TextOf(event, "verdict");
    requests.Count(verdict);
    const std::string judged = TextOf(event, "judged");
    if (judged == "part") ++judgedInPart;
    if (judged == "none") ++notJudged;
    if (const std::string host = HostOf(event); !host.empty()) sites[host].Count(verdict);
    if (const std::string reason = TextOf(event, isRefused ? "why_refused" : "reason_text"); !reason.empty())
        reasons[reason].Count(verdict);
    AddTime(event, MarkOf(verdict));
}

void ReportModel::AddAttack(const Json& event) {
    const bool isBlocked = TextOf(event, "verdict") == "blocked";
    ++attackFrames;
    if (isBlocked) ++attacksBlocked;
    std::string name = TextOf(event, "rule_name");
    if (name.empty()) name = TextOf(event, "description");
    AttackCounts& counts =
        attacks[{CountIn(event, "rule"), name, TextOf(event, "reason_text"), TextOf(event, "direction")}];
    ++counts.frames;
    if (isBlocked) ++counts.blocked;
    if (const std::string flow = FlowOf(event);
        !flow.empty() && (counts.flows.size() < kFlowsOfAnAttack || counts.flows.count(flow) != 0))
        ++counts.flows[flow];
    AddTime(event, Mark::kAttack);
}

void ReportModel::AddStats(const Json& event) {
    ++runs.runs;
    runs.requests += CountIn(event, "requests");
    runs.frames += CountIn(event, "frames");
    runs.bytes += CountIn(event, "bytes");
    runs.captures += CountIn(event, "captures");
    if (const auto times = event.find("latency_ns"); times != event.end() && times->is_object()) {
        for (const auto& [call, figures] : times->items()) {
            CallTimes& worst = runs.calls[call];
            worst.calls += CountIn(figures, "calls");
            worst.half = std::max(worst.half, CountIn(figures, "p50"));
            worst.p90 = std::max(worst.p90, CountIn(figures, "p90"));
            worst.p99 = std::max(worst.p99, CountIn(figures, "p99"));
            worst.most = std::max(worst.most, CountIn(figures, "max"));
        }
    }
    const auto counts = event.find("not_examined");
    if (counts == event.end() || !counts->is_object()) return;
    for (const auto& [kind, count] : counts->items())
        if (count.is_number_unsigned() && count.get<std::uint64_t>() != 0)
            notExamined[kind] += count.get<std::uint64_t>();
}

void ReportModel::Add(const Json& event) {
    ++events;
    const std::string type = TextOf(event, "type");
    if (type == "verdict") {
        AddVerdict(event);
    } else if (type == "attack") {
        AddAttack(event);
    } else if (type == "file") {
        ++fileEvents;
        const std::string share = TextOf(event, "share");
        ++files[{share.empty() ? TextOf(event, "file") : share + "\\" + TextOf(event, "file"),
                 TextOf(event, "action")}];
    } else if (type == "logon") {
        ++logons;
        if (TextOf(event, "verdict") == "refused") ++logonsRefused;
    } else if (type == "not_examined") {
        ++notExaminedEvents[TextOf(event, "what")];
    } else if (type == "error") {
        ++errors;
    } else if (type == "stats") {
        AddStats(event);
    } else if (type != "policy") {
        ++otherEvents;
    }
    const bool isDecision = type == "verdict" || type == "attack" || type == "logon";
    if (const auto entry = EntryOf(event); entry && isDecision) entries[*entry].Count(TextOf(event, "verdict"));
    if (const auto latency = NumberOf(event, "latency_ns"); latency && type != "stats") latencies[type].Add(*latency);
    if (const auto row = RowOf(event)) rows.Add(*row);
}

}  // namespace tarn::host::report
