#include "host/text_report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "host/expectations/finding.h"
#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

// The reason, with its number; of what was not wholly judged, why.
std::string Reason(const JudgedRequest& request) {
    const Judgement& judgement = request.judgement;
    const Coverage& coverage = request.coverage;
    std::string why =
        fmt::format("{}: {}", coverage.extent == Extent::kNone ? "not judged" : "judged in part", coverage.why);
    if (!judgement.isValid) return why;
    const std::uint32_t reason = judgement.verdict.reason;
    if (!coverage.IsWhole()) return fmt::format("{:>2} {}", reason, why);
    return fmt::format("{:>2} {}", reason, ReasonOf(request));
}

// Of requests that no rule decided.
std::string UndecidedWords(std::uint64_t notJudged, std::uint64_t letPass) {
    std::string words;
    if (notJudged != 0) words += fmt::format(", {} of them not judged", notJudged);
    if (letPass != 0) words += fmt::format(", {} of them let pass by a list", letPass);
    return words;
}

// The entry, or the reason where no entry is known; empty when no rule decided.
std::string Decider(const JudgedRequest& request) {
    if (request.entry) return DescribeEntry(request.entry);
    if (!request.judgement.isValid || IsUndecided(request.judgement)) return {};
    return std::string(ReasonWords(request.judgement.verdict.reason));
}

const char* Plural(std::uint64_t count) {
    return count == 1 ? "" : "s";
}

// ", tarn-policy.toml:12 malicious_sites": what decided.
std::string EntryWords(const std::optional<DecidingEntry>& entry) {
    return entry ? fmt::format(", {}:{} {}", Printable(entry->file), entry->line, entry->list) : std::string();
}

}  // namespace

std::string CountWords(const Totals& totals) {
    std::string words = fmt::format("{} allowed, {} blocked", totals.allowed, totals.blocked);
    if (totals.withoutVerdict != 0) words += fmt::format(", {} without a verdict", totals.withoutVerdict);
    return words;
}

std::string ReasonLines(const Totals& totals) {
    std::string lines;
    for (const auto& [reason, count] : totals.byReason) {
        const bool isUndecided = reason == TARN_REASON_DEFAULT;
        lines += fmt::format("{:>7}  {:>2} {}{}\n", count, reason, ReasonWords(reason),
                             isUndecided ? UndecidedWords(totals.undecidedNotJudged, totals.undecidedLetPass) : "");
    }
    return lines;
}

void TextReport::BeginRound() {
    for (RowHistory& history : histories_) history.BeginRound();
}

void TextReport::EndRound() {
    TellLeftOut();
    isFirstRound_ = false;
    for (const RowHistory& history : histories_) changes_.AddGone(history.Gone());
    out_ << changes_.Take();
}

std::uint32_t TextReport::NumberOf(const std::string& decider) {
    const auto [at, isNew] = deciderNumbers_.try_emplace(decider, static_cast<std::uint32_t>(deciders_.size()));
    if (isNew) deciders_.push_back(decider);
    return at->second;
}

void TextReport::TellLeftOut() {
    rows_.NameColumnsAgain();
    if (style_.quiet) return;
    if (leftOut_ != 0)
        out_ << fmt::format("  {} request{} that no rule decided {} left out{}\n", leftOut_, Plural(leftOut_),
                            leftOut_ == 1 ? "is" : "are", UndecidedWords(leftOutNotJudged_, leftOutLetPass_));
    if (unchanged_ != 0)
        out_ << fmt::format("  {} {} as in the round before and left out\n", unchanged_,
                            unchanged_ == 1 ? "is" : "are");
    leftOut_ = leftOutNotJudged_ = leftOutLetPass_ = unchanged_ = 0;
}

void TextReport::Note(const std::string& line) {
    if (style_.quiet)
        notes_ += line;
    else
        out_ << line;
}

void TextReport::BeginCapture(const CaptureHeading& heading) {
    for (RowHistory& history : histories_) history.BeginCapture();
    rows_.NameColumnsAgain();
    rows_.NameDateAgain();
    notes_.clear();
    if (!isFirstCapture_) Note("\n");
    isFirstCapture_ = false;
    Note(Printable(heading.name) + "\n");
    for (const AddressReplacement& replacement : heading.replacements)
        Note(fmt::format("  address {} of the capture is replaced by {}\n", FormatIpAddress(replacement.from),
                         FormatIpAddress(replacement.to)));
}

