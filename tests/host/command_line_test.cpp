// What tarnhost says to commands, options and addresses that are wrong, and with which exit code.
#include "host/command_line.h"

#include <algorithm>
#include <gmock/gmock.h>

#include "host/command_runs.h"
#include "host/fake_environment.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

TEST(CommandLine, HelpNamesEveryCommandAndItsOwnOptions) {
    FakeEnvironment environment;
    const Ran help = RunWith(environment, {"--help"});
    EXPECT_EQ(help.code, kCodeOk);
    EXPECT_THAT(help.out, AllOf(HasSubstr("url"), HasSubstr("replay"), HasSubstr("policy"), HasSubstr("--json")));
    EXPECT_THAT(help.errors, IsEmpty());
    const Ran replay = RunWith(environment, {"replay", "--help"});
    EXPECT_EQ(replay.code, kCodeOk);
    EXPECT_THAT(replay.out, AllOf(HasSubstr("CAPTURE"), HasSubstr("pcapng")));
    EXPECT_THAT(environment.opened, IsEmpty());
}

TEST(CommandLine, VersionIsPrinted) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"--version"});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.out, StartsWith("tarnhost "));
}

struct WrongUse {
    std::vector<std::string> arguments;
    const char* message;
};

class CommandLineMistakes : public testing::TestWithParam<WrongUse> {};

TEST_P(CommandLineMistakes, AreNamedAndEndWithTheUsageCode) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, GetParam().arguments);
    EXPECT_EQ(run.code, kCodeUsage);
    EXPECT_THAT(run.errors, HasSubstr(GetParam().message));
    const auto& arguments = GetParam().arguments;
    if (std::find(arguments.begin(), arguments.end(), "--json") == arguments.end()) {
        EXPECT_THAT(run.out, IsEmpty());
    } else {
        const auto lines = JsonLines(run.out);
        ASSERT_THAT(lines, SizeIs(1));
        EXPECT_EQ(lines[0]["type"], "error");
    }
    EXPECT_THAT(environment.library.scanned, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    All, CommandLineMistakes,
    testing::Values(WrongUse{{}, "subcommand is required"}, WrongUse{{"judge"}, "there is no command \"judge\""},
                    WrongUse{{"--json", "judge", "http://a.example/"}, "there is no command \"judge\""},
                    WrongUse{{"url", "--loud", "http://a.example/"}, "--loud"},
                    WrongUse{{"--loud", "url", "http://a.example/"}, "--loud"}, WrongUse{{"url"}, "URL is required"},
                    WrongUse{{"replay"}, "CAPTURE is required"},
                    WrongUse{{"url", "--mode", "2", "http://a.example/"}, "--mode"},
                    WrongUse{{"url", "--mode"}, "--mode"}, WrongUse{{"url", "--install-folder"}, "--install-folder"},
                    WrongUse{{"policy", "one.toml", "two.toml"}, "two.toml"},
                    WrongUse{{"replay", "--map", "10.0.0.1", "a.pcap"}, "two addresses"},
                    WrongUse{{"replay", "--map", "10.0.0.1=", "a.pcap"}, "--map 10.0.0.1="},
                    WrongUse{{"replay", "--map", "10.0.0.1=10.0.0.256", "a.pcap"}, "10.0.0.256"},
                    WrongUse{{"replay", "--map", "a=b=c", "a.pcap"}, "a=b=c"},
                    WrongUse{{"url", "gopher://a.example/"}, "gopher"},
                    WrongUse{{"url", "http://"}, "cannot be judged"},
                    WrongUse{{"url", "mailto:me@a.example"}, "its scheme is \"mailto\""},
                    WrongUse{{"url", "--server", "a.example", "http://a.example/"}, "--server a.example"},
                    WrongUse{{"url", "--map", "10.0.0.1=192.0.2.1", "http://a.example/"}, "--map does nothing for url"},
                    WrongUse{{"extension", "--brief", "https://a.example/"}, "--brief does nothing for extension"},
                    WrongUse{{"logon", "--map", "a=b"}, "--map does nothing for logon"},
                    WrongUse{{"watch", "--at", "now", "a.pcap"}, "--at does nothing for watch"},
                    WrongUse{{"policy", "--mode", "0"}, "--mode does nothing for policy"},
                    WrongUse{{"replay", "--map", "10.0.0.1=192.0.2.1", "--map", "10.0.0.1=192.0.2.2", "a.pcap"},
                             "--map 10.0.0.1=192.0.2.2: this address has been replaced"},
                    WrongUse{{"url", "http://a.example:99999/"}, "cannot be judged"}));

