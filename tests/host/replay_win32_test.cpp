// Real traffic through the real library with the reference companions and the default policy: every verdict is the one
// that stands in the file beside the capture, and so is every attack and every file on a share.
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <string>

#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;

constexpr const char* kMapping = "10.20.30.10=192.0.2.10";

// The lines of a file; none when there is no file.
std::vector<json> Expected(const std::string& name) {
    std::ifstream input(CapturePath(name));
    std::vector<json> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(json::parse(line));
    return lines;
}

std::vector<json> LinesOfType(const std::vector<json>& lines, const char* type) {
    std::vector<json> kept;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(kept),
                 [&](const json& line) { return line["type"] == type; });
    return kept;
}

// A request is told when its turn has ended; the expected ones stand in the order in which they began.
std::vector<json> Verdicts(const std::vector<json>& lines) {
    std::vector<json> verdicts = LinesOfType(lines, "verdict");
    std::stable_sort(verdicts.begin(), verdicts.end(), [](const json& left, const json& right) {
        return std::pair(left["frame"].get<int>(), left["flow"]["client_port"].get<int>()) <
               std::pair(right["frame"].get<int>(), right["flow"]["client_port"].get<int>());
    });
    return verdicts;
}

// Of value what expected has, too.
json PartOf(const json& value, const json& expected) {
    if (!value.is_object() || !expected.is_object()) return value;
    json same = json::object();
    for (const auto& [key, member] : expected.items())
        if (value.contains(key)) same[key] = PartOf(value[key], member);
    return same;
}

// As many lines, and each with all that the expected one has.
void ExpectLines(const std::vector<json>& lines, const std::vector<json>& expected) {
    EXPECT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < std::min(lines.size(), expected.size()); ++i)
        EXPECT_EQ(PartOf(lines[i], expected[i]), expected[i]);
}

void ExpectRun(const ProgramRun& run, const std::string& verdicts, const std::string& frames) {
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    const std::vector<json> lines = run.Json();
    ExpectLines(Verdicts(lines), Expected(verdicts));
    std::vector<json> found = LinesOfType(lines, "attack");
    for (json& file : LinesOfType(lines, "file")) found.push_back(std::move(file));
    ExpectLines(found, Expected(frames));
}

class Replay : public testing::TestWithParam<const char*> {};

TEST_P(Replay, FindsWhatIsExpected) {
    const std::string capture = GetParam();
    ASSERT_FALSE(Expected(capture + ".verdicts.jsonl").empty() && Expected(capture + ".frames.jsonl").empty());
    const InstallCopy install;
    ExpectRun(install.Run({"replay", "--json", "--map", kMapping, CapturePath(capture + ".pcap")}),
              capture + ".verdicts.jsonl", capture + ".frames.jsonl");
}

INSTANTIATE_TEST_SUITE_P(Captures, Replay,
                         testing::Values("http_chromium", "http_curl", "http_ipv6", "http_odd_forms",
                                         "http_wget_and_others", "tls_curl", "dns_basic", "ftp_classic_wget",
                                         "ftp_pipelined_control", "mixed_small", "smb1_smbclient_basic",
                                         "smb1_two_clients", "smb2_311_smbclient", "smb2_dispositions_300"),
                         [](const auto& test) { return std::string(test.param); });

TEST(ReplayAfterHours, BlocksEverythingThatIsNotAllowedAlways) {
    const InstallCopy install;
    install.Write("tarn-policy.toml", install.Read("tarn-policy.toml") + "\n[parental.users.schedule]\non = true\n");
    const ProgramRun run = install.Run({"replay", "--json", CapturePath("ftp_pipelined_control.pcap")});
    ExpectRun(run, "after_hours.verdicts.jsonl", "none");
    EXPECT_NE(run.Events("verdict").at(0).value("user", ""), "");
}

// Each attacked connection once; whether there is one to reset depends on the machine.
TEST(ReplayDrop, AsksForTheConnectionsOfAttacks) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"replay", "--json", "--drop", CapturePath("mixed_small.pcap")});
    EXPECT_EQ(run.exitCode, 0u);
    const std::vector<json> attacks = LinesOfType(run.Json(), "attack");
    const auto asked = std::count_if(attacks.begin(), attacks.end(), [](const json& line) {
        return line.contains("dropped") && line["verdict"] == "blocked";
    });
    EXPECT_EQ(asked, 11);  // connections to the four services
}

}  // namespace
}  // namespace tarn::host