bool TextReport::Row(TextRow row, bool isWanted, const std::string& decider) {
    const std::string what = fmt::format("{} {} {}", row.client, row.view.host, row.view.path);
    RowHistory& history = histories_[static_cast<std::size_t>(row.kind)];
    const RowHistory::News news = history.Add(what, fmt::format("{} {} {} {}", what, row.state, row.reason, row.text),
                                              row.state, history.IsUsed() ? NumberOf(decider) : 0);
    if (news.isNew && !isFirstRound_) changes_.Add(row.state, decider, deciders_[news.deciderBefore]);
    const bool isSame = !news.isNew;
    if (isSame) ++unchanged_;
    // What was shown or left out before is shown when it changes.
    if (isSame || (!isWanted && news.stateBefore.empty())) return false;
    if (!news.stateBefore.empty() && news.stateBefore != row.state)
        row.text += fmt::format("{}(was {})", row.text.empty() ? "" : "  ", news.stateBefore);
    else if (!news.stateBefore.empty() && deciders_[news.deciderBefore] != decider)
        row.text += fmt::format("{}(was by {})", row.text.empty() ? "" : "  ",
                                news.deciderBefore == 0 ? "no rule" : Printable(deciders_[news.deciderBefore]));
    out_ << notes_;
    notes_.clear();
    rows_.Print(row);
    return true;
}

void TextReport::Request(const JudgedRequest& request) {
    Counting().Count(request);
    const Judgement& judgement = request.judgement;
    TextRow row;
    if (request.origin) {
        row.timeNanoseconds = request.origin->timeNanoseconds;
        row.client = FormatIpAddress(request.origin->client.address);
    }
    row.view = request.view;
    row.state = StateWord(judgement);
    row.colour = IsBlocked(judgement) ? Colour::kBad : Colour::kGood;
    if (!judgement.isValid) row.colour = Colour::kNotice;
    row.reason = Reason(request);
    if (judgement.isValid) {
        row.text = IsLetPass(request) ? request.entry->list : Printable(RuleText(judgement.verdict));
        if (const std::string user = RuleUser(judgement.verdict); !user.empty())
            row.text += fmt::format("{}(user {})", row.text.empty() ? "" : "  ", Printable(user));
    }
    const bool isPlain = style_.brief && IsUndecided(judgement);
    const bool isWanted = !isPlain && (!style_.quiet || IsBlocked(judgement));
    const std::uint64_t unchanged = unchanged_;
    if (Row(std::move(row), isWanted, Decider(request))) {
        if (style_.verbose) Details(request);
    } else if (isPlain && unchanged == unchanged_) {
        ++leftOut_;
        if (request.coverage.extent == Extent::kNone) ++leftOutNotJudged_;
        if (IsLetPass(request)) ++leftOutLetPass_;
    }
}

void TextReport::LocalGuess(const IpAddress& address) {
    Note(fmt::format("  {} counts as this machine, since it opened the first connection (else say --local)\n",
                     FormatIpAddress(address)));
}

// Further frames of an attacked connection would say the same; the summary counts them.
void TextReport::Attack(const PacketAttack& attack) {
    Counting().Count(attack);
    if (!attack.isFirst && !style_.verbose) {
        ++furtherFrames_;
        return;
    }
    const bool isBlocked = attack.verdict.action == TARN_PACKET_BLOCK;
    const std::uint32_t reason = attack.verdict.reason;
    TextRow row;
    row.kind = RowKind::kAttack;
    row.timeNanoseconds = attack.timeNanoseconds;
    row.client = FormatIpAddress(attack.remote.address);
    row.view = {attack.local.port == 0 ? std::string("frame") : fmt::format("packet, local port {}", attack.local.port),
                AttackRule(attack.verdict)};
    row.state = isBlocked ? "BLOCKED" : "allowed";
    row.colour = isBlocked ? Colour::kBad : Colour::kNotice;
    row.reason = fmt::format("{:>2} {}", reason, AttackWords(reason));
    const std::string description = AttackDescription(attack.verdict);
    row.text = description.empty() && IsServiceAttack(reason) ? "known attacker" : Printable(description);
    if (attack.dropped) row.text += *attack.dropped ? "  (connection reset)" : "  (no such connection to reset)";
    if (!attack.blockedAddress.empty()) row.text += "  (blocked from now on: " + Printable(attack.blockedAddress) + ")";
    const std::string decider = attack.entry ? DescribeEntry(attack.entry) : std::string(AttackWords(reason));
    if (Row(std::move(row), true, decider) && style_.verbose)
        out_ << fmt::format("    frame {}, {} port {}, {}{}\n", attack.frame, attack.inbound ? "from" : "to",
                            attack.remote.port, Printable(AttackDetails(attack.verdict)), EntryWords(attack.entry));
}

