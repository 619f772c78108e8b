#include "host/text_report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

// Widths of the columns; the reason and the rule's text end the line and may be as long as they are.
constexpr std::size_t kTimeWidth = 15;    // 12:34:56.123456
constexpr std::size_t kClientWidth = 15;  // a dotted address
constexpr std::size_t kHostWidth = 26;
constexpr std::size_t kPathWidth = 32;
constexpr std::size_t kStateWidth = 10;   // "no verdict"
constexpr std::size_t kReasonWidth = 31;  // "26 no rule decided" and the like

std::string TimeOfDay(std::uint64_t nanoseconds) {
    const std::string time = FormatTime(nanoseconds);
    return time.empty() ? "-" : time.substr(time.find('T') + 1, kTimeWidth);
}

// The reason, with its number; of what was not wholly judged, why.
std::string Reason(const Judgement& judgement, const Coverage& coverage) {
    const std::string why =
        fmt::format("{}: {}", coverage.extent == Extent::kNone ? "not judged" : "judged in part", coverage.why);
    if (!judgement.isValid) return why;
    const std::uint32_t reason = judgement.verdict.reason;
    return fmt::format("{:>2} {}", reason, coverage.IsWhole() ? ReasonWords(reason) : std::string_view(why));
}

std::string WithoutTrailingBlanks(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::string TextReport::Coloured(std::string_view text, Colour colour) const {
    if (!style_.colour) return std::string(text);
    std::string_view code = "\x1b[32m";  // green
    if (colour == Colour::kNotice) code = "\x1b[33m";
    if (colour == Colour::kBad) code = "\x1b[31m";
    return fmt::format("{}{}\x1b[0m", code, text);
}

void TextReport::NameColumns() {
    areColumnsNamed_ = true;
    out_ << WithoutTrailingBlanks(fmt::format("{}  {}  {}  {}  {}  {}", Column("time (UTC)", kTimeWidth),
                                              Column("client", kClientWidth), Column("host", kHostWidth),
                                              Column("path", kPathWidth), Column("verdict", kStateWidth), "reason"))
         << '\n';
}

void TextReport::TellLeftOut() {
    if (leftOut_ == 0) return;
    out_ << fmt::format("  {} request{} that no rule decided {} left out\n", leftOut_, leftOut_ == 1 ? "" : "s",
                        leftOut_ == 1 ? "is" : "are");
    leftOut_ = 0;
}

void TextReport::BeginCapture(const CaptureHeading& heading) {
    TellLeftOut();
    if (!isFirstCapture_) out_ << '\n';
    isFirstCapture_ = false;
    out_ << Printable(heading.name) << '\n';
    for (const AddressReplacement& replacement : heading.replacements)
        out_ << fmt::format("  address {} of the capture is replaced by {}\n", FormatIpAddress(replacement.from),
                            FormatIpAddress(replacement.to));
    areColumnsNamed_ = false;
}

void TextReport::Line(std::uint64_t timeNanoseconds, const std::string& client, const RequestView& view,
                      const std::string& verdict, const std::string& end) {
    if (!areColumnsNamed_) NameColumns();
    std::string line;
    if (!client.empty())
        line = fmt::format("{}  {:<{}}  ", Column(TimeOfDay(timeNanoseconds), kTimeWidth), client, kClientWidth);
    line += fmt::format("{}  {}  {}  {}", Column(view.host, kHostWidth), Column(view.path, kPathWidth), verdict, end);
    out_ << WithoutTrailingBlanks(line) << '\n';
}

void TextReport::Request(const JudgedRequest& request) {
    totals_.Count(request.judgement, request.coverage);
    if (style_.brief && IsUndecided(request.judgement)) {
        ++leftOut_;
        return;
    }
    const bool isBlocked = request.judgement.verdict.allow == TARN_BLOCK;
    Colour colour = isBlocked ? Colour::kBad : Colour::kGood;
    if (!request.judgement.isValid) colour = Colour::kNotice;
    const std::string text = request.judgement.isValid ? RuleText(request.judgement.verdict) : std::string();
    std::string end =
        fmt::format("{:<{}}", Reason(request.judgement, request.coverage), text.empty() ? 0 : kReasonWidth);
    if (!text.empty()) end += "  " + Printable(text);
    if (const std::string user = RuleUser(request.judgement.verdict); request.judgement.isValid && !user.empty())
        end += fmt::format("  (user {})", Printable(user));
    const bool isCaptured = request.origin.has_value();
    Line(isCaptured ? request.origin->timeNanoseconds : 0,
         isCaptured ? FormatIpAddress(request.origin->client.address) : std::string(), request.view,
         Coloured(Column(StateWord(request.judgement), kStateWidth), colour), end);
    if (style_.verbose) Details(request);
}

void TextReport::LocalGuess(const IpAddress& address) {
    out_ << fmt::format("  {} counts as this machine, since it opened the first connection (else say --local)\n",
                        FormatIpAddress(address));
}

// Further frames of an attacked connection would say the same; the summary counts them.
void TextReport::Attack(const PacketAttack& attack) {
    totals_.Count(attack);
    if (!attack.isFirst && !style_.verbose) return;
    const bool isBlocked = attack.verdict.action == TARN_PACKET_BLOCK;
    const std::uint32_t reason = attack.verdict.reason;
    const std::string rule = AttackRule(attack.verdict);
    std::string end = fmt::format("{:>2} {:<{}}", reason, AttackWords(reason), kReasonWidth - 3);
    const std::string description = AttackDescription(attack.verdict);
    end += "  " + (description.empty() && IsServiceAttack(reason) ? "known attacker" : Printable(description));
    if (attack.dropped) end += *attack.dropped ? "  (connection reset)" : "  (no such connection to reset)";
    if (!attack.blockedAddress.empty()) end += "  (blocked from now on: " + Printable(attack.blockedAddress) + ")";
    const std::string place =
        attack.local.port == 0 ? std::string("frame") : fmt::format("packet, local port {}", attack.local.port);
    Line(attack.timeNanoseconds, FormatIpAddress(attack.remote.address), {place, rule},
         Coloured(Column(isBlocked ? "BLOCKED" : "allowed", kStateWidth), isBlocked ? Colour::kBad : Colour::kNotice),
         end);
    if (style_.verbose)
        out_ << fmt::format("    frame {}, {} port {}, {}\n", attack.frame, attack.inbound ? "from" : "to",
                            attack.remote.port, Printable(AttackDetails(attack.verdict)));
}

void TextReport::File(const ShareFile& file) {
    totals_.Count(file);
    Line(file.timeNanoseconds, FormatIpAddress(AddressOf(file.event.destinationAddress)),
         {FileShare(file.event), FileName(file.event)},
         Coloured(Column(FileWord(file.event), kStateWidth), Colour::kNotice), "   file on a share");
    if (style_.verbose)
        out_ << fmt::format("    frame {}, by the server {}\n", file.frame,
                            FormatIpAddress(AddressOf(file.event.sourceAddress)));
}

void TextReport::Details(const JudgedRequest& request) {
    out_ << fmt::format("    {} to {} port {}", request.protocol->name, FormatIpAddress(request.server.address),
                        request.server.port);
    if (request.origin) {
        out_ << fmt::format(" from port {}, frame {}", request.origin->client.port, request.origin->frame);
        if (request.origin->replacedServer)
            out_ << ", in the capture to " << FormatIpAddress(*request.origin->replacedServer);
        if (request.origin->replacedClient)
            out_ << ", in the capture from " << FormatIpAddress(*request.origin->replacedClient);
    }
    out_ << fmt::format(", report byte {}, prompt byte {}\n", request.judgement.prompt.report,
                        request.judgement.prompt.prompt);
}

void TextReport::Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) {
    TellLeftOut();
    out_ << fmt::format("\n{} request{}: {} allowed, {} blocked", totals_.requests, totals_.requests == 1 ? "" : "s",
                        totals_.allowed, totals_.blocked);
    if (totals_.withoutVerdict != 0) out_ << fmt::format(", {} without a verdict", totals_.withoutVerdict);
    out_ << '\n';
    for (const auto& [reason, count] : totals_.byReason)
        out_ << fmt::format("{:>7}  {:>2} {}\n", count, reason, ReasonWords(reason));
    if (replay) FrameSummary();
    NotWholeSummary(replay);
    if (replay) ReadSummary(*replay);
    if (end.failedInputs != 0)
        out_ << fmt::format("{} input{} could not be read, or not to the end\n", end.failedInputs,
                            end.failedInputs == 1 ? "" : "s");
    if (end.isStopped) out_ << "stopped before the end: the numbers are those of what was judged\n";
}

