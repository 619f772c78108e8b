// Policies held against what is expected of them, by the real library with the reference companions: cases, a change of
// the policy, an earlier run.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/install_copy_win32.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

constexpr unsigned long kOk = 0;
constexpr unsigned long kFailed = 1;
constexpr unsigned long kFound = 3;

std::string TextOf(const std::string& file) {
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

TEST(PolicyTests, TheExampleHoldsForTheDeliveredPolicy) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"test", ProjectFile("examples/policy_tests/cases.toml")});
    EXPECT_EQ(run.exitCode, kOk) << run.out << run.errors;
    EXPECT_EQ(run.out, "10 cases: 10 as expected, 0 different\n");
    EXPECT_EQ(run.errors, "");
}

TEST(PolicyTests, WhatAListLeavesOutIsSaidOnce) {
    const InstallCopy install;
    install.Write("bad.txt", "||bad.harbor.test^\n/ads[0-9]/\n");
    install.Write("tarn-policy.toml", "include = [\"bad.txt\"]\n[features]\nbrowsing_protection = true\n");
    const std::string one = "[[case]]\nurl = \"http://bad.harbor.test/\"\nexpect = \"blocked\"\n";
    install.Write("cases.toml", one + one + one);
    const ProgramRun run = install.Run({"test", install.Path("cases.toml")});
    EXPECT_EQ(run.exitCode, kOk) << run.out << run.errors;
    const std::size_t first = run.errors.find("bad.txt:2:");
    EXPECT_NE(first, std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find("bad.txt:2:", first + 1), std::string::npos) << run.errors;
}

TEST(PolicyTests, ADifferenceIsFoundAndAnotherPolicyIsTested) {
    const InstallCopy install;
    install.Write("other.toml", "[features]\nbrowsing_protection = true\n");
    install.Write("cases.toml",
                  "policy = \"other.toml\"\n[[case]]\nurl = \"http://bad.harbor.test/\"\nexpect = \"blocked\"\n");
    const ProgramRun other = install.Run({"test", "--json", install.Path("cases.toml")});
    EXPECT_EQ(other.exitCode, kFound);
    ASSERT_THAT(other.Json(), SizeIs(2));
    EXPECT_EQ(other.Json()[0]["outcome"], "different");
    EXPECT_EQ(other.Json()[0]["found"]["verdict"], "allowed");
    const ProgramRun own =
        install.Run({"test", "--policy", install.Path("tarn-policy.toml"), install.Path("cases.toml")});
    EXPECT_EQ(own.exitCode, kOk) << own.out;
}

// An attack blocks the address that it asks for, until the next case has a library of its own.
TEST(PolicyTests, NothingIsLeftForTheNextCaseUnlessTogether) {
    const InstallCopy install;
    const std::string cases =
        "[[case]]\nframe = { inbound = false, hex = \"02 00 00 00 00 01 02 00 00 00 00 02 08 00 45 00 00 55 00 00 40 "
        "00 "
        "40 06 00 00 c6 33 64 07 c6 33 64 08 c3 50 00 50 00 00 00 01 00 00 00 01 50 18 20 00 00 00 00 00 47 45 54 20 "
        "2f "
        "2e 2e 2f 78 20 48 54 54 50 2f 31 2e 31 0d 0a 48 6f 73 74 3a 20 69 64 73 2e 68 61 72 62 6f 72 2e 74 65 73 74 "
        "0d "
        "0a 0d 0a\" }\nexpect = \"blocked\"\n"
        "[[case]]\nrequest = { text = \"GET /../x HTTP/1.1\\r\\nHost: ids.harbor.test\\r\\n\\r\\n\" }\nexpect = "
        "\"allowed\"\n";
    install.Write("alone.toml", cases);
    install.Write("together.toml", "together = true\n" + cases);
    const ProgramRun alone = install.Run({"test", install.Path("alone.toml")});
    EXPECT_EQ(alone.exitCode, kOk) << alone.out;
    const ProgramRun together = install.Run({"test", install.Path("together.toml")});
    EXPECT_EQ(together.exitCode, kFound) << together.out;
    EXPECT_THAT(together.out, HasSubstr("1 as expected, 1 different"));
}

TEST(PolicyTests, TimesOfUseAreThoseOfTheCase) {
    const InstallCopy install;
    install.Write("tarn-policy.toml", install.Read("tarn-policy.toml") +
                                          "\n[parental.users.schedule]\non = true\nsaturday = [\"10:00-11:00\"]\n");
    const std::string inside =
        "[[case]]\nurl = \"http://open.harbor.test/\"\nat = \"2026-03-07T10:30\"\nexpect = \"allowed\"\n";
    const std::string outside =
        "[[case]]\nurl = \"http://open.harbor.test/\"\nat = \"2026-03-07T12:30\"\nreason = \"outside the allowed "
        "time\"\n";
    install.Write("cases.toml", inside + outside + inside);
    const ProgramRun alone = install.Run({"test", install.Path("cases.toml")});
    EXPECT_EQ(alone.exitCode, kOk) << alone.out << alone.errors;
    install.Write("together.toml", "together = true\n" + inside + outside + inside);
    const ProgramRun together = install.Run({"test", install.Path("together.toml")});
    EXPECT_EQ(together.exitCode, kOk) << together.out << together.errors;
}

