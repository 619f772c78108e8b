// What one run leaves for the next, and the time at which a run judges: with the real library and companions.
#include <cstring>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <iterator>
#include <windows.h>

#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::Ge;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Lt;
using testing::Not;
using testing::SizeIs;

constexpr std::uint32_t kMay10 = 1778414400;  // 2026-05-10 12:00 UTC, a Sunday
constexpr std::uint32_t kDay = 86400;
constexpr int kSchedule = 5;  // the reason

std::vector<json> Verdicts(const ProgramRun& run) {
    EXPECT_EQ(run.exitCode, 0u) << run.errors;
    std::vector<json> verdicts;
    for (json& line : run.Json())
        if (line["type"] == "verdict") {
            line.erase("written");  // two runs differ in these alone
            line.erase("latency_ns");
            verdicts.push_back(std::move(line));
        }
    EXPECT_THAT(verdicts, Not(IsEmpty()));
    return verdicts;
}

std::vector<int> Reasons(const ProgramRun& run) {
    std::vector<int> reasons;
    for (const json& line : Verdicts(run)) reasons.push_back(line["reason"]);
    return reasons;
}

TEST(State, ARunDoesNotSeeWhatAnotherOneLeft) {
    const InstallCopy install;
    const std::vector<std::string> replay{"replay", "--json", "--map", "10.20.30.10=192.0.2.10",
                                          CapturePath("tls_curl.pcap")};
    const auto before = Verdicts(install.Run(replay));
    EXPECT_THAT(Verdicts(install.Run({"replay", "--json", CapturePath("dns_basic.pcap")})), SizeIs(Ge(50u)));
    EXPECT_EQ(Verdicts(install.Run(replay)), before);
}

TEST(State, AFreshStartLeavesTheUserListForLaterRuns) {
    const InstallCopy install;
    const std::vector<std::string> url{"url", "--json", "http://www.lantern.example/js"};
    const std::vector<std::string> fresh{"url", "--json", "--mode", "0", "http://www.lantern.example/js"};
    EXPECT_EQ(Verdicts(install.Run(url)).at(0)["verdict"], "allowed");
    EXPECT_EQ(Verdicts(install.Run(fresh)).at(0)["verdict"], "blocked");
    EXPECT_EQ(Verdicts(install.Run(url)).at(0)["verdict"], "allowed");
}

TEST(State, AKeptOneIsTakenOverAndSaid) {
    const InstallCopy install;
    const std::string folder = install.Path("kept/state");
    const ProgramRun first =
        install.Run({"replay", "--json", "--keep-state", folder, "--mode", "0", CapturePath("dns_basic.pcap")});
    EXPECT_EQ(first.exitCode, 0u);
    EXPECT_EQ(first.Json().at(0)["event"], "state");
    EXPECT_EQ(first.Json().at(0)["saved_answers"], 0);
    EXPECT_EQ(first.Json().at(0)["user_list_reset"], false);

    const ProgramRun second = install.Run({"url", "--json", "--keep-state", folder, "http://www.lantern.example/js"});
    const json state = second.Json().at(0);
    EXPECT_EQ(state["event"], "state");
    EXPECT_EQ(state["folder"], folder);
    EXPECT_THAT(state["saved_answers"].get<int>(), AllOf(Gt(10), Lt(57)));  // of 56 messages
    EXPECT_EQ(state["user_list_reset"], true);
    EXPECT_EQ(Verdicts(second).at(0)["verdict"], "blocked");

    const ProgramRun text = install.Run({"url", "--keep-state", folder, "http://www.lantern.example/js"});
    EXPECT_THAT(text.out, AllOf(HasSubstr("saved answers, 0 sessions of "), HasSubstr("white list is reset")));
}

// The longest path that leaves room for the longest name is used, the next one is refused before anything is judged.
TEST(State, AFolderWithTooLongAPathIsRefused) {
    constexpr std::size_t kLongest = 259 - std::string_view("\\tarn-user-list-reset.bin.new").size();
    const InstallCopy install;
    const std::string base = install.Path("kept\\");
    ASSERT_LT(base.size(), kLongest);
    const std::string longest = base + std::string(kLongest - base.size(), 'k');
    const ProgramRun kept = install.Run({"url", "--mode", "0", "--keep-state", longest, "http://a.example/"});
    EXPECT_EQ(kept.exitCode, 0u) << kept.errors;
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(longest) / "tarn-user-list-reset.bin"));

    const ProgramRun run = install.Run({"url", "--mode", "0", "--keep-state", longest + "k", "http://a.example/"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("leaves no room for the files of the state"), HasSubstr("name a shorter")));
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(longest + "k"));
}

TEST(State, AFolderThatCannotBeMadeIsNamed) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"url", "--keep-state", install.Path(kPolicy), "http://a.example/"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("--keep-state"), HasSubstr("cannot be made or written")));
    EXPECT_EQ(run.out, "");
}

