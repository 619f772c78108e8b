// tarnhost watch: what happens between two scans when the policy changes, goes bad, is missing, and at Ctrl+C.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/fake_machine.h"
#include "host/file_bytes.h"
#include "host/policy_follower.h"
#include "host/temporary_file.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* kBefore = "[features]\nanti_phishing = true\n";
constexpr const char* kAfter = "[features]\nanti_phishing = false\n";
constexpr const char* kMistaken = "[features]\nanti_phishing = 1\n";

std::string Capture(const std::string& name) {
    return CaptureFileOf(name);
}

class WatchCommand : public testing::Test {
 protected:
    WatchCommand() { machine_.installFolder = policy_.Folder() + "/"; }
    Ran Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "watch");
        return RunWith(machine_, std::move(arguments));
    }
    void Then(
        Signal signal, std::function<void()> before = [] {}) {
        machine_.steps.push_back({signal, "", std::move(before)});
    }
    void ThenPolicy(const char* text) {
        Then(Signal::kChanged, [this, text] { policy_.Write(text); });
    }
    void ThenInput(std::string bytes) {
        machine_.steps.push_back({Signal::kInput, std::move(bytes), [] {}});
    }

    FakeMachine machine_;
    std::ostringstream out_;
    TemporaryFile policy_{"tarn-policy.toml", kBefore};
};

TEST_F(WatchCommand, TellsTheLibraryAndPeopleWhatChanged) {
    ThenPolicy(kAfter);
    const Ran run = Run({});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
    EXPECT_THAT(run.out, HasSubstr("tarn-policy.toml has changed\n  features.anti_phishing: false, was true\n"
                                   "  WSSettingsChanged(0) taken over\n"));
    EXPECT_EQ(run.errors, "");
}

// Only what the new policy brings along.
TEST_F(WatchCommand, WarnsOfWhatTheNewPolicySurelyDoesNotMean) {
    policy_.Write("[features]\nanti_phishing = true\n[white_lists]\nuser = [\"http://a.example\"]\n");
    ThenPolicy(
        "[features]\nanti_phishing = true\n[white_lists]\nuser = [\"http://a.example\",\n\"b\u00fccher.example\"]\n");
    const std::string out = Run({}).out;
    EXPECT_THAT(out,
                HasSubstr("  tarn-policy.toml:5: warning: white_lists.user \"b\u00fccher.example\" can never match"));
    EXPECT_THAT(out, HasSubstr("write \"xn--bcher-kva.example\"\n"));
    EXPECT_THAT(out, Not(HasSubstr("a.example\" can never")));
}

TEST_F(WatchCommand, JsonHasAnEventForEachNewWarning) {
    ThenPolicy("[features]\nanti_phishing = false\n[white_lists]\nuser = [\"http://a.example\"]\n");
    const auto lines = JsonLines(Run({"--json"}).out);
    ASSERT_THAT(lines, SizeIs(Gt(2U)));
    EXPECT_EQ(lines[1]["event"], "changed");
    EXPECT_EQ(lines[2]["type"], "policy");
    EXPECT_EQ(lines[2]["event"], "warning");
    EXPECT_EQ(lines[2]["line"], 4);
}

// A running server read the table when it started.
TEST_F(WatchCommand, JsonMarksWhatCountsAtRestart) {
    ThenPolicy("[features]\nanti_phishing = false\n[serve]\nunknown = \"refuse\"\n");
    const auto lines = JsonLines(Run({"--json"}).out);
    ASSERT_THAT(lines, SizeIs(Gt(1U)));
    ASSERT_THAT(lines[1]["changes"], SizeIs(2));
    EXPECT_FALSE(lines[1]["changes"][0].contains("at_restart"));
    EXPECT_EQ(lines[1]["changes"][1]["at_restart"], true);
}

// As the option names it, in every line.
TEST_F(WatchCommand, NamesThePolicyThatItFollows) {
    const TemporaryFile other("pv.toml",
                              "[features]\nbrowsing_protection = true\n"
                              "[[malicious_sites]]\nhost = \"evil.example\"\n");
    const auto write = [&](const char* text) { Then(Signal::kChanged, [&other, text] { other.Write(text); }); };
    write("[features]\nbrowsing_protection = 1\n");
    write("[features]\nbrowsing_protection = false\n[white_lists]\nuser = [\"http://a.example\"]\n");
    const Ran run = Run({"--policy", other.Path()});
    EXPECT_THAT(run.out, AllOf(HasSubstr("pv.toml has 1 mistake"), HasSubstr("\n  pv.toml:2:23: "),
                               HasSubstr("pv.toml has changed"), HasSubstr("  pv.toml:4: warning: "),
                               Not(HasSubstr("tarn-policy.toml"))));
    other.Write("[features]\nbrowsing_protection = 1\n");
    EXPECT_THAT(Run({"--policy", other.Path()}).errors,
                AllOf(HasSubstr("  pv.toml:2:23: "), Not(HasSubstr("tarn-policy.toml"))));
}

