#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/clock_time.h"
#include "host/commands/command.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr Command kCommands[] = {
    {"url", "Judge URLs", AddUrlCommand},
    {"replay", "Replay captures: judge their requests and frames", AddReplayCommand},
    {"extension", "Judge URLs as a browser's extension reports them", AddExtensionCommand},
    {"logon", "Say whether an account may use the machine now", AddLogonCommand},
    {"watch", "Judge captures and follow changes of the policy meanwhile", AddWatchCommand},
    {"policy", "Check a policy file of the reference companion modules", AddPolicyCommand},
};

void AddSharedOptions(CLI::App& app, Session& session) {
    app.add_flag("--json", session.json, "Print one JSON object per verdict, and one with the totals");
    app.add_flag("--brief", session.brief, "Leave out the requests that no rule decided; the totals have them");
    app.add_option("--map", session.replacements,
                   "Judge requests with the first address replaced by the second (repeatable)")
        ->type_name("ADDRESS=ADDRESS")
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--install-folder", session.library.installFolder,
                   "Folder of the companion modules, instead of the one that the registry names or tarnhost stands in")
        ->type_name("FOLDER");
    app.add_option("--mode", session.library.mode,
                   "How the library starts: 1 = as after a restart (default), 0 = fresh, which empties the user's "
                   "white list")
        ->check(CLI::Range(0, 1));
    app.add_option("--keep-state", session.library.keepState,
                   "Folder of what a run leaves for the next one: DNS answers, minutes of use, the reset of the user's "
                   "white list; without it a run starts with none and leaves none")
        ->type_name("FOLDER");
    app.add_option("--at", session.at,
                   "The local time at which is judged, for schedules and times of use: 2026-03-07T21:30, 21:30 (today) "
                   "or now, which is the machine's clock. Replay takes the times of the capture without it, the other "
                   "commands now")
        ->type_name("TIME");
    app.add_flag("--verbose", session.library.verbose, "Say more about each verdict and about what is loaded");
}

}  // namespace

std::unique_ptr<VerdictReport> Session::Report() const {
    return MakeReport(out, {json, !json && environment.IsOutputTerminal(), library.verbose, brief});
}

std::unique_ptr<Judge> Session::Library() const {
    std::string mistake;
    SavedState found;
    if (!environment.UseState(library, found, mistake)) {
        Fail(mistake, kExitFailed);
        return nullptr;
    }
    if (!library.keepState.empty()) TellState(found);
    std::unique_ptr<Judge> judge = environment.OpenLibrary(library, mistake);
    if (!judge) Fail(mistake, kExitFailed);
    return judge;
}

void Session::TellState(const SavedState& found) const {
    if (json) {
        const nlohmann::ordered_json line{{"type", "state"},
                                          {"folder", library.keepState},
                                          {"savedAnswers", found.answers},
                                          {"savedSessions", found.sessions},
                                          {"userListReset", found.isUserListReset}};
        out << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
        return;
    }
    const std::string folder = Printable(library.keepState);
    if (found.answers == 0 && found.sessions == 0)
        out << fmt::format("starting without saved answers and sessions; {} has none\n", folder);
    else
        out << fmt::format("starting with {} saved answer{}, {} session{} of {}\n", found.answers,
                           found.answers == 1 ? "" : "s", found.sessions, found.sessions == 1 ? "" : "s", folder);
    if (found.isUserListReset)
        out << fmt::format("the user's white list is reset until it changes; delete {} in {} to use it again\n",
                           kUserListResetFile, folder);
}

int Session::Fail(std::string_view message, ExitCode code) const {
    out.flush();
    errors << "tarnhost: " << message << std::endl;
    return code;
}

int RunCommandLine(std::vector<std::string> arguments, Environment& environment, std::ostream& out,
                   std::ostream& errors) {
    CLI::App app("Runs tarn.dll as its host process would and prints its verdicts.", "tarnhost");
    app.set_version_flag("--version", std::string("tarnhost " TARN_VERSION));
    app.allow_windows_style_options(false);  // "/captures/one.pcap" is a file on every system
    app.require_subcommand(1);
    app.fallthrough();
    Session session{environment, out, errors, {}, {}, {}, false, false};
    AddSharedOptions(app, session);
    RunCommand run;
    for (const Command& command : kCommands) {
        CLI::App* const added = app.add_subcommand(command.name, command.description);
        const RunCommand one = command.add(*added, session);
        added->callback([&run, one] { run = one; });
    }
    try {
        std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::RequiredError& error) {
        if (const std::vector<std::string> rest = app.remaining(); app.get_subcommands().empty() && !rest.empty())
            return session.Fail(
                fmt::format("there is no command \"{}\"; tarnhost --help lists them", Printable(rest.front())),
                kExitUsage);
        app.exit(error, out, errors);
        return kExitUsage;
    } catch (const CLI::ParseError& error) {
        return app.exit(error, out, errors) == 0 ? kExitOk : kExitUsage;
    }
    if (!session.at.empty() && session.at != "now") {
        session.library.clock = ParseClockTime(session.at, environment.LocalTime());
        if (!session.library.clock)
            return session.Fail(fmt::format("--at {}: a local time is wanted, such as 2026-03-07T21:30, 21:30 or now",
                                            Printable(session.at)),
                                kExitUsage);
    }
    const int code = run();
    out.flush();
    return code;
}

}  // namespace tarn::host
