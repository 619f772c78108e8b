// tarnhost watch: judges captures or a running one, and tells the library what changes in the policy meanwhile.
#include <algorithm>
#include <fmt/format.h>
#include <istream>
#include <memory>
#include <optional>

#include "host/capture_replay.h"
#include "host/commands/capture_options.h"
#include "host/file_path.h"
#include "host/named_inputs.h"
#include "host/policy_file.h"
#include "host/policy_follower.h"
#include "host/printable_text.h"
#include "host/watched_input.h"

namespace tarn::host {

namespace {

struct WatchOptions {
    CaptureOptions captures;
    bool once = false;
};

std::string FolderOf(const std::string& file) {
    return FromPath(std::filesystem::absolute(ToPath(file)).parent_path() / "");
}

bool ReadsStandardInput(const std::vector<NamedInput>& inputs) {
    return std::any_of(inputs.begin(), inputs.end(), [](const auto& input) { return input.name == kStandardInput; });
}

class Watching {
 public:
    Watching(const Session& session, Judge& library, PolicyFollower& follower, WatchSignals& signals,
             CaptureOptions::Parsed options)
        : session_(session),
          library_(library),
          follower_(follower),
          signals_(signals),
          report_(session.Report()),
          entries_(std::make_unique<EntryFinder>(FinderFor(session.environment, session.library))),
          replay_(library, *report_, std::move(options.replacements), std::move(options.frames)) {
        // What the library goes by, whatever the file says meanwhile.
        entries_->ReadBy([this] { return follower_.Used(); });
        replay_.NameEntriesBy(entries_.get());
        replay_.BeforeFrame([this](std::uint64_t) { return session_.out.good(); });
        follower_.BeforeText([this] { report_->TellLeftOut(); });
    }

    // isRepeated: the same inputs come again after each change.
    void FeedAll(const std::vector<NamedInput>& inputs, bool isRepeated) {
        if (isRepeated) report_->BeginRound();
        for (const NamedInput& input : inputs) {
            if (isStopped_ && !stoppedAt_) stoppedAt_ = input.shown.empty() ? input.name : input.shown;
            if (isStopped_ || !session_.out) break;
            if (!input.mistake.empty())
                Complain(input.mistake, input.name);
            else if (input.name == kStandardInput)
                FeedStandardInput();
            else
                FeedFile(input.name, input.shown);
        }
        if (isRepeated && !isStopped_) report_->EndRound();
        session_.out.flush();
        if (!session_.out) isStopped_ = true;
    }

    // False at Ctrl+C; true when the library was told about a change.
    bool WaitForChange() {
        while (!isStopped_)
            if (Handle(signals_.Next(true, false))) return true;
        return false;
    }

    int End() {
        const RunEnd end{failed_, stoppedAt_.has_value(), library_.Latencies()};
        const ReplayTotals& read = replay_.WhatWasRead();
        if (!stoppedAt_) return EndCaptures(session_, *report_, read, end);
        return EndCaptures(session_, *report_, read, end, fmt::format("stopped at {}", Printable(*stoppedAt_)),
                           kExitInterrupted);
    }

 private:
    // True when the library was told about a change.
    bool Handle(Signal signal) {
        if (signal == Signal::kStop) isStopped_ = true;
        const bool isTold = signal == Signal::kChanged && follower_.Follow(library_);
        if (signal == Signal::kChanged) {
            entries_->Forget();
            for (const std::string& folder : follower_.ListFolders()) signals_.AlsoFolder(folder);
        }
        if (isTold) report_->BeginPolicy();
        return isTold;
    }

    void Complain(const std::string& mistake, const std::string& input = {}) {
        ++failed_;
        session_.Fail(mistake, kExitFailed, input);
    }

