// tarnhost test: what goes to the library for each kind of case, and how the run ends.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/command_runs.h"
#include "host/fake_machine.h"
#include "host/temporary_file.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// With its drive, where there are drives.
const std::string kWholeCurl = std::filesystem::absolute(CaptureFileOf("http_curl.pcap")).generic_string();

Ran RunCases(FakeMachine& machine, const std::string& cases, std::vector<std::string> options = {}) {
    const TemporaryFile file("cases.toml", cases);
    options.insert(options.begin(), "test");
    options.push_back(file.Path());
    return RunWith(machine, options);
}

TEST(TestCommand, SaysLittleWhenAllIsAsExpected) {
    FakeMachine machine;
    const Ran run =
        RunCases(machine, "[[case]]\nurl = \"http://a.example/x\"\nserver = \"192.0.2.7\"\nexpect = \"allowed\"\n");
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_EQ(run.out, "1 case: 1 as expected, 0 different\n");
    EXPECT_THAT(run.errors, IsEmpty());
    ASSERT_THAT(machine.told.scanned, SizeIs(1));
    EXPECT_EQ(FormatIpAddress(machine.told.scanned[0].server.address), "192.0.2.7");
    const Ran verbose =
        RunCases(machine, "[[case]]\nname = \"mine\"\nurl = \"a.example\"\nreason = 26\n", {"--verbose"});
    EXPECT_THAT(verbose.out, HasSubstr("ok         mine  (cases.toml:1)"));
}

TEST(TestCommand, ShowsADifferenceSideBySide) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Malicious("Worm", "a.example");
    const Ran run =
        RunCases(machine, "[[case]]\nname = \"mine\"\nurl = \"a.example\"\nexpect = \"allowed\"\nreason = 26\n");
    EXPECT_EQ(run.code, kCodeFound);
    EXPECT_THAT(run.out, AllOf(HasSubstr("DIFFERENT  mine  (cases.toml:1)\n"), HasSubstr("! verdict allowed"),
                               HasSubstr("| blocked\n"), HasSubstr("2 malicious site"), HasSubstr("Worm: a.example"),
                               HasSubstr("1 case: 0 as expected, 1 different\n")));
}

TEST(TestCommand, NamesTheEntryThatDecided) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Malicious("Worm", "bad.example");
    const TemporaryFile policy(
        "p.toml",
        "features.browsing_protection = true\n[[malicious_sites]]\nhost = \"bad.example\"\nthreat = \"Worm\"\n");
    const auto test = [&](const std::string& entry) {
        return RunCases(machine, "[[case]]\nurl = \"http://bad.example/\"\nentry = \"" + entry + "\"\n",
                        {"--policy", policy.Path()});
    };
    for (const char* entry : {"p.toml:2", "malicious_sites", "bad.example", "malicious_sites/bad.example"})
        EXPECT_EQ(test(entry).code, kCodeOk) << entry;
    const Ran other = test("p.toml:3");
    EXPECT_EQ(other.code, kCodeFound);
    EXPECT_THAT(other.out, HasSubstr("! entry p.toml:3"));
    EXPECT_THAT(other.out, HasSubstr("| p.toml:2 malicious_sites"));
}

TEST(TestCommand, GivesEachCaseALibraryOfItsOwnUnlessTogether) {
    FakeMachine machine;
    const std::string cases =
        "[[case]]\nurl = \"a.example\"\nexpect = \"allowed\"\nat = \"21:30\"\n[[case]]\nurl = \"b.example\"\nexpect = "
        "\"allowed\"\n";
    EXPECT_EQ(RunCases(machine, cases).code, kCodeOk);
    ASSERT_THAT(machine.opened, SizeIs(2));
    ASSERT_TRUE(machine.opened[0].clock && machine.opened[1].clock);
    EXPECT_EQ(+machine.opened[0].clock->hour, 21);
    EXPECT_EQ(+machine.opened[1].clock->hour, 14);  // the machine's
    machine.opened.clear();
    EXPECT_EQ(RunCases(machine, "together = true\n" + cases).code, kCodeOk);
    EXPECT_THAT(machine.opened, SizeIs(1));
    EXPECT_THAT(machine.told.clock, ElementsAre("2026-05-16 14:30"));
    EXPECT_THAT(machine.told.notices, SizeIs(1));
}