void TextReport::NotWholeSummary(const std::optional<ReplayTotals>& replay) {
    const NotExamined silent = replay ? replay->notExamined : NotExamined{};
    const std::pair<std::uint64_t, std::string_view> lines[] = {
        {silent.unknownTurns, "turns of clients in a protocol that no URL scan knows"},
        {silent.quic, "QUIC datagrams (UDP port 443): web traffic that no URL scan can read"},
        {silent.otherDatagrams, "UDP datagrams that are neither DNS nor QUIC: packet signatures alone"},
        {silent.encryptedSmb, "encrypted SMB messages"},
        {silent.taggedOrIpv6, "frames of IPv6 or with a VLAN tag: packet signatures, but no files and no services"},
        {silent.fragments, "fragments of IP packets, which are not put together: packet signatures alone"},
        {silent.pppoe, "PPPoE frames: packet signatures alone"},
        {silent.damagedFrames, "frames with headers that do not fit into them: packet signatures alone"},
        {silent.otherFrames, "frames that are neither TCP nor UDP: packet signatures alone"},
    };
    const bool hasSilence =
        std::any_of(std::begin(lines), std::end(lines), [](const auto& line) { return line.first != 0; });
    if (!hasSilence && totals_.notWhole.empty()) return;
    out_ << "not or not wholly examined:\n";
    for (const auto& [cause, count] : totals_.notWhole)
        out_ << fmt::format("{:>7}  request{} {}: {}\n", count, count == 1 ? "" : "s",
                            cause.first == Extent::kNone ? "not judged" : "judged in part", cause.second);
    for (const auto& [count, words] : lines)
        if (count != 0) out_ << fmt::format("{:>7}  {}\n", count, words);
}

