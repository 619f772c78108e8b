// tarnhost replay: runs captures through the URL scan, the packet scan and the SMB monitor.
#include <filesystem>
#include <fmt/format.h>
#include <istream>
#include <memory>

#include "host/capture_clock.h"
#include "host/capture_replay.h"
#include "host/commands/capture_options.h"
#include "host/file_path.h"
#include "host/named_inputs.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/progress.h"
#include "host/standard_input.h"
#include "host/verdict_words.h"
#include "policy/policy_reader.h"

namespace tarn::host {

namespace {

// What the policy beside the modules says about times.
ScheduleTurns TurnsOfPolicy(const Session& session) {
    const auto text = ReadPolicyText(PolicyPath(session.environment, session.library));
    if (!text || text->find("schedule") == std::string::npos) return {};  // a long policy takes a while to read
    policy::PassedOverLists noLists;
    const policy::ReadPolicy read = policy::ParsePolicy(*text, SidsOf(session.environment), &noLists);
    return read.mistakes.empty() ? ScheduleTurns(read.policy.parental) : ScheduleTurns();
}

std::string Megabytes(std::uint64_t bytes) {
    return Grouped((bytes + 500000) / 1000000);
}

class Replaying {
 public:
    Replaying(const Session& session, Judge& library, CaptureOptions::Parsed options)
        : session_(session),
          library_(library),
          report_(session.Report()),
          clock_(library, session.environment, TurnsOfPolicy(session)),
          replay_(library, *report_, std::move(options.replacements), std::move(options.frames)) {
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
            ReplayFile(input.name);
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

    void ReplayFile(const std::string& file) {
        CaptureFile input;
        std::string mistake;
        if (!OpenCaptureFile(file, input, mistake)) return Complain(mistake, file);
        std::error_code error;
        const auto size = std::filesystem::file_size(ToPath(file), error);
        Feed(input.stream, FromPath(ToPath(file).filename()), file, error ? 0 : static_cast<std::uint64_t>(size));
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
    CaptureReplay replay_;
    StandardInput input_{session_.environment, session_.out};
    std::unique_ptr<Progress> progress_;
    std::uint64_t bytesRead_ = 0;  // of the capture
    std::uint64_t failed_ = 0;
    bool areSettingsRead_ = true;
    std::optional<std::string> stoppedAt_;
};

int ReplayCaptures(const CaptureOptions& options, const Session& session) {
    std::optional<CaptureOptions::Parsed> parsed = options.Parse(session);
    if (!parsed) return kExitUsage;
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    Replaying replaying(session, *library, std::move(*parsed));
    for (const NamedInput& input : ListCaptures(options.captures)) {
        if (!session.MayGoOn()) break;
        replaying.Replay(input);
    }
    return replaying.End();
}

}  // namespace

RunCommand AddReplayCommand(CLI::App& command, Session& session) {
    const auto options = std::make_shared<CaptureOptions>();
    AddCaptureOptions(command, *options)->required();
    command.footer(
        "What a client sends before the server answers is one request. Judged are HTTP requests, TLS hellos, the "
        "commands of FTP connections and DNS answers.\nEvery frame goes, as it was captured, through the packet scan, "
        "with the lower of its two ports as the number of the rule, and through the SMB monitor. An attack in a "
        "request has its address blocked.\nThe captures of one run are one stream of traffic. Schedules go by the "
        "times of the capture, in the machine's time zone, unless --at says otherwise.\nCtrl+C ends it with the totals "
        "of what was judged. Captures that are damaged or were cut while they were captured end it with exit code 1.");
    return [options, &session] { return ReplayCaptures(*options, session); };
}

}  // namespace tarn::host
