#include "host/json_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kNanosecondsPerSecond = 1e9;

// Bytes that are no UTF-8 become U+FFFD.
std::string OneLine(const Json& object) {
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

void JsonReport::BeginCapture(const CaptureHeading& heading) {
    heading_ = heading;
}

void JsonReport::Request(const JudgedRequest& request) {
    Counting().Count(request.judgement, request.coverage);
    if (style_.brief && IsUndecided(request.judgement)) return;
    if (style_.quiet && !IsBlocked(request.judgement)) return;
    Json line;
    line["type"] = "verdict";
    if (request.origin) {
        line["capture"] = heading_.name;
        line["frame"] = request.origin->frame;
        if (request.origin->timeNanoseconds != 0) line["time"] = FormatTime(request.origin->timeNanoseconds);
        line["client"] = FormatIpAddress(request.origin->client.address);
        line["clientPort"] = request.origin->client.port;
        if (request.origin->replacedClient) line["clientInCapture"] = FormatIpAddress(*request.origin->replacedClient);
    }
    line["server"] = FormatIpAddress(request.server.address);
    line["serverPort"] = request.server.port;
    if (request.origin && request.origin->replacedServer)
        line["serverInCapture"] = FormatIpAddress(*request.origin->replacedServer);
    line["protocol"] = request.protocol->name;
    line["host"] = request.view.host;
    line["path"] = request.view.path;
    line["verdict"] = StateWord(request.judgement);
    line["judged"] = ExtentWord(request.coverage.extent);
    if (!request.coverage.IsWhole()) line["whyNotWhole"] = request.coverage.why;
    if (request.judgement.isValid) {
        const UrlVerdict& verdict = request.judgement.verdict;
        const std::uint32_t reason = verdict.reason;
        line["reason"] = reason;
        line["reasonText"] = ReasonWords(reason);
        line["ruleText"] = RuleText(verdict);
        if (const std::string user = RuleUser(verdict); !user.empty()) line["user"] = user;
        line["reportByte"] = request.judgement.prompt.report;
        line["promptByte"] = request.judgement.prompt.prompt;
    }
    out_ << OneLine(line);
}

void JsonReport::LocalGuess(const IpAddress& address) {
    if (style_.quiet) return;
    out_ << OneLine({{"type", "local"}, {"capture", heading_.name}, {"address", FormatIpAddress(address)}});
}

void JsonReport::Attack(const PacketAttack& attack) {
    Counting().Count(attack);
    const std::uint32_t reason = attack.verdict.reason;
    const std::uint16_t rule = attack.verdict.ruleId;
    Json line{{"type", "attack"}, {"capture", heading_.name}, {"frame", attack.frame}};
    if (attack.timeNanoseconds != 0) line["time"] = FormatTime(attack.timeNanoseconds);
    line["inbound"] = attack.inbound;
    line["local"] = FormatIpAddress(attack.local.address);
    line["localPort"] = attack.local.port;
    line["remote"] = FormatIpAddress(attack.remote.address);
    line["remotePort"] = attack.remote.port;
    line["verdict"] = attack.verdict.action == TARN_PACKET_BLOCK ? "BLOCKED" : "allowed";
    line["reason"] = reason;
    line["reasonText"] = AttackWords(reason);
    line["rule"] = rule;
    line["ruleName"] = AttackRule(attack.verdict);
    line["description"] = AttackDescription(attack.verdict);
    line["details"] = AttackDetails(attack.verdict);
    line["alertByte"] = attack.verdict.alertFlag;
    if (attack.dropped) line["dropped"] = *attack.dropped;
    if (!attack.blockedAddress.empty()) line["condemned"] = attack.blockedAddress;
    out_ << OneLine(line);
}

void JsonReport::File(const ShareFile& file) {
    Counting().Count(file);
    if (style_.quiet) return;
    Json line{{"type", "file"}, {"capture", heading_.name}, {"frame", file.frame}};
    if (file.timeNanoseconds != 0) line["time"] = FormatTime(file.timeNanoseconds);
    line["server"] = FormatIpAddress(AddressOf(file.event.sourceAddress));
    line["client"] = FormatIpAddress(AddressOf(file.event.destinationAddress));
    line["share"] = FileShare(file.event);
    line["file"] = FileName(file.event);
    line["action"] = FileWord(file.event);
    out_ << OneLine(line);
}

void JsonReport::Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) {
    Json line;
    line["type"] = "summary";
    line["requests"] = Counted().requests;
    line["allowed"] = Counted().allowed;
    line["blocked"] = Counted().blocked;
    line["withoutVerdict"] = Counted().withoutVerdict;
    line["byReason"] = Json::object();
    for (const auto& [reason, count] : Counted().byReason) line["byReason"][fmt::format("{}", reason)] = count;
    line["undecidedNotJudged"] = Counted().undecidedNotJudged;
    line["judgedInPart"] = Counted().CountOf(Extent::kPart);
    line["notJudged"] = Counted().CountOf(Extent::kNone);
    line["whyNotWhole"] = Json::object();
    for (const auto& [cause, count] : Counted().notWhole) line["whyNotWhole"][std::string(cause.second)] = count;
    if (const std::vector<PolicyTotals> policies = CountedByPolicy(); policies.size() > 1)
        for (const PolicyTotals& policy : policies)
            line["policies"].push_back({{"requests", policy.requests},
                                        {"allowed", policy.allowed},
                                        {"blocked", policy.blocked},
                                        {"withoutVerdict", policy.withoutVerdict},
                                        {"attackFrames", policy.attackFrames}});
    line["failedInputs"] = end.failedInputs;
    line["stopped"] = end.isStopped;
    line["replacedAddresses"] = Json::array();
    for (const AddressReplacement& replacement : heading_.replacements)
        line["replacedAddresses"].push_back(
            {{"from", FormatIpAddress(replacement.from)}, {"to", FormatIpAddress(replacement.to)}});
    if (replay) {
        line["attackFrames"] = Counted().attackFrames;
        line["attackFramesBlocked"] = Counted().attackFramesBlocked;
        line["attacksByReason"] = Json::object();
        for (const auto& [reason, count] : Counted().attacksByReason)
            line["attacksByReason"][fmt::format("{}", reason)] = count;
        line["files"] = Counted().files;
        line["captures"] = replay->captures;
        line["frames"] = replay->frames;
        line["bytes"] = replay->bytes;
        if (replay->firstNanoseconds != 0) {
            line["firstTime"] = FormatTime(replay->firstNanoseconds);
            line["lastTime"] = FormatTime(replay->lastNanoseconds);
            line["durationSeconds"] =
                static_cast<double>(replay->lastNanoseconds - replay->firstNanoseconds) / kNanosecondsPerSecond;
        }
        line["cutFrames"] = replay->cutFrames;
        const NotExamined& silent = replay->notExamined;
        line["notExamined"] = {{"unknownTurns", silent.unknownTurns},
                               {"quic", silent.quic},
                               {"otherDatagrams", silent.otherDatagrams},
                               {"encryptedSmb", silent.encryptedSmb},
                               {"taggedOrIpv6", silent.taggedOrIpv6},
                               {"fragments", silent.fragments},
                               {"pppoe", silent.pppoe},
                               {"damagedFrames", silent.damagedFrames},
                               {"otherFrames", silent.otherFrames}};
    }
    out_ << OneLine(line);
}

}  // namespace tarn::host