void TextReport::File(const ShareFile& file) {
    Counting().Count(file);
    TextRow row;
    row.kind = RowKind::kFile;
    row.timeNanoseconds = file.timeNanoseconds;
    row.client = FormatIpAddress(AddressOf(file.event.destinationAddress));
    row.view = {FileShare(file.event), FileName(file.event)};
    row.state = FileWord(file.event);
    row.colour = Colour::kNotice;
    if (Row(std::move(row), !style_.quiet) && style_.verbose)
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
    out_ << fmt::format(", report byte {}, prompt byte {}{}\n", request.judgement.prompt.report,
                        request.judgement.prompt.prompt, EntryWords(request.entry));
}

void TextReport::Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) {
    TellLeftOut();
    out_ << fmt::format("\n{} request{}: {}\n", Counted().requests, Plural(Counted().requests), CountWords(Counted()));
    PolicySummary();
    out_ << ReasonLines(Counted());
    if (replay) FrameSummary();
    NotWholeSummary(replay);
    if (replay) ReadSummary(*replay);
    if (end.failedInputs != 0)
        out_ << fmt::format("{} input{} could not be read, or not to the end\n", end.failedInputs,
                            end.failedInputs == 1 ? "" : "s");
    if (end.isStopped) out_ << "stopped before the end: the numbers are those of what was judged\n";
}

void TextReport::PolicySummary() {
    const std::vector<PolicyTotals> policies = CountedByPolicy();
    if (policies.size() == 1) return;
    for (std::size_t i = 0; i < policies.size(); ++i) {
        const PolicyTotals& policy = policies[i];
        out_ << fmt::format("{:>7}  under {}: {} allowed, {} blocked", policy.requests,
                            i == 0 ? std::string("the first policy") : fmt::format("that of change {}", i),
                            policy.allowed, policy.blocked);
        if (policy.withoutVerdict != 0) out_ << fmt::format(", {} without a verdict", policy.withoutVerdict);
        if (policy.attackFrames != 0)
            out_ << fmt::format(", {} frame{} with an attack", policy.attackFrames, Plural(policy.attackFrames));
        out_ << '\n';
    }
    out_ << "of all of them:\n";
}

void TextReport::NotWholeSummary(const std::optional<ReplayTotals>& replay) {
    const UnexaminedCounts silent = replay ? replay->notExamined : UnexaminedCounts{};
    const auto of = [&](Unexamined kind) { return silent.Of(kind); };
    const std::pair<std::uint64_t, std::string_view> lines[] = {
        {of(Unexamined::kUnknownProtocol), "turns of clients in a protocol that no URL scan knows"},
        {of(Unexamined::kHttp2), "turns of clients in HTTP/2 without TLS, which no URL scan knows"},
        {of(Unexamined::kEch), "TLS hellos that may hide the name that is meant (ECH): the outer name is judged"},
        {of(Unexamined::kHelloSplit), "TLS hellos in several segments: put together here, which not every filter does"},
        {of(Unexamined::kQuic), "QUIC datagrams (UDP port 443): web traffic that no URL scan can read"},
        {of(Unexamined::kOtherDatagram), "UDP datagrams that are neither DNS nor QUIC: packet signatures alone"},
        {of(Unexamined::kSmbEncrypted), "encrypted SMB messages"},
        {of(Unexamined::kSmbCompressed), "compressed SMB messages"},
        {of(Unexamined::kVlan), "frames with a VLAN tag: packet signatures, but no files and no services"},
        {of(Unexamined::kIpv6), "frames of IPv6: packet signatures, but no files and no services"},
        {of(Unexamined::kFragment), "fragments of IP packets, which are not put together: packet signatures alone"},
        {of(Unexamined::kPppoe), "PPPoE frames: packet signatures alone"},
        {of(Unexamined::kDamaged), "frames with headers that do not fit into them: packet signatures alone"},
        {of(Unexamined::kOtherFrame), "frames that are neither TCP nor UDP: packet signatures alone"},
    };
    const bool hasSilence =
        std::any_of(std::begin(lines), std::end(lines), [](const auto& line) { return line.first != 0; });
    if (!hasSilence && Counted().notWhole.empty()) return;
    out_ << "not or not wholly examined:\n";
    for (const auto& [cause, count] : Counted().notWhole)
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
    out_ << fmt::format("{} frame{} with an attack: {} blocked\n", Counted().attackFrames,
                        Counted().attackFrames == 1 ? "" : "s", Counted().attackFramesBlocked);
    for (const auto& [reason, count] : Counted().attacksByReason)
        out_ << fmt::format("{:>7}  {:>2} {}\n", count, reason, AttackWords(reason));
    if (furtherFrames_ != 0)
        out_ << fmt::format("{:>7}  of them not listed: one line per connection and attack, --verbose lists all\n",
                            furtherFrames_);
    out_ << fmt::format("{} file{} written on shares\n", Counted().files, Counted().files == 1 ? "" : "s");
    for (const auto& [word, count] : Counted().filesByAction) out_ << fmt::format("{:>7}  {}\n", count, word);
}

}  // namespace tarn::host
