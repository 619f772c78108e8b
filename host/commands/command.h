// What all commands share: the options that stand before or behind them, and their shape.
#ifndef TARN_HOST_COMMANDS_COMMAND_H
#define TARN_HOST_COMMANDS_COMMAND_H

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/commands/options.h"
#include "host/explain/entry_finder.h"
#include "host/judge.h"
#include "host/verdict_report.h"

namespace tarn::host {

enum ExitCode {
    kExitOk = 0,             // nothing failed
    kExitFailed = 1,         // the library did not start, an input is damaged, the output could not be written
    kExitUsage = 2,          // the command line is wrong
    kExitFound = 3,          // with --exit-verdict: something was blocked, refused or found; of a test: a difference
    kExitNotJudged = 4,      // with --exit-verdict: nothing was found, but a request was not judged
    kExitInterrupted = 130,  // by Ctrl+C
};

// Options, environment and output of one run.
struct Session {
    Environment& environment;
    std::ostream& out;
    std::ostream& errors;
    LibraryOptions library{};
    std::vector<std::string> replacements{};  // "ADDRESS=ADDRESS"
    std::string at{};                         // --at; library.clock has what it says
    bool json = false;
    bool brief = false;
    bool quiet = false;
    bool exitVerdict = false;
    std::string colour = "auto";  // --color
    std::size_t columns = 0;      // of a line of text; 0 = as long as it is
    // Called with each message of Fail and the input that it was about.
    std::function<void(std::string_view message, std::string_view input)> onFail{};

    // The report in the style that the options and the terminal ask for.
    [[nodiscard]] std::unique_ptr<VerdictReport> Report() const;
    // What names the entries of the policy that decide.
    [[nodiscard]] std::unique_ptr<EntryFinder> Entries() const;
    // The library, or null after the reason was printed.
    [[nodiscard]] std::unique_ptr<Judge> Library() const;
    // The same without measuring calls and without events, for several threads at once.
    [[nodiscard]] std::unique_ptr<Judge> PlainLibrary() const;
    // One line on the error output, with --json an event, too; the exit code given comes back.
    // input: the capture, address or file that it happened with.
    int Fail(std::string_view message, ExitCode code, std::string_view input = {}) const;
    // The same for what ends a run, with its totals: people read the message last, programs find the totals last.
    int FailWithTotals(std::string_view message, ExitCode code, const std::function<void()>& tellTotals) const;
    // False from Ctrl+C on, and when the output cannot be written any more.
    [[nodiscard]] bool MayGoOn() const;
    // The exit code of a run that ended by itself.
    // found: something was blocked, refused or found. isUnjudged: a request was not judged.
    [[nodiscard]] int End(ExitCode code, bool found, bool isUnjudged) const;
    // What a kept state holds at the start.
    void TellState(const SavedState& found) const;

 private:
    void TellPolicy() const;
};

// Adds a command to the command line. The returned function runs it after the line was read.
using RunCommand = std::function<int()>;
using AddCommand = RunCommand (*)(CommandOptions command, Session& session);

struct Command {
    const char* name;
    const char* description;
    AddCommand add;
    std::string_view without;    // the shared options that would do nothing, with blanks between them
    const char* examples;        // lines of the help
    bool isForPrograms = false;  // its text is not fitted to a terminal
};
// Of the command of that name.
std::string_view OptionsWithoutUse(std::string_view command);

RunCommand AddUrlCommand(CommandOptions command, Session& session);
RunCommand AddReplayCommand(CommandOptions command, Session& session);
RunCommand AddExplainCommand(CommandOptions command, Session& session);
RunCommand AddExtensionCommand(CommandOptions command, Session& session);
RunCommand AddLogonCommand(CommandOptions command, Session& session);
RunCommand AddWatchCommand(CommandOptions command, Session& session);
RunCommand AddServeCommand(CommandOptions command, Session& session);
RunCommand AddPolicyCommand(CommandOptions command, Session& session);
RunCommand AddImpactCommand(CommandOptions command, Session& session);
RunCommand AddTestCommand(CommandOptions command, Session& session);
RunCommand AddReportCommand(CommandOptions command, Session& session);
RunCommand AddMessagingCommand(CommandOptions command, Session& session);
RunCommand AddCompanionsCommand(CommandOptions command, Session& session);
RunCommand AddCompletionCommand(CommandOptions command, Session& session);
RunCommand AddManCommand(CommandOptions command, Session& session);

}  // namespace tarn::host

#endif
