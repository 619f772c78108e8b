// tarnhost replay: runs captures through the URL scan, the packet scan and the SMB monitor.
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <istream>
#include <memory>

#include "host/capture_clock.h"
#include "host/capture_replay.h"
#include "host/commands/capture_options.h"
#include "host/expectations/expecting_report.h"
#include "host/expectations/junit.h"
#include "host/file_path.h"
#include "host/named_inputs.h"
#include "host/output_file.h"
#include "host/policy_turns.h"
#include "host/printable_text.h"
#include "host/progress.h"
#include "host/standard_input.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

std::string Megabytes(std::uint64_t bytes) {
    return Grouped((bytes + 500000) / 1000000);
}

struct ReplayOptions {
    CaptureOptions captures;
    std::string expect;
    std::string junit;
};

class Replaying {
 public:
    Replaying(const Session& session, Judge& library, CaptureOptions::Parsed options,
              std::unique_ptr<VerdictReport> report, std::unique_ptr<EntryFinder> entries)
        : session_(session),
          library_(library),
          report_(std::move(report)),
          clock_(library, session.environment, TurnsOfPolicy(session.environment, session.library)),
          entries_(std::move(entries)),
          replay_(library, *report_, std::move(options.replacements), std::move(options.frames)) {
        replay_.NameEntriesBy(entries_.get());
        replay_.BeforeFrame([this](std::uint64_t time) {
            if (session_.at.empty()) areSettingsRead_ &= clock_.MoveTo(time);
            return session_.MayGoOn();
        });
        replay_.OnProgress([this](std::uint64_t bytes) {
            bytesRead_ = bytes;
            if (progress_) progress_->Update(bytes);
        });
        replay_.BeforeReport([this] {
            if (progress_) progress_->Clear();
        });
    }

    void Replay(const NamedInput& input) {
        if (!input.mistake.empty())
            Complain(input.mistake, input.name);
        else if (input.name == kStandardInput)
            ReplayStandardInput();
        else
            ReplayFile(input);
    }

    int End() {
        const RunEnd end{failed_, stoppedAt_.has_value(), library_.Latencies()};
        const ReplayTotals& read = replay_.WhatWasRead();
        if (session_.environment.IsInterrupted() && stoppedAt_)
            return EndCaptures(session_, *report_, read, end, fmt::format("stopped at {}", *stoppedAt_),
                               kExitInterrupted);
        if (!areSettingsRead_)
            return EndCaptures(
                session_, *report_, read, end,
                "the library could not read its parental settings again when the schedule turned; from there on "
                "nothing was judged by them",
                kExitFailed);
        return EndCaptures(session_, *report_, read, end);
    }

 private:
    void Complain(const std::string& mistake, const std::string& input = {}) {
        ++failed_;
        session_.Fail(mistake, kExitFailed, input);
    }

    void ReplayFile(const NamedInput& named) {
        const std::string& file = named.name;
        CaptureFile input;
        std::string mistake;
        if (!OpenCaptureFile(file, input, mistake)) return Complain(mistake, file);
        std::error_code error;
        const auto size = std::filesystem::file_size(ToPath(file), error);
        Feed(input.stream, named.shown, file, error ? 0 : static_cast<std::uint64_t>(size));
    }

    void ReplayStandardInput() {
        std::string mistake;
        std::istream* const stream = input_.Open(mistake);
        if (stream == nullptr) return Complain(mistake, "standard input");
        Feed(*stream, "standard input", "standard input", 0);
    }

    void Feed(std::istream& input, const std::string& shown, const std::string& name, std::uint64_t size) {
        bytesRead_ = 0;
        if (session_.environment.IsErrorTerminal()) progress_ = std::make_unique<Progress>(session_.errors, size);
        std::string mistake;
        const bool isWhole = replay_.Replay(input, shown, mistake);
        progress_.reset();
        if (input_.IsCutOff() || !session_.MayGoOn())
            stoppedAt_ =
                size == 0 ? fmt::format("{} MB of {}", Megabytes(bytesRead_), Printable(name))
                          : fmt::format("{} of {} MB of {}", Megabytes(bytesRead_), Megabytes(size), Printable(name));
        else if (!isWhole)
            Complain(fmt::format("{}: {}", Printable(name), mistake), name);
    }

    const Session& session_;
    Judge& library_;
    std::unique_ptr<VerdictReport> report_;
    CaptureClock clock_;
    std::unique_ptr<EntryFinder> entries_;
    CaptureReplay replay_;
    StandardInput input_{session_.environment, session_.out};
    std::unique_ptr<Progress> progress_;
    std::uint64_t bytesRead_ = 0;  // of the capture
    std::uint64_t failed_ = 0;
    bool areSettingsRead_ = true;
    std::optional<std::string> stoppedAt_;
};

