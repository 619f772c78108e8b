#include "host/expectations/expecting_report.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "host/event.h"
#include "host/expectations/junit.h"
#include "host/expectations/side_by_side.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr std::uint64_t kNotedDifferences = 100;  // of a capture

ReportStyle AsJson(ReportStyle style) {
    style.json = true;
    return style;
}

// Of a line that is on one side alone.
std::vector<Comparison> OneSided(const Event& line, bool isExpected) {
    std::vector<Comparison> compared;
    for (const char* key : {"protocol", "host", "path", "share", "file", "verdict", "reason"}) {
        if (!line.contains(key)) continue;
        const std::string text = line[key].is_string() ? line[key].get<std::string>() : line[key].dump();
        compared.push_back({key, isExpected ? text : "", isExpected ? "" : text, false});
    }
    return compared;
}

std::string LowerWord(std::string_view word) {
    std::string lower(word);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

}  // namespace

ExpectingReport::ExpectingReport(std::ostream& out, const ReportStyle& style, ExpectedLines expected, std::string name)
    : out_(out),
      style_(style),
      expected_(std::move(expected)),
      name_(std::move(name)),
      inner_(written_, AsJson(style)) {}

void ExpectingReport::BeginCapture(const CaptureHeading& heading) {
    captures_[heading.name];
    inner_.BeginCapture(heading);
    Drain();
}

void ExpectingReport::Request(const JudgedRequest& request) {
    Counting().Count(request);
    inner_.Request(request);
    Drain();
}

void ExpectingReport::LocalGuess(const IpAddress& address) {
    inner_.LocalGuess(address);
    Drain();
}

void ExpectingReport::Attack(const PacketAttack& attack) {
    Counting().Count(attack);
    inner_.Attack(attack);
    Drain();
}

void ExpectingReport::File(const ShareFile& file) {
    Counting().Count(file);
    inner_.File(file);
    Drain();
}

void ExpectingReport::Drain() {
    std::istringstream lines(written_.str());
    written_.str({});
    for (std::string line; std::getline(lines, line);) CompareLine(line);
}

void ExpectingReport::CompareLine(const std::string& text) {
    const Event found = Event::parse(text, nullptr, false);
    const std::string type = found.value("type", "");
    if (!IsComparedType(type) || !expected_.Wants(type)) return;
    std::vector<Comparison> compared;
    const ExpectedLine* expected = nullptr;
    const LineMatch match = expected_.Take(found, compared, expected);
    const std::string capture = found.value("capture", "");
    if (match == LineMatch::kExtra && !expected_.ListsAllLike(found)) {
        ++notListed_;
        return;
    }
    ++captures_[capture].compared;
    if (match == LineMatch::kSame) {
        ++same_;
        return;
    }
    const std::uint64_t frame = found.value("frame", std::uint64_t{0});
    if (match == LineMatch::kDifferent) {
        ++different_;
        // Where it is, and what differs.
        std::erase_if(compared, [](const Comparison& one) {
            return one.isSame && one.what != "host" && one.what != "path" && one.what != "verdict" &&
                   one.what != "reason";
        });
        Tell("DIFFERENT", type, capture, frame, expected->number, compared);
    } else {
        ++extra_;
        if (!style_.json && !expected_.Has(capture)) {
            ++captures_[capture].untold;
            return;
        }
        Tell("EXTRA", type, capture, frame, 0, OneSided(found, false));
    }
}

void ExpectingReport::Tell(const char* word, const std::string& type, const std::string& capture, std::uint64_t frame,
                           std::uint64_t line, const std::vector<Comparison>& compared) {
    const std::string title = fmt::format("{}  {}:{}  {}{}", word, Printable(capture), frame, type,
                                          line == 0 ? std::string() : fmt::format("  ({}:{})", Printable(name_), line));
    CaptureResult& result = captures_[capture];
    if (result.differences++ < kNotedDifferences) result.details += title + "\n" + SideBySide(compared, kJunitColumns);
    if (!style_.json) {
        out_ << title << '\n' << SideBySide(compared, style_.columns);
        return;
    }
    Event event = BeginEvent("difference");
    if (!capture.empty()) event["capture"] = capture;
    event["frame"] = frame;
    event["of"] = type;
    event["difference"] = LowerWord(word);
    if (line != 0) event["line"] = line;
    event["members"] = Event::array();
    for (const Comparison& one : compared)
        if (!one.isSame)
            event["members"].push_back({{"name", one.what}, {"expected", one.expected}, {"found", one.found}});
    WriteEvent(event, out_);
}

