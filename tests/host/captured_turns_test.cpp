// The turns of real connections against what a dissector found in the same captures.
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "host/capture/capture_reader.h"
#include "host/capture/tcp_turns.h"

namespace tarn::host {
namespace {

struct TruePart {
    std::uint64_t frame = 0;
    std::uint64_t totalLength = 0;
    std::string hex;
};
// Client and server of the connection, and the turn's place in it.
using Place = std::tuple<std::string, std::uint16_t, std::string, std::uint16_t, std::uint32_t>;
using Truth = std::map<Place, TruePart>;

std::string Hex(const std::vector<std::uint8_t>& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

Truth ReadTruth(const std::string& capture) {
    Truth truth;
    for (const char* file : {"first", "later", "other_first"}) {
        std::ifstream input(std::string(TARN_CAPTURE_FOLDER "/") + file + "_payloads.jsonl");
        for (std::string line; std::getline(input, line);) {
            const auto part = nlohmann::json::parse(line);
            if (part["capture"] != capture) continue;
            const Place place{part["src"], part["sport"], part["dst"], part["dport"], part["index"]};
            truth[place] = {part["frame"], part["total_length"], part["payload_hex"]};
        }
    }
    return truth;
}

std::vector<Turn> ReadTurns(const std::string& capture) {
    std::vector<Turn> turns;
    TcpTurns assembly([&](const Turn& turn) { turns.push_back(turn); });
    std::ifstream input(std::string(TARN_CAPTURE_FOLDER "/") + capture, std::ios::binary);
    CaptureReader reader(input);
    CapturedFrame frame;
    while (reader.Next(frame)) {
        const auto view = ViewTransport(frame.bytes);
        if (view && view->isTcp) assembly.Add(*view, frame.number, frame.timeNanoseconds);
    }
    EXPECT_EQ(reader.Error(), "");
    assembly.Finish();
    return turns;
}

class CapturedTurns : public testing::TestWithParam<std::pair<const char*, std::size_t>> {};

TEST_P(CapturedTurns, EqualTheDissectedOnes) {
    const auto [capture, count] = GetParam();
    Truth truth = ReadTruth(capture);
    ASSERT_EQ(truth.size(), count);
    for (const Turn& turn : ReadTurns(capture)) {
        const Place place{FormatIpAddress(turn.client.address), turn.client.port, FormatIpAddress(turn.server.address),
                          turn.server.port, turn.index};
        SCOPED_TRACE(testing::PrintToString(place));
        const auto part = truth.find(place);
        // Connections that the dissector gave up are not listed beyond their first turn.
        if (part == truth.end()) {
            EXPECT_GT(turn.index, 0u);
            continue;
        }
        EXPECT_EQ(Hex(turn.data), part->second.hex);
        EXPECT_EQ(turn.frame, part->second.frame);
        EXPECT_EQ(turn.totalLength, part->second.totalLength);
        EXPECT_FALSE(turn.hasGap);
        truth.erase(part);
    }
    EXPECT_TRUE(truth.empty()) << testing::PrintToString(truth.begin()->first);
}

INSTANTIATE_TEST_SUITE_P(Captures, CapturedTurns,
                         testing::Values(std::pair{"http_curl.pcap", 41}, std::pair{"http_chromium.pcap", 32},
                                         std::pair{"http_wget_and_others.pcap", 48}, std::pair{"http_ipv6.pcap", 18},
                                         std::pair{"http_odd_forms.pcap", 31}),
                         [](const auto& test) {
                             const std::string name = test.param.first;
                             return name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace tarn::host