void ReplayInputs(Replaying& replaying, const CaptureOptions& options, const Session& session) {
    for (const NamedInput& input : ListCaptures(options.captures)) {
        if (!session.MayGoOn()) break;
        replaying.Replay(input);
    }
}

// The lines of --expect; nothing after the reason was printed.
std::optional<ExpectedLines> ReadExpected(const std::string& name, const Session& session) {
    std::ifstream input(ToPath(name));
    std::string mistake;
    ExpectedLines expected;
    if (!input)
        mistake = "cannot be read; is the path right, and may you read the file?";
    else
        expected.Read(input, mistake);
    if (mistake.empty()) return expected;
    session.Fail(fmt::format("--expect {}: {}", Printable(name), mistake), kExitFailed);
    return std::nullopt;
}

int ReplayExpecting(const ReplayOptions& options, CaptureOptions::Parsed parsed, const Session& session,
                    std::vector<TestResult>& results) {
    std::optional<ExpectedLines> expected = ReadExpected(options.expect, session);
    if (!expected) return kExitFailed;
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    auto made = std::make_unique<ExpectingReport>(
        session.out, ReportStyle{session.json, false, false, session.brief, session.quiet, session.columns},
        std::move(*expected), FromPath(ToPath(options.expect).filename()));
    const ExpectingReport& report = *made;
    Replaying replaying(session, *library, std::move(parsed), std::move(made),
                        std::make_unique<EntryFinder>(FinderFor(session.environment, session.library)));
    ReplayInputs(replaying, options.captures, session);
    const int code = replaying.End();
    results = report.Results();
    if (code != kExitOk) return code;
    if (report.HasNothingCompared())
        return session.Fail(fmt::format("--expect {}: nothing was compared, because none of its captures was replayed",
                                        Printable(options.expect)),
                            kExitFailed);
    return report.HasDifferences() ? kExitFound : kExitOk;
}

// What failed is in the results, too: a test server must not take the run for a good one.
int ReplayIntoJunit(const ReplayOptions& options, CaptureOptions::Parsed parsed, const Session& session) {
    if (session.exitVerdict)
        return session.Fail("--exit-verdict says nothing beside --expect, which ends with 3 itself; leave it out",
                            kExitUsage);
    std::vector<TestResult> failed;
    Session heard = session;
    heard.onFail = [&](std::string_view message, std::string_view input) {
        failed.push_back(FailedResult(input.empty() ? "tarnhost replay" : input, message));
    };
    std::vector<TestResult> results;
    const int code = ReplayExpecting(options, std::move(parsed), heard, results);
    results.insert(results.end(), failed.begin(), failed.end());
    if (!options.junit.empty() && !WriteJunit(options.junit, "tarnhost replay", results))
        return session.Fail(CannotWrite("--junit", options.junit), kExitFailed);
    return code;
}

int ReplayCaptures(const ReplayOptions& options, const Session& session) {
    std::optional<CaptureOptions::Parsed> parsed = options.captures.Parse(session);
    if (!parsed) return kExitUsage;
    if (!options.expect.empty()) return ReplayIntoJunit(options, std::move(*parsed), session);
    if (!options.junit.empty()) return session.Fail("--junit wants --expect: results are differences", kExitUsage);
    std::unique_ptr<EntryFinder> entries = session.Entries();  // first, for a long policy is read once then
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    Replaying replaying(session, *library, std::move(*parsed), session.Report(), std::move(entries));
    ReplayInputs(replaying, options.captures, session);
    return replaying.End();
}

}  // namespace

RunCommand AddReplayCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<ReplayOptions>();
    AddCaptureOptions(command, options->captures).Required();
    command
        .Add("--expect", options->expect,
             "Print only what differs from this file, which an earlier replay --json wrote; exit code 3 when "
             "something does. Its lines may be shorter: capture, frame and what is to be compared")
        .Value("FILE");
    command.Add("--junit", options->junit, "With --expect: also write the result of each capture as JUnit XML")
        .Value("FILE");
    command.Notes(
        "What a client sends before the server answers is one request. Judged are HTTP requests, TLS hellos, the "
        "commands of FTP connections and DNS answers.\nEvery frame goes, as it was captured, through the packet scan, "
        "with the lower of its two ports as the number of the rule, and through the SMB monitor. An attack in a "
        "request has its address blocked.\nThe captures of one run are one stream of traffic. Schedules go by the "
        "times of the capture, in the machine's time zone, unless --at says otherwise.\nCtrl+C ends it with the totals "
        "of what was judged. Captures that are damaged or were cut while they were captured end it with exit code 1.");
    return [options, &session] { return ReplayCaptures(*options, session); };
}

}  // namespace tarn::host