TEST(TestCommand, TakesNoOtherAccountForTheOneThatAsks) {
    FakeMachine machine;
    machine.accounts["me"] = machine.accounts[""];
    EXPECT_EQ(RunCases(machine, "[[case]]\nurl = \"a\"\naccount = \"me\"\nexpect = \"allowed\"\n").code, kCodeOk);
    const Ran other = RunCases(machine, "[[case]]\nurl = \"a\"\naccount = \"anna\"\nexpect = \"allowed\"\n");
    EXPECT_EQ(other.code, kCodeFailed);
    EXPECT_THAT(other.out, AllOf(HasSubstr("FAILED"), HasSubstr("run tarnhost as \"anna\""),
                                 HasSubstr("0 as expected, 0 different, 1 could not be asked")));
    const Ran nobody = RunCases(machine, "[[case]]\nurl = \"a\"\naccount = \"nobody\"\nexpect = \"allowed\"\n");
    EXPECT_EQ(nobody.code, kCodeFailed);
    EXPECT_THAT(nobody.out, HasSubstr("no user account \"nobody\""));
}

TEST(TestCommand, AFailureCountsMoreThanADifference) {
    FakeMachine machine;
    EXPECT_EQ(RunCases(machine,
                       "[[case]]\nurl = \"a\"\nexpect = \"blocked\"\n[[case]]\nurl = \"ftp://a\"\nexpect = "
                       "\"allowed\"\n")
                  .code,
              kCodeFailed);
}

TEST(TestCommand, ReportsLogonsOfAnAccount) {
    FakeMachine machine;
    machine.told.onLogon = [&](const LogonEvent& event) {
        return ToldLibrary::Logon(event.eventCode == TARN_EVENT_TICK ? TARN_BLOCK : TARN_ALLOW);
    };
    EXPECT_EQ(RunCases(machine,
                       "[[case]]\nlogon = { account = \"anna\" }\nexpect = \"allowed\"\nreason = \"parental "
                       "control\"\n")
                  .code,
              kCodeOk);
    EXPECT_EQ(RunCases(machine, "[[case]]\nlogon = { account = \"anna\", ticks = 2 }\nexpect = \"refused\"\n").code,
              kCodeOk);
    EXPECT_THAT(machine.told.events, SizeIs(4));
    EXPECT_EQ(RunCases(machine, "[[case]]\nlogon = { account = \"nobody\" }\nexpect = \"refused\"\n").code,
              kCodeFailed);
    machine.told.onLogon = [](const LogonEvent&) { return LogonJudgement{}; };
    EXPECT_EQ(RunCases(machine, "[[case]]\nlogon = {}\nexpect = \"none\"\n").code, kCodeOk);
}

TEST(TestCommand, JudgesRequestsExtensionsAndFrames) {
    FakeMachine machine;
    machine.told.onPacket = [](std::size_t) {
        PacketVerdict verdict{};
        verdict.action = TARN_PACKET_BLOCK;
        verdict.reason = 31;
        return verdict;
    };
    const Ran run =
        RunCases(machine,
                 "[[case]]\nrequest = { text = \"GET / HTTP/1.1\\r\\nHost: a.example\\r\\n\\r\\n\" }\nexpect = "
                 "\"allowed\"\n[[case]]\nextension = \"https://b.example/\"\nexpect = \"allowed\"\n[[case]]\nframe = { "
                 "capture = \"" +
                     kWholeCurl + "\", frame = 4 }\nexpect = \"blocked\"\nreason = 31\n");
    EXPECT_EQ(run.code, kCodeOk) << run.out;
    ASSERT_THAT(machine.told.scanned, SizeIs(1));
    EXPECT_EQ(machine.told.scanned[0].kind, TARN_KIND_HTTP);
    ASSERT_THAT(machine.told.reportedUrls, SizeIs(1));
    EXPECT_EQ(machine.told.reportedUrls[0].first, TARN_KIND_TLS);
    ASSERT_THAT(machine.told.packets, SizeIs(1));
    EXPECT_EQ(machine.told.packets[0].rule, 80);
    EXPECT_TRUE(machine.told.packets[0].inbound);
}

TEST(TestCommand, AFrameThatIsNotThereIsAFailure) {
    FakeMachine machine;
    const Ran run = RunCases(machine, "[[case]]\nframe = { capture = \"" + kWholeCurl +
                                          "\", frame = 99999 }\nexpect = \"none\"\n[[case]]\nframe = { capture = "
                                          "\"nowhere.pcap\", frame = 1 }\nexpect = \"none\"\n");
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.out, AllOf(HasSubstr("no frame 99999"), HasSubstr("2 could not be asked")));
}

