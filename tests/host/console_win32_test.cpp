// Ctrl+C in a console, as a person presses it: what was judged is told, and a second one ends what hangs.
#include <gmock/gmock.h>

#include "host/pseudo_console_win32.h"
#include "host/running_program_win32.h"

namespace tarn::host {
namespace {

constexpr unsigned long kInterrupted = 130;

TEST(Console, CtrlCTellsWhatWasJudgedAndEndsTheRun) {
    const InstallCopy install;
    const PseudoConsole console;
    RunningProgram program(install, {"url", "--json", "-"}, &console);
    program.Write("http://a.example/\n");
    EXPECT_EQ(program.NextLine("verdict")["host"], "a.example");
    program.PressCtrlC();
    const nlohmann::json totals = program.NextLine("stats");
    EXPECT_EQ(totals["requests"], 1);
    EXPECT_EQ(totals["stopped"], true);
    EXPECT_EQ(program.End(), kInterrupted);
}

// Nobody reads its output, so that the first one alone cannot end it.
TEST(Console, ASecondCtrlCEndsARunThatHangs) {
    constexpr int kMostPresses = 100;
    const InstallCopy install;
    std::string urls;
    for (int i = 0; i < 20000; ++i) urls += "http://host.example/" + std::to_string(i) + "\n";
    install.Write("urls.txt", urls);
    const PseudoConsole console;
    RunningProgram program(install, {"url", "--json", "@" + install.Path("urls.txt")}, &console);
    EXPECT_EQ(program.NextLine("verdict")["type"], "verdict");
    int presses = 0;
    do {
        program.PressCtrlC();
    } while (++presses < kMostPresses && !program.EndsWithin(100));
    EXPECT_GT(presses, 1);
    EXPECT_LT(presses, kMostPresses);
    EXPECT_EQ(program.End(), kInterrupted);
}

}  // namespace
}  // namespace tarn::host