void ExpectingReport::TellMissing() {
    for (const ExpectedLine* line : expected_.Missing()) {
        if (capturesNotReplayed_.contains(line->capture)) continue;
        ++missing_;
        Tell("MISSING", line->type, line->capture, line->frame, line->number, OneSided(Event::parse(line->rest), true));
    }
}

// One line for each, instead of one for each of its requests.
void ExpectingReport::TellUnknownCaptures() {
    for (auto& [capture, one] : captures_) {
        if (one.untold == 0) continue;
        one.differences += one.untold;
        one.details += fmt::format("{} has no line of this capture\n", Printable(name_));
        out_ << fmt::format("EXTRA  {}: {} line{}, and {} has none of this capture\n", Printable(capture), one.untold,
                            one.untold == 1 ? "" : "s", Printable(name_));
    }
}

void ExpectingReport::TellNotCompared() {
    if (const std::size_t count = capturesNotReplayed_.size(); count != 0)
        out_ << fmt::format("{} capture{} of {} {} not replayed; {} expected line{} of {} {} not compared\n", count,
                            count == 1 ? "" : "s", Printable(name_), count == 1 ? "was" : "were", linesNotReplayed_,
                            linesNotReplayed_ == 1 ? "" : "s", count == 1 ? "it" : "them",
                            linesNotReplayed_ == 1 ? "is" : "are");
    if (notListed_ == 0) return;
    const std::uint64_t leftOut = expected_.LeftOut();
    out_ << fmt::format(
        "{} found that {} does not list and that {} not compared{}\n", notListed_, Printable(name_),
        notListed_ == 1 ? "was" : "were",
        leftOut == 0 ? std::string() : fmt::format(": its run left out {}, as --brief and --quiet do", leftOut));
}

void ExpectingReport::Summary(const std::optional<ReplayTotals>&, const RunEnd& end) {
    for (const ExpectedLine& line : expected_.Lines()) {
        if (line.capture.empty() || captures_.contains(line.capture)) continue;
        ++linesNotReplayed_;
        capturesNotReplayed_.insert(line.capture);
    }
    if (!end.isStopped) TellMissing();
    const std::uint64_t expected = expected_.Lines().size() - linesNotReplayed_;
    if (style_.json) {
        Event event = BeginEvent("differences");
        event["expected"] = expected;
        event["same"] = same_;
        event["different"] = different_;
        event["missing"] = missing_;
        event["extra"] = extra_;
        event["captures_not_replayed"] = capturesNotReplayed_.size();
        event["not_compared"] = notListed_;
        event["failed_inputs"] = end.failedInputs;
        event["stopped"] = end.isStopped;
        WriteEvent(event, out_);
        return;
    }
    TellUnknownCaptures();
    out_ << fmt::format("{} expected: {} as expected, {} different, {} missing; {} that nobody expects\n", expected,
                        same_, different_, missing_, extra_);
    TellNotCompared();
    if (end.isStopped) out_ << "stopped before the end: what was not reached was not compared\n";
}

std::vector<TestResult> ExpectingReport::Results() const {
    std::vector<TestResult> results;
    for (const auto& [capture, one] : captures_) {
        TestResult result;
        result.name = capture.empty() ? name_ : capture;
        result.file = name_;
        if (one.differences != 0) {
            result.outcome = TestOutcome::kDifferent;
            result.message = fmt::format("{} of {} differ, are missing or not expected", one.differences,
                                         std::max(one.compared, one.differences));
            result.details = one.details;
        }
        results.push_back(std::move(result));
    }
    return results;
}

}  // namespace tarn::host
