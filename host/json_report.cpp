#include "host/json_report.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/printable_text.h"
#include "host/timed_judge.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr double kNanosecondsPerSecond = 1e9;

// A proxy may have a client of one address family and a server of the other, which have no common identifier.
Event FlowOfConnection(const JudgedRequest& request, bool isTcp) {
    Flow connected{isTcp, *request.client, request.server};
    if (request.connected) connected.server.address = *request.connected;
    Event flow = FlowMember(connected);
    if (connected.client.address.isIpv6 != connected.server.address.isIpv6) flow.erase("id");
    if (request.connected) flow["server_mapped"] = FormatIpAddress(request.server.address);
    return flow;
}

// A single address has a server alone.
Event FlowOfRequest(const JudgedRequest& request) {
    const bool isTcp = request.protocol->name != "dns";
    if (request.client) return FlowOfConnection(request, isTcp);
    if (!request.origin)
        return {{"transport", isTcp ? "tcp" : "udp"},
                {"server", FormatIpAddress(request.server.address)},
                {"server_port", request.server.port}};
    Flow captured{isTcp, request.origin->client, request.server};
    const auto& [client, server] = std::tie(request.origin->replacedClient, request.origin->replacedServer);
    if (client) captured.client.address = *client;
    if (server) captured.server.address = *server;
    Event flow = FlowMember(captured);
    if (client) flow["client_mapped"] = FormatIpAddress(request.origin->client.address);
    if (server) flow["server_mapped"] = FormatIpAddress(request.server.address);
    return flow;
}

// The addresses that the library names, when the frame does not tell the whole connection.
Event FlowOfFile(const ShareFile& file) {
    if (file.flow) return FlowMember(*file.flow);
    return {{"transport", "tcp"},
            {"client", FormatIpAddress(AddressOf(file.event.destinationAddress))},
            {"server", FormatIpAddress(AddressOf(file.event.sourceAddress))}};
}

void AddLatency(const std::optional<std::uint64_t>& latency, Event& event) {
    if (latency) event["latency_ns"] = *latency;
}

}  // namespace

void JsonReport::BeginCapture(const CaptureHeading& heading) {
    heading_ = heading;
    changes_.BeginCapture();
}

Event JsonReport::BeginFrameEvent(std::string_view type, std::uint64_t frame, std::uint64_t time) const {
    Event event = BeginEvent(type);
    if (time != 0) event["time"] = FormatTime(time);
    event["capture"] = heading_.name;
    event["frame"] = frame;
    return event;
}

void JsonReport::Request(const JudgedRequest& request) {
    const Judgement& judgement = request.judgement;
    Counting().Count(request);
    const bool isWanted = !(style_.brief && IsUndecided(judgement)) && (!style_.quiet || IsBlocked(judgement));
    if (!isWanted && !changes_.IsUsed()) return;
    Event event = request.origin ? BeginFrameEvent("verdict", request.origin->frame, request.origin->timeNanoseconds)
                                 : BeginEvent("verdict");
    AddVerdict(request, event);
    if (isWanted) WriteEvent(event, out_);
    if (!changes_.IsUsed()) return;
    if (const auto change = changes_.Request(event)) WriteEvent(*change, out_);
}

void AddVerdict(const JudgedRequest& request, Event& event) {
    const Judgement& judgement = request.judgement;
    if (request.protocol != nullptr) event["flow"] = FlowOfRequest(request);
    if (request.processId != 0) event["process_id"] = request.processId;
    event["verdict"] = VerdictName(judgement);
    event["judged"] = ExtentWord(request.coverage.extent);
    if (!request.coverage.IsWhole()) event["why_not_whole"] = request.coverage.why;
    if (request.protocol != nullptr) {
        event["protocol"] = request.protocol->name;
        event["host"] = request.view.host;
        event["path"] = request.view.path;
    } else {
        event["url"] = request.reportedUrl;
    }
    if (judgement.isValid) {
        const std::uint32_t reason = judgement.verdict.reason;
        event["reason"] = reason;
        event["reason_text"] = ReasonWords(reason);
        event["rule_text"] = RuleText(judgement.verdict);
        if (const std::string user = RuleUser(judgement.verdict); !user.empty()) event["user"] = user;
    }
    if (request.entry) event["entry"] = EntryMember(*request.entry);
    AddLatency(request.latency, event);
    if (judgement.isValid) {
        event["report"] = judgement.prompt.report;
        event["prompt"] = judgement.prompt.prompt;
    }
}

void JsonReport::LocalGuess(const IpAddress& address) {
    if (std::find(guesses_.begin(), guesses_.end(), address) == guesses_.end()) guesses_.push_back(address);
}

void JsonReport::Attack(const PacketAttack& attack) {
    Counting().Count(attack);
    const std::uint32_t reason = attack.verdict.reason;
    const std::uint16_t rule = attack.verdict.ruleId;
    Event event = BeginFrameEvent("attack", attack.frame, attack.timeNanoseconds);
    if (attack.flow) event["flow"] = FlowMember(*attack.flow);
    event["verdict"] = attack.verdict.action == TARN_PACKET_BLOCK ? "blocked" : "allowed";
    event["direction"] = attack.inbound ? "inbound" : "outbound";
    if (attack.flow) event["sent_by"] = attack.isFromClient ? "client" : "server";
    event["reason"] = reason;
    event["reason_text"] = AttackWords(reason);
    event["rule"] = rule;
    event["rule_name"] = AttackRule(attack.verdict);
    event["description"] = AttackDescription(attack.verdict);
    event["details"] = AttackDetails(attack.verdict);
    event["alert"] = attack.verdict.alertFlag;
    if (attack.entry) event["entry"] = EntryMember(*attack.entry);
    if (attack.dropped) event["dropped"] = *attack.dropped;
    if (!attack.blockedAddress.empty()) event["blocked_address"] = attack.blockedAddress;
    AddLatency(attack.latency, event);
    WriteEvent(event, out_);
    if (!changes_.IsUsed()) return;
    if (const auto change = changes_.Attack(event)) WriteEvent(*change, out_);
}

