// The commands that drive the other exports, with the real library, the reference companions and real accounts.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <lmcons.h>

#include "host/install_copy_win32.h"
#include "host/running_program_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::string CurrentUser() {
    wchar_t name[UNLEN + 1] = {};
    DWORD length = UNLEN + 1;
    EXPECT_TRUE(GetUserNameW(name, &length));
    const std::u8string utf8 = std::filesystem::path(name).u8string();
    return {utf8.begin(), utf8.end()};
}

// The shipped policy with one user entry of parental control in place of its own.
void WriteUserEntry(const InstallCopy& install, const std::string& entry) {
    std::string text = install.Read(kPolicy);
    const std::size_t parental = text.find("[parental]");
    ASSERT_NE(parental, std::string::npos);
    install.Write(kPolicy, text.substr(0, parental) + "[parental]\nmode = 2\n[[parental.users]]\naccount = \"" +
                               CurrentUser() + "\"\ncontrolled = true\n" + entry);
}

constexpr const char* kOneHour =
    "[parental.users.allowance]\nsunday = 1\nmonday = 1\ntuesday = 1\nwednesday = 1\nthursday = 1\nfriday = 1\n"
    "saturday = 1\n";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(ExtensionExport, JudgesWholeUrls) {
    const InstallCopy install;
    const ProgramRun run =
        install.Run({"extension", "--json", "https://six.lantern.example/x", "https://static.lantern.example/cookies",
                     "https://lower.lantern.example/", "http://six.lantern.example/x"});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    const auto lines = run.Events("verdict");
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0]["verdict"], "blocked");
    EXPECT_EQ(lines[0]["reason"], 1);
    EXPECT_EQ(lines[0]["rule_text"], "https://six.lantern.example/x");
    EXPECT_EQ(lines[1]["verdict"], "blocked");
    EXPECT_EQ(lines[1]["reason"], 0);
    EXPECT_EQ(lines[2]["verdict"], "allowed");  // white-listed
    EXPECT_EQ(lines[3]["verdict"], "allowed");  // only https is judged
    EXPECT_EQ(lines[3]["reason"], 26);
}

TEST(ExtensionExport, WithoutParentalControlThereIsNoVerdict) {
    const InstallCopy install;
    install.Write(kPolicy, Replaced(install.Read(kPolicy), "mode = 1 ", "mode = 0 "));
    EXPECT_EQ(install.Run({"extension", "--json", "https://six.lantern.example/"}).Events("verdict").at(0)["verdict"],
              "none");
}

TEST(LogonExport, TheShippedPolicyRefusesNobody) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"logon", "--json", "--ticks", "3"});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    const auto lines = run.Events("logon");
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["account"], CurrentUser());
    EXPECT_EQ(lines[0]["rule"], "not_controlled");
    EXPECT_EQ(lines[0]["verdict"], "allowed");
    EXPECT_EQ(lines[1]["last_tick"], 3);
    EXPECT_EQ(run.Json().back()["used_minutes"], 3);
    EXPECT_EQ(run.Json().back()["refused"], 0);
}

TEST(LogonExport, ATimeGridWithoutHoursRefuses) {
    const InstallCopy install;
    WriteUserEntry(install, "use_hour_grid = true\n");
    const auto lines = install.Run({"logon", "--json", "--user", CurrentUser()}).Json();
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[1]["rule"], "time_grid");
    EXPECT_EQ(lines[1]["verdict"], "refused");
    EXPECT_EQ(lines[1]["reason"], 19);
    EXPECT_THAT(lines[1]["reason_text"].get<std::string>(), HasSubstr("the time grid does not allow"));
    EXPECT_EQ(lines[2]["refused"], 1);
}

// The minutes of a run count in the next one; the end of the session lifts the refusal, a new logon brings it back.
TEST(LogonExport, AnAllowanceIsUsedUpOverSeveralRuns) {
    const InstallCopy install;
    WriteUserEntry(install, kOneHour);
    const std::string state = install.Path("state");
    const ProgramRun first = install.Run({"logon", "--json", "--keep-state", state, "--ticks", "40"});
    ASSERT_THAT(first.Events("logon"), SizeIs(2));
    EXPECT_EQ(first.Json().front()["saved_sessions"], 0);
    EXPECT_EQ(first.Events("logon")[1]["last_tick"], 40);
    EXPECT_EQ(first.Events("logon")[1]["verdict"], "allowed");
    EXPECT_EQ(first.Json().back()["used_minutes"], 40);
    EXPECT_EQ(first.Json().back()["allowed_minutes"], 60);

    const ProgramRun second = install.Run({"logon", "--json", "--keep-state", state, "--ticks", "20"});
    EXPECT_EQ(second.Json().front()["saved_sessions"], 1);
    EXPECT_EQ(second.Json().front()["saved_answers"], 0);
    const auto answers = second.Events("logon");
    ASSERT_THAT(answers, SizeIs(3));
    EXPECT_EQ(answers[1]["last_tick"], 19);
    EXPECT_EQ(answers[1]["verdict"], "allowed");
    EXPECT_EQ(answers[2]["first_tick"], 20);
    EXPECT_EQ(answers[2]["verdict"], "refused");
    EXPECT_EQ(second.Json().back()["refused"], 1);

    const auto third = install.Run({"logon", "--json", "--keep-state", state, "--event", "logoff", "--event", "logon"})
                           .Events("logon");
    ASSERT_THAT(third, SizeIs(2));
    EXPECT_EQ(third[0]["verdict"], "allowed");
    EXPECT_EQ(third[1]["verdict"], "refused");

    const ProgramRun alone = install.Run({"logon", "--json", "--ticks", "20"});
    EXPECT_EQ(alone.Json().back()["used_minutes"], 20);
}