    void FeedFile(const std::string& capture, const std::string& shown) {
        CaptureFile file;
        std::string mistake;
        if (!OpenCaptureFile(capture, file, mistake)) return Complain(mistake, capture);
        WatchedInput input([&](std::span<char> buffer) -> std::size_t {
            Signal signal = Signal::kNone;
            do {
                signal = signals_.Next(false, false);
                Handle(signal);
            } while (signal == Signal::kChanged);
            if (isStopped_) {
                if (file.stream.peek() != std::istream::traits_type::eof()) stoppedAt_ = shown;
                return 0;
            }
            file.stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
            return static_cast<std::size_t>(file.stream.gcount());
        });
        Feed(input, shown);
    }

    void FeedStandardInput() {
        WatchedInput input([&](std::span<char> buffer) -> std::size_t {
            session_.out.flush();  // what was judged is seen while the next frame is waited for
            Signal signal = Signal::kNone;
            while (!isStopped_ && (signal = signals_.Next(true, true)) != Signal::kInput) Handle(signal);
            return isStopped_ ? 0 : signals_.ReadInput(buffer);
        });
        Feed(input, "standard input");
    }

    void Feed(WatchedInput& input, const std::string& name) {
        std::istream stream(&input);
        std::string mistake;
        // A capture that Ctrl+C cuts off is not a bad one.
        if (!replay_.Replay(stream, name, mistake) && !isStopped_)
            Complain(fmt::format("{}: {}", Printable(name), mistake), name);
    }

    const Session& session_;
    Judge& library_;
    PolicyFollower& follower_;
    WatchSignals& signals_;
    std::unique_ptr<VerdictReport> report_;
    std::unique_ptr<EntryFinder> entries_;
    CaptureReplay replay_;
    std::uint64_t failed_ = 0;
    bool isStopped_ = false;
    std::optional<std::string> stoppedAt_;  // the file that Ctrl+C cut off or kept from being begun
};

int Watch(const WatchOptions& options, const Session& session) {
    std::optional<CaptureOptions::Parsed> parsed = options.captures.Parse(session);
    if (!parsed) return kExitUsage;
    std::string mistake;
    const std::vector<NamedInput> inputs = ListCaptures(options.captures.captures);
    const bool readsInput = ReadsStandardInput(inputs);
    Environment& environment = session.environment;
    const std::string file = PolicyPath(environment, session.library);
    const auto pause = [&](std::chrono::milliseconds time) { environment.Pause(time); };
    PolicyFollower follower(file, SidsOf(environment), pause, session.out, session.json);
    follower.UseAsciiHost([&environment](const std::string& host) { return environment.AsciiHost(host); });
    if (!follower.Begin(mistake)) return session.Fail(mistake, kExitFailed);
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const std::unique_ptr<WatchSignals> signals = environment.Watch(FolderOf(file), readsInput, mistake);
    if (!signals) return session.Fail(mistake, kExitFailed);
    for (const std::string& folder : follower.ListFolders()) signals->AlsoFolder(folder);
    follower.Follow(*library);  // for what changed before the folders were watched

    if (environment.IsErrorTerminal())
        session.errors << fmt::format("tarnhost: following {}; Ctrl+C ends it\n", Printable(file));

    Watching watching(session, *library, follower, *signals, std::move(*parsed));
    // A stream cannot be judged again; files are, after each change.
    const bool isRepeated = !options.once && !readsInput;
    watching.FeedAll(inputs, isRepeated);
    if (isRepeated)
        while (watching.WaitForChange()) watching.FeedAll(inputs, true);
    return watching.End();
}

}  // namespace

RunCommand AddWatchCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<WatchOptions>();
    AddCaptureOptions(command, options->captures);
    command.Flag("--once", options->once, "End after the captures instead of waiting for changes");
    command.Notes(
        "When the policy beside the modules changes, no more is judged until the library has been told what changed. "
        "A policy with mistakes is told about and not used. Files are judged again after each change, and "
        "what is judged as before is only counted. Ctrl+C ends it, "
        "and so does the end of standard input, such as of a capture that is running. Schedules go by the machine's "
        "clock.");
    return [options, &session] { return Watch(*options, session); };
}

}  // namespace tarn::host