void JsonReport::File(const ShareFile& file) {
    Counting().Count(file);
    if (style_.quiet) return;
    Event event = BeginFrameEvent("file", file.frame, file.timeNanoseconds);
    event["flow"] = FlowOfFile(file);
    event["share"] = FileShare(file.event);
    event["file"] = FileName(file.event);
    event["action"] = FileWord(file.event);
    AddLatency(file.latency, event);
    WriteEvent(event, out_);
}

void JsonReport::NotExamined(const UnexaminedTraffic& traffic) {
    Event event = BeginFrameEvent("not_examined", traffic.frame, traffic.timeNanoseconds);
    event["what"] = UnexaminedName(traffic.kind);
    if (traffic.flow) event["flow"] = FlowMember(*traffic.flow);
    if (!traffic.outerName.empty()) event["outer_name"] = traffic.outerName;
    WriteEvent(event, out_);
}

void JsonReport::AddRequests(Event& event) const {
    const Totals& totals = Counted();
    event["requests"] = totals.requests;
    event["allowed"] = totals.allowed;
    event["blocked"] = totals.blocked;
    event["without_verdict"] = totals.withoutVerdict;
    event["by_reason"] = Event::object();
    for (const auto& [reason, count] : totals.byReason) event["by_reason"][fmt::format("{}", reason)] = count;
    event["undecided_not_judged"] = totals.undecidedNotJudged;
    event["undecided_let_pass"] = totals.undecidedLetPass;
    event["judged_in_part"] = totals.CountOf(Extent::kPart);
    event["not_judged"] = totals.CountOf(Extent::kNone);
    event["why_not_whole"] = Event::object();
    for (const auto& [cause, count] : totals.notWhole) {
        Event& counted = event["why_not_whole"][std::string(cause.second)];
        counted = (counted.is_null() ? 0 : counted.get<std::uint64_t>()) + count;
    }
    if (const std::vector<PolicyTotals> policies = CountedByPolicy(); policies.size() > 1)
        for (const PolicyTotals& policy : policies)
            event["policies"].push_back({{"requests", policy.requests},
                                         {"allowed", policy.allowed},
                                         {"blocked", policy.blocked},
                                         {"without_verdict", policy.withoutVerdict},
                                         {"attack_frames", policy.attackFrames}});
}

void JsonReport::AddReplay(const ReplayTotals& replay, Event& event) const {
    const Totals& totals = Counted();
    event["replaced_addresses"] = Event::array();
    for (const AddressReplacement& replacement : heading_.replacements)
        event["replaced_addresses"].push_back(
            {{"from", FormatIpAddress(replacement.from)}, {"to", FormatIpAddress(replacement.to)}});
    event["local_addresses"] = Event::array();
    for (const IpAddress& guess : guesses_) event["local_addresses"].push_back(FormatIpAddress(guess));
    event["attack_frames"] = totals.attackFrames;
    event["attack_frames_blocked"] = totals.attackFramesBlocked;
    event["attacks_by_reason"] = Event::object();
    for (const auto& [reason, count] : totals.attacksByReason)
        event["attacks_by_reason"][fmt::format("{}", reason)] = count;
    event["files"] = totals.files;
    event["captures"] = replay.captures;
    event["frames"] = replay.frames;
    event["bytes"] = replay.bytes;
    if (replay.firstNanoseconds != 0) {
        event["first_time"] = FormatTime(replay.firstNanoseconds);
        event["last_time"] = FormatTime(replay.lastNanoseconds);
        event["duration_seconds"] =
            static_cast<double>(replay.lastNanoseconds - replay.firstNanoseconds) / kNanosecondsPerSecond;
    }
    for (std::size_t i = 0; i < kUnexaminedKinds; ++i) {
        const auto kind = static_cast<Unexamined>(i);
        event["not_examined"][std::string(UnexaminedName(kind))] = replay.notExamined.Of(kind);
    }
}

void JsonReport::Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) {
    Event event = BeginStats(end);
    AddRequests(event);
    if (replay) AddReplay(*replay, event);
    AddLatencies(end.latencies, event);
    WriteEvent(event, out_);
}

Event Percentiles(const LatencyHistogram& calls) {
    return {{"calls", calls.Count()},
            {"p50", calls.Percentile(50)},
            {"p90", calls.Percentile(90)},
            {"p99", calls.Percentile(99)},
            {"max", calls.Max()}};
}

Event BeginStats(const RunEnd& end) {
    Event event = BeginEvent("stats");
    event["failed_inputs"] = end.failedInputs;
    event["stopped"] = end.isStopped;
    return event;
}

void AddLatencies(const CallLatencies* latencies, Event& event) {
    if (latencies == nullptr) return;
    Event calls = Event::object();
    const auto add = [&](const char* name, const LatencyHistogram& histogram) {
        if (histogram.Count() != 0) calls[name] = Percentiles(histogram);
    };
    add("url", latencies->url);
    add("packet", latencies->packet);
    add("smb", latencies->smb);
    add("logon", latencies->logon);
    if (!calls.empty()) event["latency_ns"] = calls;
}

}  // namespace tarn::host
