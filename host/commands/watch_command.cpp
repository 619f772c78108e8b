// tarnhost watch: judges captures or a running one, and tells the library what changes in the policy meanwhile.
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <istream>
#include <memory>

#include "host/address_replacements.h"
#include "host/capture_replay.h"
#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/policy_file.h"
#include "host/policy_follower.h"
#include "host/printable_text.h"
#include "host/watched_input.h"

namespace tarn::host {

namespace {

constexpr std::string_view kStandardInput = "-";

struct WatchOptions {
    std::vector<std::string> captures;
    bool once = false;

    [[nodiscard]] bool ReadsStandardInput() const {
        return std::find(captures.begin(), captures.end(), kStandardInput) != captures.end();
    }
};

class Watching {
 public:
    Watching(const Session& session, Judge& library, PolicyFollower& follower, WatchSignals& signals,
             std::vector<AddressReplacement> replacements)
        : session_(session),
          library_(library),
          follower_(follower),
          signals_(signals),
          report_(session.Report()),
          replay_(library, *report_, std::move(replacements), {}) {}

    // False when a capture was bad.
    bool FeedAll(const std::vector<std::string>& captures) {
        bool areWhole = true;
        for (const std::string& capture : captures) {
            if (isStopped_) break;
            areWhole &= capture == kStandardInput ? FeedStandardInput() : FeedFile(capture);
        }
        session_.out.flush();
        return areWhole;
    }

    // False at Ctrl+C; true when the library was told about a change.
    bool WaitForChange() {
        while (!isStopped_)
            if (Handle(signals_.Next(true, false))) return true;
        return false;
    }

    void Summary() { report_->Summary(replay_.WhatWasNotExamined()); }
    [[nodiscard]] bool IsStopped() const { return isStopped_; }

 private:
    // True when the library was told about a change.
    bool Handle(Signal signal) {
        if (signal == Signal::kStop) isStopped_ = true;
        return signal == Signal::kChanged && follower_.Follow(library_);
    }

    bool FeedFile(const std::string& capture) {
        const std::filesystem::path path = ToPath(capture);
        std::error_code ignored;
        std::ifstream file(path, std::ios::binary);
        if (!file || std::filesystem::is_directory(path, ignored)) {
            session_.Fail(
                fmt::format("{}: cannot be opened; is the path right, and may you read the file?", Printable(capture)),
                kExitFailed);
            return false;
        }
        WatchedInput input([&](std::span<char> buffer) -> std::size_t {
            Signal signal = Signal::kNone;
            do {
                signal = signals_.Next(false, false);
                Handle(signal);
            } while (signal == Signal::kChanged);
            if (isStopped_) return 0;
            file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
            return static_cast<std::size_t>(file.gcount());
        });
        return Feed(input, FromPath(path.filename()));
    }

    bool FeedStandardInput() {
        WatchedInput input([&](std::span<char> buffer) -> std::size_t {
            session_.out.flush();  // what was judged is seen while the next frame is waited for
            Signal signal = Signal::kNone;
            while (!isStopped_ && (signal = signals_.Next(true, true)) != Signal::kInput) Handle(signal);
            return isStopped_ ? 0 : signals_.ReadInput(buffer);
        });
        return Feed(input, "standard input");
    }

    bool Feed(WatchedInput& input, const std::string& name) {
        std::istream stream(&input);
        std::string mistake;
        // A capture that Ctrl+C cuts off is not a bad one.
        if (replay_.Replay(stream, name, mistake) || isStopped_) return true;
        session_.Fail(fmt::format("{}: {}", Printable(name), mistake), kExitFailed);
        return false;
    }

    const Session& session_;
    Judge& library_;
    PolicyFollower& follower_;
    WatchSignals& signals_;
    std::unique_ptr<VerdictReport> report_;
    CaptureReplay replay_;
    bool isStopped_ = false;
};

int Watch(const WatchOptions& options, const Session& session) {
    std::vector<AddressReplacement> replacements;
    std::string mistake;
    if (!ParseReplacements(session.replacements, replacements, mistake)) return session.Fail(mistake, kExitUsage);
    Environment& environment = session.environment;
    const std::string folder = environment.InstallFolder(session.library);
    const auto pause = [&](std::chrono::milliseconds time) { environment.Pause(time); };
    PolicyFollower follower(PolicyPath(folder), SidsOf(environment), pause, session.out, session.json);
    if (!follower.Begin(mistake)) return session.Fail(mistake, kExitFailed);
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const std::unique_ptr<WatchSignals> signals = environment.Watch(folder, options.ReadsStandardInput(), mistake);
    if (!signals) return session.Fail(mistake, kExitFailed);
    follower.Follow(*library);  // for what changed before the folder was watched

    if (environment.IsErrorTerminal())
        session.errors << fmt::format("tarnhost: following {}; Ctrl+C ends it\n", Printable(PolicyPath(folder)));

    Watching watching(session, *library, follower, *signals, std::move(replacements));
    bool areWhole = watching.FeedAll(options.captures);
    // A stream cannot be judged again; files are, after each change.
    if (!options.once && !options.ReadsStandardInput())
        while (watching.WaitForChange()) areWhole &= watching.FeedAll(options.captures);
    watching.Summary();
    return areWhole ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddWatchCommand(CLI::App& command, Session& session) {
    const auto options = std::make_shared<WatchOptions>();
    command.add_option("CAPTURE", options->captures,
                       "pcap or pcapng files of Ethernet frames; - is standard input, for a capture that is running");
    command.add_flag("--once", options->once, "End after the captures instead of waiting for changes");
    command.footer(
        "When the policy beside the modules changes, no more is judged until the library has been told what changed. "
        "A policy with mistakes is told about and not used. Files are judged again after each change. Ctrl+C ends it, "
        "and so does the end of standard input.");
    return [options, &session] { return Watch(*options, session); };
}

}  // namespace tarn::host
