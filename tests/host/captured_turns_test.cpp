// What is read from real captures against what a dissector found in them: turns of connections and DNS answers.
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <nlohmann/json.hpp>
#include <tuple>

#include "host/capture/capture_reader.h"
#include "host/capture/tcp_turns.h"
#include "support/project_files.h"

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
        std::ifstream input(CaptureFileOf("") + file + "_payloads.jsonl");
        for (std::string line; std::getline(input, line);) {
            const auto part = nlohmann::json::parse(line);
            if (part["capture"] != capture || part["kind"] == "dns") continue;
            const Place place{part["src"], part["sport"], part["dst"], part["dport"], part["index"]};
            truth[place] = {part["frame"], part.value("total_length", std::uint64_t{0}), part["payload_hex"]};
        }
    }
    return truth;
}

std::vector<Turn> ReadTurns(const std::string& capture) {
    std::vector<Turn> turns;
    TcpTurns assembly([&](const Turn& turn) { turns.push_back(turn); });
    std::ifstream input(CaptureFileOf(capture), std::ios::binary);
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
                         testing::Values(std::pair{"tls_curl.pcap", 103}, std::pair{"mixed_small.pcap", 70},
                                         std::pair{"http_curl.pcap", 41}, std::pair{"http_chromium.pcap", 32},
                                         std::pair{"http_wget_and_others.pcap", 47}, std::pair{"http_ipv6.pcap", 18},
                                         std::pair{"http_odd_forms.pcap", 31}),
                         [](const auto& test) {
                             const std::string name = test.param.first;
                             return name.substr(0, name.find('.'));
                         });

// The dissector lists the segments of FTP clients one by one; a turn holds all up to the server's reply.
TEST(CapturedFtp, TheTurnsOfAConnectionHoldItsSegments) {
    using Client = std::pair<std::string, std::uint16_t>;
    std::size_t segments = 0;
    for (const char* capture : {"ftp_classic_wget.pcap", "ftp_pipelined_control.pcap"}) {
        std::map<Client, std::string> expected;
        for (const auto& [place, part] : ReadTruth(capture)) {
            expected[{std::get<0>(place), std::get<1>(place)}] += part.hex;
            ++segments;
        }
        std::map<Client, std::string> found;
        for (const Turn& turn : ReadTurns(capture))
            if (turn.server.port == 21)
                found[{FormatIpAddress(turn.client.address), turn.client.port}] += Hex(turn.data);
        EXPECT_EQ(found, expected) << capture;
    }
    EXPECT_EQ(segments, 63u);
}

TEST(CapturedDns, EveryAnswerOverUdpIsSeen) {
    using Answer = std::tuple<std::string, std::uint16_t, std::string>;
    std::map<std::uint64_t, Answer> expected;
    std::ifstream truth(CaptureFileOf("first_payloads.jsonl"));
    for (std::string line; std::getline(truth, line);) {
        const auto part = nlohmann::json::parse(line);
        if (part["capture"] == "dns_basic.pcap" && part["transport"] == "udp")
            expected[part["frame"]] = {part["dst"], part["dport"], part["payload_hex"]};
    }
    std::map<std::uint64_t, Answer> found;
    std::ifstream input(CaptureFileOf("dns_basic.pcap"), std::ios::binary);
    CaptureReader reader(input);
    CapturedFrame frame;
    while (reader.Next(frame)) {
        const auto view = ViewTransport(frame.bytes);
        if (view && !view->isTcp && view->source.port == 53)
            found[frame.number] = {FormatIpAddress(view->destination.address), view->destination.port,
                                   Hex({view->payload.begin(), view->payload.end()})};
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(found.size(), 56u);
}

}  // namespace
}  // namespace tarn::host