TEST(CommandLine, TheHelpShowsWhatAnOptionTakesAndNothingElseIsTaken) {
    const struct {
        const char* command;  // none for an option of the program
        const char* shown;
        const char* wrong;
    } cases[] = {
        {"", "--columns UINT:UINT in [0 - 10000]", "10001"},  {"", "--mode UINT:INT in [0 - 1]", "-1"},
        {"", "--color TEXT:{auto,always,never}", "red"},      {"impact", "--samples UINT:INT in [0 - 1000]", "1001"},
        {"logon", "--ticks UINT:UINT in [0 - 1440]", "1441"}, {"companions", "--seconds UINT:UINT in [10 - 600]", "9"},
        {"policy", "--accounts TEXT:{machine,any}", "all"}};
    for (const auto& [command, shown, wrong] : cases) {
        SCOPED_TRACE(shown);
        FakeEnvironment environment;
        const bool isShared = *command == '\0';
        const std::vector<std::string> help =
            isShared ? std::vector<std::string>{"--help"} : std::vector<std::string>{command, "--help"};
        EXPECT_THAT(RunWith(environment, help).out, HasSubstr(std::string("\n  ") + shown));
        const std::string option(shown, std::string_view(shown).find(' '));
        const Ran run = RunWith(environment, {isShared ? "url" : command, option, wrong});
        EXPECT_EQ(run.code, kCodeUsage);
        EXPECT_THAT(run.errors, AllOf(StartsWith(option + ": "), HasSubstr(wrong)));
    }
}

TEST(CommandLine, AWrongUrlIsNamedAndTheOthersAreJudged) {
    for (const char* command : {"url", "extension"}) {
        FakeEnvironment environment;
        const Ran run = RunWith(
            environment, {command, "http://a.example/", "gopher://" + std::string(5000, 'x'), "http://b.example/"});
        EXPECT_EQ(run.code, kCodeFailed);
        EXPECT_THAT(run.errors, AllOf(HasSubstr("\"gopher://xxx"), HasSubstr("cannot be judged")));
        EXPECT_LT(run.errors.size(), 250u);
        EXPECT_THAT(run.out, AllOf(HasSubstr("a.example"), HasSubstr("b.example")));
    }
}

TEST(CommandLine, UrlsThatAreAllWrongAreWrongUse) {
    FakeEnvironment environment;
    EXPECT_EQ(RunWith(environment, {"url", "http://:80/", "mailto:me@a.example"}).code, kCodeUsage);
    EXPECT_THAT(environment.opened, IsEmpty());
}

TEST(CommandLine, ALibraryThatDoesNotOpenIsAFailure) {
    FakeEnvironment environment;
    environment.whyNot = "the folder lacks setrd.dll";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"url", "http://a.example/"}, {"replay", "a.pcap"}}) {
        const Ran run = RunWith(environment, arguments);
        EXPECT_EQ(run.code, kCodeFailed);
        EXPECT_EQ(run.errors, "tarnhost: the folder lacks setrd.dll\n");
        EXPECT_THAT(run.out, IsEmpty());
    }
}

TEST(CommandLine, OptionsOfTheLibraryReachIt) {
    FakeEnvironment environment;
    RunWith(environment, {"url", "http://a.example/"});
    RunWith(environment, {"--mode", "0", "url", "--install-folder", "C:\\suite", "--verbose", "http://a.example/"});
    ASSERT_THAT(environment.opened, SizeIs(2));
    EXPECT_EQ(environment.opened[0].mode, 1);
    EXPECT_EQ(environment.opened[0].installFolder, "");
    EXPECT_EQ(environment.opened[1].mode, 0);
    EXPECT_EQ(environment.opened[1].installFolder, "C:\\suite");
    EXPECT_TRUE(environment.opened[1].verbose);
}

// "/captures/one.pcap" is a file, not an option as Windows programs know them.
TEST(CommandLine, AnArgumentThatBeginsWithASlashIsNoOption) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "/no/such/capture.pcap"});
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.errors, HasSubstr("/no/such/capture.pcap: cannot be opened"));
}

// ---- What is judged and printed ----

TEST(UrlCommand, JudgesHttpByItsRequestAndHttpsByItsHello) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"url", "http://a.example:8080/x?y", "https://b.example/secret"});
    EXPECT_EQ(run.code, kCodeOk);
    ASSERT_THAT(environment.library.scanned, SizeIs(2));
    const ScannedUrl& http = environment.library.scanned[0];
    EXPECT_EQ(http.kind, TARN_KIND_HTTP);
    EXPECT_EQ(http.server.port, 8080);
    EXPECT_THAT(http.data, StartsWith("GET /x?y HTTP/1.1\r\nHost: a.example:8080\r\n"));
    const ScannedUrl& https = environment.library.scanned[1];
    EXPECT_EQ(https.kind, TARN_KIND_TLS);
    EXPECT_EQ(https.server.port, 443);
    EXPECT_THAT(https.data, AllOf(HasSubstr("b.example"), testing::Not(HasSubstr("secret"))));
    EXPECT_THAT(run.out, HasSubstr("2 requests: 2 allowed, 0 blocked"));
}