void TextReport::ReadSummary(const ReplayTotals& replay) {
    out_ << fmt::format("{} frame{}, {} bytes, {} capture{}", Grouped(replay.frames), replay.frames == 1 ? "" : "s",
                        Grouped(replay.bytes), Grouped(replay.captures), replay.captures == 1 ? "" : "s");
    if (replay.firstNanoseconds != 0)
        out_ << fmt::format(", {} to {}", FormatTime(replay.firstNanoseconds), FormatTime(replay.lastNanoseconds));
    out_ << '\n';
    if (replay.cutFrames != 0) out_ << CutFramesWords(replay) << '\n';
}

void TextReport::FrameSummary() {
    out_ << fmt::format("{} frame{} with an attack: {} blocked\n", totals_.attackFrames,
                        totals_.attackFrames == 1 ? "" : "s", totals_.attackFramesBlocked);
    for (const auto& [reason, count] : totals_.attacksByReason)
        out_ << fmt::format("{:>7}  {:>2} {}\n", count, reason, AttackWords(reason));
    out_ << fmt::format("{} file{} written on shares\n", totals_.files, totals_.files == 1 ? "" : "s");
    for (const auto& [word, count] : totals_.filesByAction) out_ << fmt::format("{:>7}  {}\n", count, word);
}

}  // namespace tarn::host