TEST(State, NothingIsLeftInTheTemporaryFolderOrBesideThePrograms) {
    const InstallCopy install;
    const std::filesystem::path temporary = install.File("temporary");
    std::filesystem::create_directory(temporary);
    wchar_t before[MAX_PATH] = {};
    GetEnvironmentVariableW(L"TMP", before, MAX_PATH);
    SetEnvironmentVariableW(L"TMP", temporary.c_str());
    const ProgramRun run = install.Run({"replay", "--mode", "0", CapturePath("dns_basic.pcap")});
    SetEnvironmentVariableW(L"TMP", before);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    for (const auto& entry : std::filesystem::directory_iterator(install.Folder()))
        EXPECT_NE(entry.path().extension(), ".bin") << entry.path().string();
}

// ---- Time ----

// The bundled capture of FTP commands, each frame at the second that timeOf gives for its number, from 0 on.
void WriteCapture(const InstallCopy& install, const std::function<std::uint32_t(std::size_t)>& timeOf) {
    std::ifstream input(CapturePath("ftp_pipelined_control.pcap"), std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(input), {}};
    std::size_t number = 0;
    for (std::size_t at = 24; at + 16 <= bytes.size(); ++number) {
        std::uint32_t length = 0;
        std::memcpy(&length, &bytes[at + 8], sizeof length);
        const std::uint32_t seconds = timeOf(number);
        std::memcpy(&bytes[at], &seconds, sizeof seconds);
        at += 16 + length;
    }
    EXPECT_EQ(number, 34u);
    install.Write("timed.pcap", bytes);
}

void WriteSchedule(const InstallCopy& install, const std::string& times) {
    install.Write(kPolicy, install.Read(kPolicy) + "\n[parental.users.schedule]\non = true\n" + times);
}

// Whatever day it is today, one of the two would be wrong by the machine's clock.
TEST(Time, AScheduleGoesByTheDayOfTheCapture) {
    const InstallCopy install;
    WriteSchedule(install, "tuesday = [\"00:00-23:59\"]\n");
    WriteCapture(install, [](std::size_t) { return kMay10 + 2 * kDay; });
    const std::vector<std::string> replay{"replay", "--json", install.Path("timed.pcap")};
    EXPECT_THAT(Reasons(install.Run(replay)), Each(Not(kSchedule)));
    WriteCapture(install, [](std::size_t) { return kMay10 + 6 * kDay; });
    EXPECT_THAT(Reasons(install.Run(replay)), Each(kSchedule));
}

TEST(Time, AScheduleTurnsInTheMiddleOfACapture) {
    const InstallCopy install;
    WriteSchedule(install, "tuesday = [\"00:00-23:59\"]\nthursday = [\"00:00-23:59\"]\n");
    WriteCapture(install, [](std::size_t frame) {
        if (frame < 12) return kMay10 + 2 * kDay;  // Tuesday
        return kMay10 + (frame < 20 ? 3 : 4) * kDay;
    });
    int turns = 0;
    int last = 0;
    for (const json& line : Verdicts(install.Run({"replay", "--json", install.Path("timed.pcap")}))) {
        const int reason = line["reason"];
        if ((reason == kSchedule) != (last == kSchedule)) ++turns;
        last = reason;
        if (reason == kSchedule) {
            EXPECT_THAT(line["rule_text"].get<std::string>(), HasSubstr("2026-05-13 "));
        }
    }
    EXPECT_EQ(turns, 2);
}

TEST(Time, ATimeOfTheUsersCountsForAllCommands) {
    const InstallCopy install;
    WriteSchedule(install, "saturday = [\"08:00-20:00\"]\n");
    WriteCapture(install, [](std::size_t) { return kMay10; });
    const std::string capture = install.Path("timed.pcap");
    for (const char* inside : {"2026-03-07T08:00", "2026-03-07T19:59"}) {
        EXPECT_THAT(Reasons(install.Run({"replay", "--json", "--at", inside, capture})), Each(Not(kSchedule)));
        EXPECT_THAT(Reasons(install.Run({"url", "--json", "--at", inside, "http://a.example/"})), Each(Not(kSchedule)));
    }
    for (const char* outside : {"2026-03-07T07:59", "2026-03-07T20:01", "2026-03-10T12:00"}) {
        EXPECT_THAT(Reasons(install.Run({"replay", "--json", "--at", outside, capture})), Each(kSchedule));
        EXPECT_THAT(Reasons(install.Run({"url", "--json", "--at", outside, "http://a.example/"})), Each(kSchedule));
    }
}

TEST(Time, ALogonIsJudgedAtIt) {
    const InstallCopy install;
    const auto account = install.Run({"logon", "--json"}).Events("logon").at(0)["account"].get<std::string>();
    install.Write(kPolicy, "[parental]\nmode = 2\n[[parental.users]]\naccount = \"" + account +
                               "\"\ncontrolled = true\nuse_hour_grid = true\nhours = { saturday = [21] }\n");
    const auto at = [&](const char* time) {
        const ProgramRun run = install.Run({"logon", "--json", "--at", time});
        EXPECT_EQ(run.errors, "");  // that no URL is judged is nothing to a logon
        return run.Events("logon").at(0);
    };
    EXPECT_EQ(at("2026-03-07T21:30")["verdict"], "allowed");
    EXPECT_EQ(at("2026-03-07T20:59")["verdict"], "refused");
    EXPECT_THAT(at("2026-03-08T21:30")["reason_text"].get<std::string>(), HasSubstr("Sunday 21:00"));
}

}  // namespace
}  // namespace tarn::host
