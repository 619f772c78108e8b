#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <sstream>
#include <system_error>

#include "host/clock_time.h"
#include "host/commands/command.h"
#include "host/event.h"
#include "host/file_path.h"
#include "host/fitted_output.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/timed_judge.h"

namespace tarn::host {

namespace {

constexpr const char* kAllShared =
    "--json --brief --quiet --color --columns --map --install-folder --policy --mode --keep-state --at --exit-verdict "
    "--verbose";

constexpr Command kCommands[] = {
    {"url", "Judge URLs", AddUrlCommand, "--map",
     "  tarnhost url http://shop.example/basket https://bank.example/\n"
     "  tarnhost url --quiet --exit-verdict @addresses.txt\n"
     "  tarnhost url --at 21:30 http://games.example/\n"},
    {"replay", "Replay captures: judge their requests and frames", AddReplayCommand, "",
     "  tarnhost replay monday.pcapng\n"
     "  tarnhost replay --brief --local 192.168.1.31 captures\n"
     "  tarnhost replay --json - < monday.pcap.gz\n"},
    {"extension", "Judge URLs as a browser's extension reports them", AddExtensionCommand,
     "--map --brief --quiet --color", "  tarnhost extension https://shop.example/basket?id=7\n"},
    {"explain", "Explain why URLs are judged as they are", AddExplainCommand,
     "--map --brief --quiet --color --keep-state",
     "  tarnhost explain http://games.example/play\n"
     "  tarnhost explain --at 21:30 https://shop.example/\n"
     "  tarnhost explain --json --extension https://shop.example/basket?id=7\n"},
    {"logon", "Say whether an account may use the machine now", AddLogonCommand, "--map --brief --quiet --color",
     "  tarnhost logon --user anna --at 21:30\n"
     "  tarnhost logon --user anna --ticks 70 --keep-state minutes\n"},
    {"watch", "Judge captures and follow changes of the policy meanwhile", AddWatchCommand, "--at",
     "  tarnhost watch --brief monday.pcapng\n"
     "  tarnhost watch --json -\n"},
    {"serve", "Filter what browsers ask for: a proxy that judges it first", AddServeCommand,
     "--brief --color --at --exit-verdict",
     "  tarnhost serve\n"
     "  tarnhost serve --proxy 127.0.0.1:3128 --socks off --events events.jsonl\n"
     "  tarnhost serve --policy family.toml --keep-state state --unknown refuse\n"},
    {"policy", "Check a policy file of the reference companion modules", AddPolicyCommand,
     "--map --brief --quiet --color --policy --mode --keep-state --at --exit-verdict --verbose",
     "  tarnhost policy\n"
     "  tarnhost policy --accounts any new-policy.toml\n"},
    {"impact", "Say which verdicts on captures a new policy would change", AddImpactCommand,
     "--policy --brief --color --keep-state --exit-verdict",
     "  tarnhost impact --after new-policy.toml last-month\n"
     "  tarnhost impact --before old.toml --after new.toml --expect none --urls @addresses.txt\n"},
    {"test", "Hold a policy against the verdicts that are expected of it", AddTestCommand,
     "--map --brief --quiet --color --keep-state --exit-verdict",
     "  tarnhost test cases.toml\n"
     "  tarnhost test --policy new-policy.toml --junit results.xml cases.toml\n"},
    {"report", "Make a page of the events that the other commands print with --json", AddReportCommand,
     "--map --json --brief --quiet --color --install-folder --mode --keep-state --at --exit-verdict --verbose",
     "  tarnhost report monday.jsonl -o report.html\n"
     "  tarnhost report --policy tarn-policy.toml @events.txt -o report.html\n"
     "  tarnhost report - -o report.html < monday.jsonl\n"},
    {"companions", "Check companion modules: exports, records, memory, threads", AddCompanionsCommand,
     "--map --brief --quiet --color --mode --at --exit-verdict",
     "  tarnhost companions my-modules\n"
     "  tarnhost companions --module sitecls.dll --ask bad.example/setup my-modules\n"},
    {"messaging", "Answer the extension of a browser, which starts this itself", AddMessagingCommand,
     "--json --brief --quiet --color --columns --map --keep-state --at --exit-verdict",
     "  tarnhost messaging --policy tarn-policy.toml chrome-extension://kcejamnmjkkjeefgdkbjniolkgkmbmen/\n", true},
    {"completion", "Print the script that completes this command line in a shell", AddCompletionCommand, kAllShared,
     "  tarnhost completion bash > tarnhost.bash\n"
     "  tarnhost completion powershell > tarnhost.ps1\n",
     true},
    {"man", "Print the manual page", AddManCommand, kAllShared, "  tarnhost man > tarnhost.1\n", true},
};

std::string FooterOf(const CLI::App& app, const Command& command) {
    const std::string footer = app.get_footer();
    return fmt::format("{}{}Examples:\n{}", footer, footer.empty() ? "" : "\n\n", command.examples);
}

constexpr const char* kExitCodes =
    "Exit codes: 0 nothing failed, and the totals say what was not judged; 1 something failed: the library did not "
    "start, an input is damaged or cut, the "
    "output could not be written or its reader closed it; 2 the command line is wrong; 130 stopped by Ctrl+C. Of test, "
    "impact --expect and replay --expect: 3 something is not as expected. With "
    "--exit-verdict alone: 3 something was blocked, refused or found; 4 nothing was, but a request was not judged.";

constexpr std::size_t kLeastColumns = 40;
constexpr std::size_t kMostColumns = 10000;

// One less than the terminal has: some go to the next line when the last column is filled.
std::size_t ColumnsOfTerminal(const Environment& environment) {
    if (!environment.IsOutputTerminal()) return 0;
    std::size_t columns = environment.TerminalColumns();
    const std::string said = environment.Variable("COLUMNS");
    std::size_t number = 0;
    if (std::from_chars(said.data(), said.data() + said.size(), number).ec == std::errc() && number != 0)
        columns = number;
    return columns == 0 ? 0 : std::clamp(columns, kLeastColumns, kMostColumns) - 1;
}

void AddSharedOptions(CommandOptions program, Session& session) {
    program.Flag("--json", session.json, "Print events, one JSON object a line, and one with the totals");
    program.Flag("--brief", session.brief, "Leave out the requests that no rule decided; the totals have them");
    program.Flag("--quiet", session.quiet,
                 "Print only what was blocked or found, and the totals, which have the rest, too");
    program
        .Add("--color", session.colour, "Colours: auto (default) on a terminal unless NO_COLOR is set, always or never")
        .OneOf({"auto", "always", "never"});
    program
        .Add("--columns", session.columns,
             "Fit text into so many columns: two lines for a verdict below 150. Without it the terminal's width, "
             "or that of COLUMNS; a file or pipe gets one line for each verdict. 0 fits nothing")
        .Within(0u, std::uint32_t{kMostColumns});
    program
        .Add("--map", session.replacements, "Judge requests with the first address replaced by the second (repeatable)")
        .Value("ADDRESS=ADDRESS")
        .Repeatable();
    program
        .Add("--install-folder", session.library.installFolder,
             "Folder of the companion modules, instead of the one that the registry names or tarnhost stands in")
        .Value("FOLDER");
    program
        .Add("--policy", session.library.policyFile,
             "Policy file that the reference modules read, instead of the one beside them")
        .Value("FILE");
    program
        .Add("--mode", session.library.mode,
             "How the library starts: 1 = as after a restart (default), 0 = fresh, which empties the user's "
             "white list")
        .Within(0, 1);
    program
        .Add("--keep-state", session.library.keepState,
             "Folder of what a run leaves for the next one: DNS answers, minutes of use, the reset of the user's "
             "white list; without it a run starts with none and leaves none")
        .Value("FOLDER");
    program
        .Add("--at", session.at,
             "The local time at which is judged, for schedules and times of use: 2026-03-07T21:30, 21:30 (today) "
             "or now, which is the machine's clock. Replay takes the times of the capture without it, the other "
             "commands now")
        .Value("TIME");
    program.Flag(
        "--exit-verdict", session.exitVerdict,
        "End with exit code 3 when something was blocked, refused or found, else with 4 when a request was not "
        "judged");
    program.Flag("--verbose", session.library.verbose, "Say more about each verdict and about what is loaded");
}

}  // namespace

std::string_view OptionsWithoutUse(std::string_view command) {
    for (const Command& one : kCommands)
        if (one.name == command) return one.without;
    return {};
}

std::unique_ptr<VerdictReport> Session::Report() const {
    const bool isColoured = colour == "always" || (colour == "auto" && environment.IsOutputTerminal() &&
                                                   environment.Variable("NO_COLOR").empty());
    return MakeReport(out, {json, !json && isColoured, library.verbose, brief, quiet, columns});
}

std::unique_ptr<EntryFinder> Session::Entries() const {
    auto entries = std::make_unique<EntryFinder>(
        FinderFor(environment, library, environment.IsErrorTerminal() ? &errors : nullptr));
    entries->Prepare();
    return entries;
}

std::unique_ptr<Judge> Session::PlainLibrary() const {
    std::string mistake;
    SavedState found;
    if (!library.policyFile.empty() && !ReadPolicyText(library.policyFile)) {
        Fail(fmt::format("--policy {}: cannot be read; is the path right, and may you read the file?",
                         Printable(library.policyFile)),
             kExitFailed);
        return nullptr;
    }
    if (!environment.UseState(library, found, mistake)) {
        Fail(mistake, kExitFailed);
        return nullptr;
    }
    if (!library.keepState.empty()) TellState(found);
    std::unique_ptr<Judge> judge = environment.OpenLibrary(library, mistake);
    if (!judge) Fail(mistake, kExitFailed);
    return judge;
}

std::unique_ptr<Judge> Session::Library() const {
    std::unique_ptr<Judge> judge = PlainLibrary();
    if (!judge || !json) return judge;
    TellPolicy();
    return std::make_unique<TimedJudge>(std::move(judge));
}

void Session::TellPolicy() const {
    const std::string file = PolicyPath(environment, library);
    std::error_code ignored;
    if (quiet || !std::filesystem::exists(ToPath(file), ignored)) return;  // not every module reads one
    Event event = BeginEvent("policy");
    event["event"] = "used";
    event["file"] = file;
    WriteEvent(event, out);
}

void Session::TellState(const SavedState& found) const {
    if (json) {
        Event event = BeginEvent("policy");
        event["event"] = "state";
        event["folder"] = library.keepState;
        event["saved_answers"] = found.answers;
        event["saved_sessions"] = found.sessions;
        event["user_list_reset"] = found.isUserListReset;
        WriteEvent(event, out);
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

bool Session::MayGoOn() const {
    return out.good() && !environment.IsInterrupted();
}

int Session::End(ExitCode code, bool found, bool isUnjudged) const {
    if (code != kExitOk || !exitVerdict) return code;
    if (found) return kExitFound;
    return isUnjudged ? kExitNotJudged : kExitOk;
}

int Session::Fail(std::string_view message, ExitCode code, std::string_view input) const {
    if (json) {
        Event event = BeginEvent("error");
        event["text"] = message;
        if (!input.empty()) event["input"] = input;
        WriteEvent(event, out);
    }
    out.flush();
    errors << "tarnhost: " << message << std::endl;
    if (onFail) onFail(message, input);
    return code;
}

int Session::FailWithTotals(std::string_view message, ExitCode code, const std::function<void()>& tellTotals) const {
    if (!json) tellTotals();
    Fail(message, code);
    if (json) tellTotals();
    return code;
}

namespace {

// The first option that was given and does nothing for the command; empty when there is none.
std::string FindIdleOption(const CLI::App& app, const Command& command) {
    std::istringstream names{std::string(command.without)};
    for (std::string name; names >> name;)
        if (app.get_option(name)->count() != 0) return name;
    return {};
}

// The parser prints its text itself.
void TellMistake(const Session& session, const CLI::ParseError& error) {
    if (!session.json) return;
    Event event = BeginEvent("error");
    event["text"] = error.what();
    WriteEvent(event, session.out);
}

int RunCommandOf(std::vector<std::string> arguments, Environment& environment, std::ostream& target,
                 std::ostream& errors) {
    FittedOutput fitted(target, ColumnsOfTerminal(environment));
    std::ostream out(&fitted);
    CLI::App app("Runs tarn.dll as its host process would and prints its verdicts.", "tarnhost");
    app.set_version_flag("--version", std::string("tarnhost " TARN_VERSION));
    app.allow_windows_style_options(false);  // "/captures/one.pcap" is a file on every system
    app.require_subcommand(1);
    app.footer(kExitCodes + std::string("\n\ntarnhost COMMAND --help has examples."));
    app.fallthrough();
    Session session{environment, out, errors, {}, {}, {}, false, false, false, false, {}, 0};
    session.colour = "auto";
    session.columns = ColumnsOfTerminal(environment);
    AddSharedOptions(CommandOptions(app), session);
    RunCommand run;
    const Command* chosen = nullptr;
    for (const Command& command : kCommands) {
        CLI::App* const added = app.add_subcommand(command.name, command.description);
        const RunCommand one = command.add(CommandOptions(*added), session);
        added->footer(FooterOf(*added, command));
        added->callback([&run, &chosen, &command, one] {
            chosen = &command;
            run = one;
        });
    }
    // For mistakes in the line itself: what is wrong with it may keep the parser from reading the option.
    session.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    const bool wantsHelp = std::any_of(arguments.begin(), arguments.end(), [](const std::string& argument) {
        return argument == "--help" || argument == "-h";
    });
    try {
        std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::RequiredError& error) {
        if (const std::vector<std::string> rest = app.remaining(); app.get_subcommands().empty() && !rest.empty())
            return session.Fail(
                fmt::format("there is no command \"{}\"; tarnhost --help lists them", Printable(rest.front())),
                kExitUsage);
        TellMistake(session, error);
        app.exit(error, out, errors);
        return kExitUsage;
    } catch (const CLI::ParseError& error) {
        fitted.SetColumns(session.columns);
        if (wantsHelp) {  // whatever else is wrong
            out << app.help();
            return kExitOk;
        }
        if (error.get_exit_code() != 0) TellMistake(session, error);
        return app.exit(error, out, errors) == 0 ? kExitOk : kExitUsage;
    }
    fitted.SetColumns(session.json || chosen->isForPrograms ? 0 : session.columns);  // an object is one line
    if (const std::string idle = FindIdleOption(app, *chosen); !idle.empty())
        return session.Fail(fmt::format("{} does nothing for {}; leave it out", idle, chosen->name), kExitUsage);
    if (!session.at.empty() && session.at != "now") {
        session.library.clock = ParseClockTime(session.at, environment.LocalTime());
        if (!session.library.clock)
            return session.Fail(fmt::format("--at {}: a local time is wanted, such as 2026-03-07T21:30, 21:30 or now",
                                            Printable(session.at)),
                                kExitUsage);
    }
    return run();
}

}  // namespace

int RunCommandLine(std::vector<std::string> arguments, Environment& environment, std::ostream& out,
                   std::ostream& errors) {
    const int code = RunCommandOf(std::move(arguments), environment, out, errors);
    out.flush();
    if (out) return code;
    errors << "tarnhost: " << environment.OutputMistake() << std::endl;
    return kExitFailed;
}

}  // namespace tarn::host
