// What the real program does when its output cannot be written, and where the real library ends to judge.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/running_program_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

TEST(Output, AClosedPipeEndsTheRun) {
    const InstallCopy install;
    std::string urls;
    for (int i = 0; i < 200000; ++i) urls += "http://host.example/" + std::to_string(i) + "\n";
    install.Write("urls.txt", urls);
    RunningProgram program(install, {"url", "--json", "@" + install.Path("urls.txt")});
    EXPECT_EQ(program.NextLine("verdict")["type"], "verdict");
    program.CloseOutput();
    EXPECT_EQ(program.End(), 1u);
}

TEST(Output, AFullDiskIsAFailure) {
    const InstallCopy install;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"url", "http://a.example/"},
                                                      {"--help"},
                                                      {"policy"},
                                                      {"replay", CapturePath("http_curl.pcap")}}) {
        const ProgramRun run = install.RunInto(L"Z:\\dev\\full", arguments);
        EXPECT_EQ(run.exitCode, 1u) << arguments[0];
        EXPECT_THAT(run.errors, HasSubstr("the disk is full")) << arguments[0];
    }
}

// A malicious site whose every path is blocked, up to the longest address that the library takes.
TEST(Coverage, EndsWhereTheLibraryStopsToJudge) {
    const InstallCopy install;
    install.Write("tarn-policy.toml",
                  "[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"evil.example\"\n");
    const auto verdict = [&](std::size_t length) {
        std::string url = "http://evil.example/";
        url.append(length - std::string("evil.example/").size(), 'a');
        return install.Run({"url", "--json", url}).Events("verdict").at(0);
    };
    EXPECT_EQ(verdict(1023)["verdict"], "blocked");
    EXPECT_EQ(verdict(1023)["judged"], "whole");
    EXPECT_EQ(verdict(1024)["verdict"], "allowed");
    EXPECT_EQ(verdict(1024)["judged"], "none");
    EXPECT_EQ(install.Run({"url", "--json", "--server", "10.0.0.1", "http://evil.example/"})
                  .Events("verdict")
                  .at(0)["judged"],
              "part");
}

TEST(Input, AnInternationalNameIsJudgedInTheFormThatIsSent) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"url", "--json",
                                        "http://b\xc3\xbc"
                                        "cher.lantern.example/"});
    EXPECT_EQ(run.Events("verdict").at(0)["host"], "xn--bcher-kva.lantern.example");
}

TEST(Input, ACaptureAndUrlsComeOverStandardInput) {
    const InstallCopy install;
    std::ifstream file(CapturePath("http_curl.pcap"), std::ios::binary);
    RunningProgram replay(install, {"replay", "--json", "-"});
    replay.Write({std::istreambuf_iterator<char>(file), {}});
    replay.EndInput();
    EXPECT_EQ(replay.NextLine("stats")["requests"], 37);
    EXPECT_EQ(replay.End(), 0u);

    RunningProgram urls(install, {"url", "--json", "-"});
    urls.Write("http://a.example/\r\n");
    EXPECT_EQ(urls.NextLine("verdict")["host"], "a.example");  // before the next one is written
    urls.Write("http://b.example/\n");
    urls.EndInput();
    EXPECT_EQ(urls.NextLine("stats")["requests"], 2);
    EXPECT_EQ(urls.End(), 0u);
}

}  // namespace
}  // namespace tarn::host