TEST(TestCommand, AWrongFileOrPolicyAsksNothing) {
    FakeMachine machine;
    const Ran wrong = RunCases(machine, "[[case]]\nurl = \"a\"\nexpect = \"yes\"\n");
    EXPECT_EQ(wrong.code, kCodeFailed);
    EXPECT_THAT(wrong.errors, HasSubstr("cases.toml:3:10: expect is \"yes\""));
    const TemporaryFile bad("bad.toml", "features.nonsense = true\n");
    const Ran policy = RunCases(machine, "[[case]]\nurl = \"a\"\nexpect = \"allowed\"\n", {"--policy", bad.Path()});
    EXPECT_EQ(policy.code, kCodeFailed);
    EXPECT_THAT(policy.errors, HasSubstr("unknown key \"nonsense\""));
    EXPECT_EQ(RunCases(machine, "policy = \"nowhere.toml\"\n[[case]]\nurl = \"a\"\nexpect = \"allowed\"\n").code,
              kCodeFailed);
    EXPECT_THAT(machine.opened, IsEmpty());
    EXPECT_EQ(RunWith(machine, {"test", "nowhere/cases.toml"}).code, kCodeFailed);
    EXPECT_EQ(RunWith(machine, {"test"}).code, kCodeUsage);
    machine.whyNot = "the library is away";
    const Ran away = RunCases(machine, "[[case]]\nurl = \"a\"\nexpect = \"allowed\"\n");
    EXPECT_EQ(away.code, kCodeFailed);
    EXPECT_THAT(away.out, HasSubstr("not judged: the library is away"));
}

TEST(TestCommand, AWrongFileIsAnErrorOfTheJunitFile) {
    FakeMachine machine;
    const TemporaryFile junit("out.xml", "");
    const TemporaryFile good("good.toml", "[[case]]\nurl = \"a\"\nexpect = \"allowed\"\n");
    const Ran run = RunCases(machine, "[[case]]\nurl = \"a\"\nexpect = \"yes\"\n",
                             {"--junit", junit.Path(), good.Path(), "nowhere/none.toml"});
    EXPECT_EQ(run.code, kCodeFailed);
    std::ifstream input(junit.Path());
    const std::string xml{std::istreambuf_iterator<char>(input), {}};
    EXPECT_THAT(xml, AllOf(HasSubstr("tests=\"3\" failures=\"0\" errors=\"2\""), HasSubstr("name=\"cases.toml\""),
                           HasSubstr("name=\"none.toml\"")));
    EXPECT_THAT(run.errors, HasSubstr("none.toml: cannot be read; is the path right"));
}

TEST(TestCommand, WritesJsonAndJunit) {
    FakeMachine machine;
    machine.told.answer = FakeLibrary::Malicious("Worm", "a.example");
    const TemporaryFile junit("out.xml", "");
    const Ran run = RunCases(machine, "[[case]]\nname = \"x\"\nurl = \"a\"\nexpect = \"allowed\"\n",
                             {"--json", "--junit", junit.Path()});
    EXPECT_EQ(run.code, kCodeFound);
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["type"], "case");
    EXPECT_EQ(lines[0]["version"], 1);
    EXPECT_EQ(lines[0]["outcome"], "different");
    EXPECT_EQ(lines[0]["expected"]["verdict"], "allowed");
    EXPECT_EQ(lines[0]["found"]["verdict"], "blocked");
    EXPECT_EQ(lines[0]["found"]["reason"], 2);
    EXPECT_EQ(lines[1]["type"], "cases");
    EXPECT_EQ(lines[1]["different"], 1);
    std::ifstream input(junit.Path());
    const std::string xml{std::istreambuf_iterator<char>(input), {}};
    EXPECT_THAT(xml, AllOf(HasSubstr("failures=\"1\" errors=\"0\""), HasSubstr("name=\"x\" file=\"cases.toml\""),
                           HasSubstr("! verdict allowed"), Not(HasSubstr("<error"))));
    EXPECT_EQ(
        RunCases(machine, "[[case]]\nurl = \"a\"\nexpect = \"blocked\"\n", {"--junit", "no-folder/x/out.xml"}).code,
        kCodeFailed);
}

}  // namespace
}  // namespace tarn::host
