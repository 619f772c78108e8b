#include "host/expectations/case_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/event.h"
#include "host/expectations/junit.h"
#include "host/expectations/side_by_side.h"
#include "host/file_path.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

Event ExpectedObject(const Expectation& expected) {
    Event object = Event::object();
    if (!expected.verdict.empty()) object["verdict"] = expected.verdict;
    if (expected.reason) object["reason"] = *expected.reason;
    if (!expected.reasonText.empty()) object["reason_text"] = expected.reasonText;
    if (!expected.entry.empty()) object["entry"] = expected.entry;
    return object;
}

Event FoundObject(const Finding& found) {
    Event object{{"verdict", found.verdict}};
    if (found.reason) object["reason"] = *found.reason;
    if (!found.reasonText.empty()) object["reason_text"] = found.reasonText;
    if (found.entry) object["entry"] = EntryMember(*found.entry);
    if (!found.note.empty()) object["note"] = found.note;
    return object;
}

const char* OutcomeName(TestOutcome outcome) {
    switch (outcome) {
        case TestOutcome::kOk:
            return "ok";
        case TestOutcome::kDifferent:
            return "different";
        case TestOutcome::kFailed:
            return "failed";
    }
    return "";
}

Event EventOf(const TestResult& result, const PolicyCase& one, const RanCase& ran) {
    Event line = BeginEvent("case");
    line["name"] = result.name;
    line["file"] = result.file;
    line["line"] = result.line;
    line["outcome"] = OutcomeName(result.outcome);
    line["expected"] = ExpectedObject(one.expected);
    if (result.outcome == TestOutcome::kFailed)
        line["text"] = ran.failure;
    else
        line["found"] = FoundObject(ran.found);
    return line;
}

}  // namespace

void CaseReport::Add(const std::string& file, const PolicyCase& one, const RanCase& ran, double seconds) {
    TestResult result;
    result.name = one.name;
    result.file = FromPath(ToPath(file).filename());
    result.line = one.line;
    result.seconds = seconds;
    std::vector<Comparison> compared;
    if (!ran.failure.empty()) {
        result.outcome = TestOutcome::kFailed;
        result.message = ran.failure;
    } else {
        compared = Compare(one.expected, ran.found);
        if (!AreSame(compared)) {
            result.outcome = TestOutcome::kDifferent;
            result.message = "the verdict is not the expected one";
            if (!ran.found.note.empty()) compared.push_back({"note", "", ran.found.note, true});
            result.details = SideBySide(compared, kJunitColumns);
        }
    }
    different_ += result.outcome == TestOutcome::kDifferent ? 1 : 0;
    failed_ += result.outcome == TestOutcome::kFailed ? 1 : 0;
    const std::string title = fmt::format("{}  ({}:{})", Printable(result.name), Printable(result.file), result.line);
    if (style_.json)
        WriteEvent(EventOf(result, one, ran), out_);
    else if (result.outcome == TestOutcome::kFailed)
        out_ << fmt::format("FAILED     {}\n  not judged: {}\n", title, Printable(ran.failure));
    else if (result.outcome == TestOutcome::kDifferent)
        out_ << fmt::format("DIFFERENT  {}\n{}", title, SideBySide(compared, style_.columns));
    else if (style_.verbose)
        out_ << fmt::format("ok         {}{}\n", title,
                            ran.found.note.empty() ? "" : fmt::format("  [{}]", Printable(ran.found.note)));
    results_.push_back(std::move(result));
}

void CaseReport::Summary() {
    const std::size_t ok = results_.size() - different_ - failed_;
    if (style_.json) {
        Event line = BeginEvent("cases");
        line["cases"] = results_.size();
        line["ok"] = ok;
        line["different"] = different_;
        line["failed"] = failed_;
        WriteEvent(line, out_);
        return;
    }
    out_ << fmt::format("{} case{}: {} as expected, {} different", results_.size(), results_.size() == 1 ? "" : "s", ok,
                        different_);
    if (failed_ != 0) out_ << fmt::format(", {} could not be asked", failed_);
    out_ << '\n';
}

}  // namespace tarn::host