TEST(LogonExport, APolicyOfTimesAloneSaysNothingOfUrlScanning) {
    const InstallCopy install;
    install.Write(kPolicy, "[parental]\nmode = 2\n[[parental.users]]\naccount = \"" + CurrentUser() +
                               "\"\ncontrolled = true\n" + kOneHour);
    const ProgramRun logon = install.Run({"logon", "--json"});
    EXPECT_EQ(logon.exitCode, 0u);
    EXPECT_EQ(logon.errors, "");
    EXPECT_EQ(logon.Json().back()["allowed_minutes"], 60);
    EXPECT_THAT(install.Run({"url", "http://a.example/"}).errors,
                HasSubstr("the settings switch every URL-scanning feature off"));
}

TEST(LogonExport, AnUnknownAccountIsNamed) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"logon", "--user", "nobody of that name"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.errors, HasSubstr("this machine has no user account \"nobody of that name\""));
}

// What the modules warn of; the rest of the policy stands.
TEST(LogonExport, AnUnknownAccountInThePolicyDropsItsEntryAlone) {
    const InstallCopy install;
    install.Write(kPolicy, install.Read(kPolicy) + "\n[[parental.users]]\naccount = \"nobody of that name\"\n");
    const ProgramRun run = install.Run({"url", "--json", "http://lantern.example/redirect"});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Events("verdict").at(0)["verdict"], "blocked");
    EXPECT_THAT(run.errors, HasSubstr("warning: this machine has no account \"nobody of that name\""));
}

std::string WholeCapture() {
    std::ifstream input(CapturePath("http_curl.pcap"), std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

// A capture that is running: what stands behind the change is judged by the new policy.
TEST(Watch, AChangedPolicyHoldsForTheRestOfTheStream) {
    const InstallCopy install;
    const std::string policy = install.Read(kPolicy);
    RunningProgram watch(install, {"watch", "--json", "--map", "10.20.30.10=192.0.2.10", "-"});
    const std::string capture = WholeCapture();
    watch.Write(capture.substr(0, capture.size() / 2));
    EXPECT_TRUE(watch.NextLine("verdict").is_object());

    install.Write(kPolicy, Replaced(policy, "anti_phishing = true", "anti_phishing = 1"));
    json line = watch.NextLine("policy");
    EXPECT_EQ(line["event"], "mistake");
    EXPECT_EQ(line["line"], 13);
    EXPECT_EQ(line["column"], 17);
    EXPECT_EQ(watch.NextLine("policy")["why"], "mistakes");

    std::string without = Replaced(policy, "browsing_protection = true", "browsing_protection = false");
    without = Replaced(without, "anti_phishing = true", "anti_phishing = false");
    install.Write(kPolicy, without);
    line = watch.NextLine("policy");
    EXPECT_EQ(line["event"], "changed");
    EXPECT_EQ(line["changes"][0]["key"], "features.anti_phishing");
    EXPECT_EQ(line["notices"][0]["call"], "WSSettingsChanged(0)");
    EXPECT_EQ(line["notices"][0]["succeeded"], true);
    EXPECT_EQ(line["notices"][1]["call"], "WSSettingsChanged(1)");
    EXPECT_EQ(line["notices"][1]["succeeded"], true);

    watch.Write(capture.substr(capture.size() / 2));
    watch.EndInput();
    // By the shipped policy frame 194 is a phishing site (0) and frame 358 a malicious category (1).
    std::vector<int> frames;
    while ((line = watch.NextLine("verdict")).is_object()) {
        EXPECT_THAT(line["reason"].get<int>(), Not(AnyOf(0, 1, 2))) << line;
        frames.push_back(line["frame"]);
    }
    EXPECT_THAT(frames, AllOf(Contains(194), Contains(358)));
    EXPECT_EQ(watch.End(), 0u);
}

TEST(Watch, EndsAfterItsFilesWithOnce) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"watch", "--once", "--json", CapturePath("http_curl.pcap")});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.Json().back()["type"], "stats");
}

TEST(Watch, NeedsAPolicy) {
    const InstallCopy install;
    install.Remove(kPolicy);
    const ProgramRun run = install.Run({"watch", "--once"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, HasSubstr("and watch follows the policy; name it: --policy FILE"));
    EXPECT_THAT(run.out, IsEmpty());
}

}  // namespace
}  // namespace tarn::host