TEST_F(WatchCommand, AnEntryThatDecidesNamesThePolicyThatItFollows) {
    const TemporaryFile other("pv.toml",
                              "[features]\nbrowsing_protection = true\n"
                              "[[malicious_sites]]\nhost = \"evil.example\"\n");
    const auto follow = [&](const std::string& path) {
        PolicyFollower follower(path, {}, {}, out_, false);
        std::string mistake;
        EXPECT_TRUE(follower.Begin(mistake)) << mistake;
        return follower.Used()->files.at(0);
    };
    EXPECT_EQ(follow(other.Path()), "pv.toml");
}

TEST_F(WatchCommand, ANoticeThatTheLibraryRefusesIsSaid) {
    machine_.told.takesNotices = false;
    ThenPolicy(kAfter);
    EXPECT_THAT(Run({}).out, HasSubstr("WSSettingsChanged(0) FAILED"));
}

TEST_F(WatchCommand, APolicyWithAMistakeKeepsTheOldOneAndIsNamedOnce) {
    ThenPolicy(kMistaken);
    ThenPolicy(kMistaken);
    ThenPolicy(kAfter);
    const auto lines = JsonLines(Run({"--json"}).out);
    ASSERT_THAT(lines, SizeIs(5));
    EXPECT_EQ(lines[0]["event"], "used");
    EXPECT_EQ(lines[1]["event"], "mistake");
    EXPECT_EQ(lines[1]["line"], 2);
    EXPECT_EQ(lines[1]["column"], 17);
    EXPECT_EQ(lines[2]["event"], "kept");
    EXPECT_EQ(lines[2]["why"], "mistakes");
    EXPECT_EQ(lines[3]["event"], "changed");
    EXPECT_EQ(lines[3]["changes"][0]["before"], "true");  // of the policy that is in use
    EXPECT_EQ(lines[4]["type"], "stats");
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
}

TEST_F(WatchCommand, ThePolicyThatComesBackAfterAMistakeNeedsNoNotice) {
    ThenPolicy(kMistaken);
    ThenPolicy(kBefore);
    EXPECT_THAT(Run({}).out, HasSubstr("has changed, but says the same"));
    EXPECT_THAT(machine_.told.notices, IsEmpty());
}

TEST_F(WatchCommand, AMissingPolicyKeepsTheOldOne) {
    Then(Signal::kChanged, [this] { std::filesystem::remove(policy_.Path()); });
    EXPECT_THAT(Run({}).out, HasSubstr("cannot be read; what was read before stays"));
    EXPECT_THAT(machine_.told.notices, IsEmpty());
}

TEST_F(WatchCommand, AFileThatIsStillBeingWrittenIsNotTakenOver) {
    ThenPolicy("");
    machine_.duringPauses = {[this] { policy_.Write("[features]\n"); }, [this] { policy_.Write(kAfter); }};
    const Ran run = Run({});
    EXPECT_THAT(run.out, HasSubstr("has changed\n  features.anti_phishing: false, was true\n"));
    EXPECT_THAT(run.out, Not(HasSubstr("sets nothing")));
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
}

TEST_F(WatchCommand, AFileThatIsReplacedIsNotMissing) {
    Then(Signal::kChanged, [this] { std::filesystem::remove(policy_.Path()); });
    machine_.duringPauses = {[this] { policy_.Write(kAfter); }};
    EXPECT_THAT(Run({}).out, Not(HasSubstr("cannot be read")));
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
}

TEST_F(WatchCommand, AFileThatNeverRestsKeepsTheOldOneUntilItDoes) {
    ThenPolicy("[features]\n");
    for (int i = 0; i < 10; ++i)
        machine_.duringPauses.push_back([this, i] { policy_.Write(kAfter + std::string(i, '#')); });
    Then(Signal::kChanged);
    const auto lines = JsonLines(Run({"--json"}).out);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[1]["event"], "kept");
    EXPECT_EQ(lines[1]["why"], "being_written");
    EXPECT_EQ(lines[2]["event"], "changed");
}

