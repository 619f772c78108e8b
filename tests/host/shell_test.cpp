// Help, completion and the manual page: what is made from the command line knows all of it, and runs in real shells.
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>

#include "host/command_runs.h"
#include "host/fake_machine.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::string Out(std::vector<std::string> arguments) {
    FakeMachine machine;
    const Ran run = RunWith(machine, std::move(arguments));
    EXPECT_EQ(run.code, 0) << run.errors;
    return run.out;
}

// As the help of the program lists them.
std::vector<std::string> Commands() {
    const std::string help = Out({"--help"});
    std::vector<std::string> commands;
    for (const std::string& line : LinesOf(help.substr(help.find("Subcommands:")))) {
        if (line.empty()) break;
        if (line.starts_with("  ") && line[2] != ' ') commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return commands;
}

std::vector<std::string> OptionsIn(const std::string& help) {
    std::vector<std::string> options;
    for (const std::string& line : LinesOf(help)) {
        const std::size_t at = line.find("--");
        if (!line.starts_with("  -") || at == std::string::npos) continue;
        options.push_back(line.substr(at, line.find_first_of(" ,", at) - at));
    }
    return options;
}

// ---- Help ----

TEST(Help, OfEveryCommandPrintsHelpAndDoesNothingElse) {
    ASSERT_THAT(Commands(), AllOf(SizeIs(15), Contains("replay"), Contains("man")));
    for (const std::string& command : Commands())
        for (const std::vector<std::string>& arguments : {std::vector<std::string>{command, "--help"},
                                                          {command, "-h"},
                                                          {"--help", command},
                                                          {"--json", command, "--verbose", "--help"},
                                                          {command, "--help", "http://a.example/"},
                                                          {command, "--mode", "7", "--help"}}) {
            FakeMachine machine;
            const Ran run = RunWith(machine, arguments);
            EXPECT_EQ(run.code, 0) << command;
            EXPECT_THAT(run.errors, IsEmpty()) << command;
            EXPECT_THAT(run.out, AllOf(HasSubstr("Usage: tarnhost"), HasSubstr("--help")));
            EXPECT_THAT(machine.opened, IsEmpty()) << command;
        }
}

TEST(Help, EndsWithExamplesThatTheCommandLineTakes) {
    for (const std::string& command : Commands()) {
        const std::string help = Out({command, "--help"});
        const std::size_t begin = help.find("Examples:\n");
        ASSERT_NE(begin, std::string::npos) << command;
        std::size_t examples = 0;
        for (const std::string& line : LinesOf(help.substr(begin + 10))) {
            if (line.empty()) continue;
            ASSERT_EQ(line.find("  tarnhost "), 0u) << line;
            std::istringstream input(line.substr(11, line.find_first_of("<>") - 11));
            std::vector<std::string> words;
            for (std::string word; input >> word;) words.push_back(word);
            FakeMachine machine;
            EXPECT_EQ(words.at(0), command);
            const Ran run = RunWith(machine, words);
            // The fake machine has none of the files that they name.
            EXPECT_THAT(run.errors, AllOf(Not(HasSubstr("--help")), Not(HasSubstr("does nothing")))) << line;
            ++examples;
        }
        EXPECT_GT(examples, 0u) << command;
    }
}

// ---- Completion and manual ----

TEST(Completion, EveryScriptNamesEveryCommandAndOption) {
    for (const char* shell : {"bash", "zsh", "powershell"}) {
        const std::string script = Out({"completion", shell});
        for (const std::string& command : Commands()) {
            EXPECT_THAT(script, HasSubstr(command)) << shell;
            for (const std::string& option : OptionsIn(Out({command, "--help"})))
                EXPECT_THAT(script, HasSubstr(option)) << shell;
        }
        for (const std::string& option : OptionsIn(Out({"--help"}))) EXPECT_THAT(script, HasSubstr(option)) << shell;
    }
}

TEST(Completion, WantsAShellThatItKnows) {
    FakeMachine machine;
    EXPECT_EQ(RunWith(machine, {"completion"}).code, 2);
    EXPECT_EQ(RunWith(machine, {"completion", "cmd"}).code, 2);
    EXPECT_EQ(RunWith(machine, {"completion", "bash", "--json"}).code, 2);
}

TEST(Completion, IsNotFittedToATerminal) {
    FakeMachine machine;
    machine.isTerminal = true;
    machine.columns = 60;
    EXPECT_EQ(RunWith(machine, {"completion", "bash"}).out, Out({"completion", "bash"}));
    EXPECT_EQ(RunWith(machine, {"man"}).out, Out({"man"}));
}

TEST(ManPage, HasEveryCommandOptionAndExample) {
    const std::string page = Out({"man"});
    const auto escaped = [](std::string text) {
        for (std::size_t at = 0; (at = text.find('-', at)) != std::string::npos; at += 2) text.insert(at, "\\");
        return text;
    };
    for (const std::string& command : Commands()) {
        EXPECT_THAT(page, HasSubstr(".SS " + command + "\n"));
        const std::string help = Out({command, "--help"});
        for (const std::string& option : OptionsIn(help)) EXPECT_THAT(page, HasSubstr(escaped(option)));
        EXPECT_THAT(page, HasSubstr(escaped(LinesOf(help.substr(help.find("Examples:"))).at(1).substr(2))));
    }
    for (const std::string& option : OptionsIn(Out({"--help"}))) EXPECT_THAT(page, HasSubstr(escaped(option)));
}

#ifndef _WIN32
// What a program of this machine prints, its error output included.
std::string OutputOf(const std::string& line) {
    std::string out;
    std::FILE* const pipe = popen((line + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return "cannot be run";
    char buffer[4096];
    for (std::size_t count = 0; (count = std::fread(buffer, 1, sizeof buffer, pipe)) != 0;) out.append(buffer, count);
    const int status = pclose(pipe);
    return status == 0 ? out : out + "ended with " + std::to_string(status);
}

// The offers for the last of these words.
std::vector<std::string> BashOffers(const std::vector<std::string>& words) {
    const TemporaryFile script("tarnhost.bash", Out({"completion", "bash"}));
    std::string line = "COMP_WORDS=(tarnhost";
    for (const std::string& word : words) line += " '" + word + "'";
    line += "); COMP_CWORD=" + std::to_string(words.size()) + "; _tarnhost; printf '%s\\n' \"${COMPREPLY[@]}\"";
    const TemporaryFile test("test.bash",
                             "set -u\n. '" + script.Path() + "'\ncd '" + script.Folder() + "'\n" + line + "\n");
    auto offers = LinesOf(OutputOf("bash " + test.Path()));
    std::erase(offers, "");
    return offers;
}

TEST(BashCompletion, OffersCommandsOptionsAndValues) {
    EXPECT_THAT(BashOffers({""}), testing::UnorderedElementsAreArray(Commands()));
    EXPECT_THAT(BashOffers({"re"}), ElementsAre("replay", "report"));
    EXPECT_THAT(BashOffers({"--color", ""}), ElementsAre("auto", "always", "never"));
    EXPECT_THAT(BashOffers({"url", "--color", "a"}), ElementsAre("auto", "always"));
    EXPECT_THAT(BashOffers({"completion", "p"}), ElementsAre("powershell"));
    EXPECT_THAT(BashOffers({"policy", "--accounts", "m"}), ElementsAre("machine"));
    EXPECT_THAT(BashOffers({"watch", "--on"}), ElementsAre("--once"));
    EXPECT_THAT(BashOffers({"replay", "--o"}), IsEmpty());
}

TEST(BashCompletion, LeavesOutWhatDoesNothingForTheCommand) {
    EXPECT_THAT(BashOffers({"url", "--m"}), ElementsAre("--mode"));
    EXPECT_THAT(BashOffers({"replay", "--m"}), ElementsAre("--map", "--mode"));
    EXPECT_THAT(BashOffers({"policy", "--b"}), IsEmpty());
}

TEST(BashCompletion, OffersFilesForCapturesAndTakesAValueForNoCommand) {
    EXPECT_THAT(BashOffers({"replay", "tarnhost.b"}), ElementsAre("tarnhost.bash"));
    EXPECT_THAT(BashOffers({"report", "tarnhost.b"}), ElementsAre("tarnhost.bash"));
    EXPECT_THAT(BashOffers({"--keep-state", "replay", "ur"}), ElementsAre("url"));
    EXPECT_THAT(BashOffers({"url", "http"}), IsEmpty());
    EXPECT_THAT(BashOffers({"logon", ""}), Contains("--user"));
    EXPECT_THAT(BashOffers({"logon", "us"}), IsEmpty());
}

TEST(ZshCompletion, RegistersItself) {
    const TemporaryFile script("_tarnhost", Out({"completion", "zsh"}));
    EXPECT_EQ(OutputOf("zsh -n " + script.Path()), "");
    EXPECT_EQ(
        OutputOf("zsh -fc 'autoload -Uz compinit; compinit -u -D; . " + script.Path() + "; print $_comps[tarnhost]'"),
        "_tarnhost\n");
}

TEST(ManPage, IsFormattedWithoutAWarning) {
    const TemporaryFile page("tarnhost.1", Out({"man"}));
    EXPECT_EQ(OutputOf("groff -man -Tutf8 -ww -z " + page.Path()), "");
    EXPECT_THAT(OutputOf("groff -man -Tutf8 " + page.Path()), HasSubstr("tarnhost replay monday.pcapng"));
}
#endif

}  // namespace
}  // namespace tarn::host