TEST(Impact, TellsWhichVerdictsAnotherPolicyChanges) {
    const InstallCopy install;
    const std::string policy = install.Read("tarn-policy.toml");
    install.Write("new.toml", policy +
                                  "\n[[packet_signatures]]\ntext = \"GET /with/port\"\nreason = 77\n"
                                  "[[malicious_sites]]\nhost = \"secure.lantern.example\"\nthreat = \"Worm.New\"\n");
    const std::string old = install.Path("tarn-policy.toml");
    const ProgramRun same =
        install.Run({"impact", "--before", old, "--after", old, "--expect", "none", CapturePath("http_curl.pcap")});
    EXPECT_EQ(same.exitCode, kOk) << same.out << same.errors;
    EXPECT_THAT(same.out, HasSubstr("0 of "));
    const ProgramRun run = install.Run({"impact", "--json", "--after", install.Path("new.toml"), "--expect", "none",
                                        "--urls", "http://secure.lantern.example/x", CapturePath("http_curl.pcap")});
    EXPECT_EQ(run.exitCode, kFound) << run.errors;
    const auto lines = run.Json();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back()["type"], "impact");
    EXPECT_EQ(lines.back()["requests"], 38);
    EXPECT_GE(lines.back()["changed_blocked"], 2);
    EXPECT_EQ(lines.back()["attack_frames_after"].get<int>(), lines.back()["attack_frames_before"].get<int>() + 1);
    bool isUrlTold = false;
    bool isAttackTold = false;
    for (const json& line : lines) {
        isUrlTold |= line.value("host", "") == "secure.lantern.example" && line["after"]["reason"] == 2;
        isAttackTold |= line.value("of", "") == "attack" && line["after"]["reason"] == 77;
    }
    EXPECT_TRUE(isUrlTold && isAttackTold) << run.out;
}

// What a pass leaves is gone before the next one, and so are the folders of both.
TEST(Impact, BeginsBothPassesWithTheSameState) {
    const InstallCopy install;
    const std::string old = install.Path("tarn-policy.toml");
    const ProgramRun run = install.Run({"impact", "--before", old, "--after", old, "--expect", "none",
                                        CapturePath("mixed_small.pcap"), CapturePath("dns_basic.pcap")});
    EXPECT_EQ(run.exitCode, kOk) << run.out << run.errors;
    EXPECT_THAT(run.out, HasSubstr("0 of "));
}

TEST(Impact, RefusesAPolicyWithMistakes) {
    const InstallCopy install;
    install.Write("new.toml", "[features]\nnonsense = 1\n");
    const ProgramRun run = install.Run({"impact", "--after", install.Path("new.toml"), CapturePath("http_curl.pcap")});
    EXPECT_EQ(run.exitCode, kFailed);
    EXPECT_THAT(run.errors, HasSubstr("new.toml:2:1: unknown key \"nonsense\""));
}

TEST(ReplayExpect, FindsAgainWhatAnEarlierRunFound) {
    const InstallCopy install;
    const std::string capture = CapturePath("mixed_small.pcap");
    install.Write("found.jsonl", install.Run({"replay", "--json", capture}).out);
    const ProgramRun same = install.Run({"replay", "--expect", install.Path("found.jsonl"), capture});
    EXPECT_EQ(same.exitCode, kOk) << same.out;
    EXPECT_THAT(same.out, HasSubstr(" 0 different, 0 missing; 0 that nobody expects"));
    install.Write("tarn-policy.toml", "[features]\nbrowsing_protection = true\n");
    const ProgramRun other = install.Run({"replay", "--expect", install.Path("found.jsonl"), capture});
    EXPECT_EQ(other.exitCode, kFound);
    EXPECT_THAT(other.out, AllOf(HasSubstr("MISSING  mixed_small.pcap:238  attack")));
}

TEST(ReplayExpect, TakesTheVerdictsThatWereWrittenDown) {
    const InstallCopy install;
    ASSERT_FALSE(TextOf(CapturePath("tls_curl.verdicts.jsonl")).empty());
    const ProgramRun run = install.Run({"replay", "--map", "10.20.30.10=192.0.2.10", "--expect",
                                        CapturePath("tls_curl.verdicts.jsonl"), CapturePath("tls_curl.pcap")});
    EXPECT_EQ(run.exitCode, kOk) << run.out << run.errors;
}

}  // namespace
}  // namespace tarn::host