TEST_F(WatchCommand, AFileThatLostEverythingKeepsTheOldOneHoweverOftenItIsSaved) {
    ThenPolicy("");
    ThenPolicy("# cut\n");
    ThenPolicy("[ids]\nalert = 1\n");
    ThenPolicy(kAfter);
    const auto lines = JsonLines(Run({"--json"}).out);
    ASSERT_THAT(lines, SizeIs(6));
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_EQ(lines[i]["event"], "kept");
        EXPECT_EQ(lines[i]["why"], "lost_everything");
    }
    EXPECT_EQ(lines[4]["event"], "changed");
    EXPECT_EQ(lines[4]["changes"].size(), 1U);
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
}

TEST_F(WatchCommand, AFileThatLostEverythingIsSaid) {
    ThenPolicy("");
    EXPECT_THAT(Run({}).out, HasSubstr("tarn-policy.toml sets nothing of what it set before"));
    EXPECT_THAT(machine_.told.notices, IsEmpty());
}

TEST_F(WatchCommand, OtherFilesOfTheFolderAreNoChange) {
    Then(Signal::kChanged);
    EXPECT_THAT(Run({}).out, Not(HasSubstr("changed")));
}

TEST_F(WatchCommand, NeedsAPolicyWithoutMistakesToBegin) {
    policy_.Write(kMistaken);
    const Ran mistaken = Run({});
    EXPECT_EQ(mistaken.code, 1);
    EXPECT_THAT(mistaken.errors, AllOf(HasSubstr("1 mistake"), HasSubstr("tarn-policy.toml:2:17")));
    std::filesystem::remove(policy_.Path());
    const Ran missing = Run({});
    EXPECT_EQ(missing.code, 1);
    EXPECT_THAT(missing.errors, HasSubstr("and watch follows the policy; name it: --policy FILE"));
    EXPECT_THAT(machine_.opened, IsEmpty());
}

TEST_F(WatchCommand, JudgesFilesAgainAfterAChangeAndOnceWithOnce) {
    const std::string capture = Capture("http_curl.pcap");
    ASSERT_EQ(Run({"--once", capture}).code, 0);
    const std::size_t once = machine_.told.scanned.size();
    ASSERT_THAT(once, Gt(0u));
    machine_.told.scanned.clear();
    // While the file is fed nothing happens; the change comes after its end.
    const std::size_t looks = Whole(capture).size() / 4096 + 2;  // one for each piece of the file and one for its end
    for (std::size_t i = 0; i < looks; ++i) Then(Signal::kNone);
    ThenPolicy(kAfter);
    EXPECT_EQ(Run({capture}).code, 0);
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
    EXPECT_EQ(machine_.told.scanned.size(), 2 * once);
}

