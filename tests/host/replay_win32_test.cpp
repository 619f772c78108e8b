// Real traffic through the real library with the reference companions and the default policy: every verdict is the one
// that stands in the file beside the capture.
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <string>

#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;

std::vector<json> Expected(const std::string& capture) {
    std::ifstream input(CapturePath(capture + ".verdicts.jsonl"));
    std::vector<json> lines;
    for (std::string line; std::getline(input, line);) lines.push_back(json::parse(line));
    return lines;
}

// The fields that the expected line has, in its order of frames.
std::vector<json> Verdicts(const std::vector<json>& lines) {
    std::vector<json> verdicts;
    for (const json& line : lines) {
        if (line["type"] != "verdict") continue;
        json kept;
        for (const char* key : {"frame", "client", "clientPort", "host", "path", "verdict", "reason", "ruleText"})
            if (line.contains(key)) kept[key] = line[key];
        verdicts.push_back(std::move(kept));
    }
    std::stable_sort(verdicts.begin(), verdicts.end(), [](const json& left, const json& right) {
        return std::pair(left["frame"].get<int>(), left["clientPort"].get<int>()) <
               std::pair(right["frame"].get<int>(), right["clientPort"].get<int>());
    });
    return verdicts;
}

class Replay : public testing::TestWithParam<const char*> {};

TEST_P(Replay, GivesTheExpectedVerdicts) {
    const std::string capture = GetParam();
    const std::vector<json> expected = Expected(capture);
    ASSERT_FALSE(expected.empty());

    const InstallCopy install;
    const ProgramRun run =
        install.Run({"replay", "--json", "--map", "10.20.30.10=192.0.2.10", CapturePath(capture + ".pcap")});

    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    const std::vector<json> verdicts = Verdicts(run.Json());
    EXPECT_EQ(verdicts.size(), expected.size());
    for (std::size_t i = 0; i < std::min(verdicts.size(), expected.size()); ++i) EXPECT_EQ(verdicts[i], expected[i]);
}

INSTANTIATE_TEST_SUITE_P(Captures, Replay,
                         testing::Values("http_chromium", "http_curl", "http_ipv6", "http_odd_forms",
                                         "http_wget_and_others", "dns_basic", "ftp_classic_wget",
                                         "ftp_pipelined_control", "mixed_small"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace tarn::host