TEST(UrlCommand, TakesAnAddressForTheHostsOfUrlsThatNameNone) {
    FakeEnvironment environment;
    EXPECT_EQ(RunWith(environment, {"url", "--server", "198.51.100.7", "a.example", "http://192.0.2.9/"}).code,
              kCodeOk);
    ASSERT_THAT(environment.library.scanned, SizeIs(2));
    EXPECT_EQ(FormatIpAddress(environment.library.scanned[0].server.address), "198.51.100.7");
    EXPECT_EQ(FormatIpAddress(environment.library.scanned[1].server.address), "192.0.2.9");
}

TEST(UrlCommand, AsksForAnInternationalHostInItsSentForm) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"url",
                                          "http://b\xc3\xbc"
                                          "cher.example/\xc3\xbc",
                                          "http://\xc3\xbc.example/"});
    EXPECT_EQ(run.code, kCodeFailed);
    ASSERT_THAT(environment.library.scanned, SizeIs(1));
    EXPECT_THAT(environment.library.scanned[0].data,
                StartsWith("GET /%C3%BC HTTP/1.1\r\nHost: xn--bcher-kva.example\r\n"));
    EXPECT_THAT(run.errors, HasSubstr("international name"));
}

TEST(UrlCommand, AHostWithAPortIsNoScheme) {
    FakeEnvironment environment;
    EXPECT_EQ(RunWith(environment, {"url", "localhost:8080", "a.example:81/x", "localhost:8080/x?y"}).code, kCodeOk);
    EXPECT_THAT(environment.library.scanned, SizeIs(3));
}

// As a browser would, and so that nobody smuggles a header in.
TEST(UrlCommand, EscapesALineBreakInAUrl) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"url", "http://a.example/\r\nHost: b.example"});
    EXPECT_EQ(run.code, kCodeOk);
    ASSERT_THAT(environment.library.scanned, SizeIs(1));
    EXPECT_THAT(environment.library.scanned[0].data, StartsWith("GET /%0D%0AHost:%20b.example HTTP/1.1\r\n"));
}

TEST(UrlCommand, PrintsReasonAndRule) {
    FakeEnvironment environment;
    environment.library.answer = FakeLibrary::Malicious("Trojan.X", "a.example/x");
    const Ran run = RunWith(environment, {"url", "http://a.example/x"});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.out, HasSubstr("BLOCKED      2 malicious site"));
    EXPECT_THAT(run.out, HasSubstr("Trojan.X: a.example/x\n"));
    EXPECT_THAT(run.out, HasSubstr("1 request: 0 allowed, 1 blocked"));
}

TEST(UrlCommand, SaysWhenThereIsNoVerdict) {
    FakeEnvironment environment;
    environment.library.answer.isValid = false;
    const Ran run = RunWith(environment, {"url", "http://a.example/x"});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.out, HasSubstr("no verdict"));
    EXPECT_THAT(run.out, HasSubstr("1 without a verdict"));
}

// Text of the wire or of a module reaches neither the terminal nor a reader of JSON raw.
TEST(UrlCommand, HostileTextIsMadeHarmless) {
    FakeEnvironment environment;
    environment.library.answer = FakeLibrary::Malicious("\x1b[2J\xff\"", "a.example/\n\xc3\xa4\x01");
    const Ran text = RunWith(environment, {"url", "http://a.example/x"});
    EXPECT_THAT(text.out, HasSubstr("\\x1b[2J\\xff\": a.example/\\x0a\xc3\xa4\\x01\n"));
    const Ran run = RunWith(environment, {"url", "--json", "http://a.example/x"});
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["rule_text"], "\x1b[2J\xef\xbf\xbd\": a.example/\n\xc3\xa4\x01");
}

TEST(UrlCommand, JsonHasOneObjectPerVerdictAndOneWithTotals) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"url", "--json", "http://a.example/", "https://b.example/"});
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["type"], "verdict");
    EXPECT_EQ(lines[0]["protocol"], "http");
    EXPECT_EQ(lines[0]["host"], "a.example");
    EXPECT_EQ(lines[0]["reason"], 26);
    EXPECT_EQ(lines[1]["protocol"], "tls");
    EXPECT_EQ(lines[2]["type"], "stats");
    EXPECT_EQ(lines[2]["requests"], 2);
    EXPECT_EQ(lines[2]["by_reason"]["26"], 2);
}

TEST(UrlCommand, ColoursOnlyOnATerminal) {
    FakeEnvironment environment;
    EXPECT_THAT(RunWith(environment, {"url", "http://a.example/"}).out, testing::Not(HasSubstr("\x1b[")));
    environment.isTerminal = true;
    EXPECT_THAT(RunWith(environment, {"url", "http://a.example/"}).out, HasSubstr("\x1b[32mallowed"));
    EXPECT_THAT(RunWith(environment, {"url", "--json", "http://a.example/"}).out, testing::Not(HasSubstr("\x1b[")));
}

}  // namespace
}  // namespace tarn::host