TEST_F(WatchCommand, StandardInputIsJudgedAsItComesAndEndsIt) {
    const std::string capture = Whole(Capture("http_curl.pcap"));
    const std::size_t half = capture.size() / 2;
    ThenInput(capture.substr(0, half));
    ThenPolicy(kAfter);
    ThenInput(capture.substr(half));
    ThenInput("");
    const Ran run = Run({"-", "--json"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(machine_.told.notices, ElementsAre("kind 0"));
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(Gt(3u)));
    EXPECT_EQ(lines.back()["type"], "stats");
    const std::size_t told = run.out.find("\"changed\"");
    EXPECT_LT(run.out.find("\"verdict\""), told);    // before the change
    EXPECT_GT(run.out.rfind("\"verdict\","), told);  // and behind it
}

TEST_F(WatchCommand, CtrlCInsideACaptureIsNoBadCapture) {
    ThenInput(Whole(Capture("http_curl.pcap")).substr(0, 5000));
    Then(Signal::kStop);
    const Ran run = Run({"-"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.errors, "");
}

TEST_F(WatchCommand, CtrlCInsideAFileSaysWhereAndThatNotAllWasJudged) {
    for (const bool isOnce : {false, true}) {
        Then(Signal::kNone);
        Then(Signal::kStop);
        std::vector<std::string> arguments{"--json", Capture("http_curl.pcap"), Capture("mixed_small.pcap")};
        if (isOnce) arguments.insert(arguments.begin(), "--once");
        const Ran run = Run(arguments);
        EXPECT_EQ(run.code, 130);
        EXPECT_THAT(run.errors, HasSubstr("stopped at http_curl.pcap"));
        EXPECT_EQ(JsonLines(run.out).back()["stopped"], true);
    }
}

TEST_F(WatchCommand, CtrlCBetweenTwoFilesNamesTheOneThatIsNotBegun) {
    const std::size_t looks = Whole(Capture("http_curl.pcap")).size() / 4096 + 1;  // one for each piece of the file
    for (std::size_t i = 0; i < looks; ++i) Then(Signal::kNone);
    Then(Signal::kStop);  // all of it has been read
    const Ran run = Run({"--json", Capture("http_curl.pcap"), Capture("mixed_small.pcap")});
    EXPECT_EQ(run.code, 130);
    EXPECT_THAT(run.errors, HasSubstr("stopped at mixed_small.pcap"));
}

TEST_F(WatchCommand, CtrlCWhileAllIsJudgedStopsNothing) {
    const std::size_t looks = Whole(Capture("http_curl.pcap")).size() / 4096 + 1;
    for (std::size_t i = 0; i < looks; ++i) Then(Signal::kNone);
    Then(Signal::kStop);
    const Ran run = Run({"--json", Capture("http_curl.pcap")});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(JsonLines(run.out).back()["stopped"], false);
}

TEST_F(WatchCommand, AStreamThatIsCutOffIsABadOne) {
    ThenInput(Whole(Capture("http_curl.pcap")).substr(0, 5000));
    ThenInput("");
    const Ran run = Run({"-"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("standard input: the file is cut off"));
}

TEST_F(WatchCommand, NamesBadArguments) {
    const Ran missing = Run({"--once", "nowhere.pcap"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_THAT(missing.errors, HasSubstr("nowhere.pcap: cannot be opened"));
    EXPECT_EQ(Run({"--map", "here=there"}).code, 2);
}

TEST(ExtensionCommand, ReportsWholeUrlsByTheirScheme) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Malicious("Worm", "shop.example/x");
    const Ran run = RunWith(machine, {"extension", "https://shop.example/x", "HTTP://shop.example/"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(machine.told.reportedUrls,
                ElementsAre(std::pair(std::uint8_t{TARN_KIND_TLS}, std::string("https://shop.example/x")),
                            std::pair(std::uint8_t{TARN_KIND_HTTP}, std::string("HTTP://shop.example/"))));
    EXPECT_THAT(run.out, AllOf(HasSubstr("https://shop.example/x"), HasSubstr("BLOCKED"), HasSubstr("malicious site"),
                               HasSubstr("Worm: shop.example/x"),
                               EndsWith("\n2 addresses: 0 allowed, 2 blocked\n      2   2 malicious site\n")));
}

TEST(ExtensionCommand, CountsWhatWasNotJudgedAndWhatAListLetPass) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Allowed();
    const TemporaryFile policy("policy.toml",
                               "[parental]\nmode = 1\n[[parental.users]]\n[[parental.users.allowed_sites]]\n"
                               "host = \"shop.example\"\npath = \"\"\nkind = 1\nsubdomains = true\n");
    const std::vector<std::string> addresses{"https://shop.example/x", "http://a.example/", "https://b.example/"};
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--policy", policy.Path()});
        arguments.insert(arguments.end(), addresses.begin(), addresses.end());
        return RunWith(machine, arguments).out;
    };
    EXPECT_THAT(run({"extension"}),
                AllOf(HasSubstr("26 let pass by a list"), HasSubstr("parental.users.allowed_sites\n"),
                      EndsWith("\n3 addresses: 3 allowed, 0 blocked\n"
                               "      3  26 no rule decided, 1 of them not judged, 1 of them let pass by a list\n")));
    EXPECT_THAT(run({"--verbose", "extension"}), HasSubstr("parental.users.allowed_sites  (policy.toml:4)\n"));
}

TEST(ExtensionCommand, GivesTheSameToPrograms) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Malicious("Worm", "shop.example/x");
    const auto lines = JsonLines(RunWith(machine, {"extension", "--json", "https://shop.example/x"}).out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["url"], "https://shop.example/x");
    EXPECT_EQ(lines[0]["verdict"], "blocked");
    EXPECT_EQ(lines[0]["reason"], 2);
    EXPECT_EQ(lines[1]["type"], "stats");
    EXPECT_EQ(lines[1]["blocked"], 1);
}

TEST(ExtensionCommand, AScanThatFailsHasNoVerdict) {
    FakeMachine machine;
    machine.told.answer = {};
    EXPECT_THAT(RunWith(machine, {"extension", "https://shop.example/"}).out,
                AllOf(HasSubstr("no verdict  not judged: the library could not judge it"),
                      EndsWith("\n1 address: 0 allowed, 0 blocked, 1 without a verdict\n")));
}

TEST(ExtensionCommand, WhatNoBrowserReportsIsAMistakeOfUse) {
    FakeMachine machine;
    for (const char* url : {"shop.example", "ftp://shop.example/", "javascript:alert(1)"}) {
        const Ran run = RunWith(machine, {"extension", url});
        EXPECT_EQ(run.code, 2) << url;
        EXPECT_THAT(run.errors, HasSubstr("cannot be judged")) << url;
    }
    EXPECT_THAT(machine.told.reportedUrls, IsEmpty());
}

}  // namespace
}  // namespace tarn::host
