// What the scans do not look into is told by name: once for each connection and kind, with the frame that began it.
#include "host/unexamined.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <string>

#include "host/capture_bytes.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::uint16_t kIpv4 = 0x0800;

ByteList Text(std::string_view text) {
    return {text.begin(), text.end()};
}

ByteList Segment(std::uint16_t from, std::uint16_t to, std::uint32_t sequence, const ByteList& payload) {
    return BytesWriter(true)
        .U16(from)
        .U16(to)
        .U32(sequence)
        .U32(1)
        .U16(0x5018)  // 20 bytes of header; PSH, ACK
        .U16(1024)
        .U32(0)
        .Append(payload)
        .bytes;
}

ByteList Ipv4Packet(std::uint8_t protocol, const ByteList& content) {
    return BytesWriter(true)
        .U16(0x4500)
        .U16(20 + content.size())
        .U32(0)
        .U8(64)
        .U8(protocol)
        .U16(0)
        .U32(0xC0000201)
        .U32(0xC6336401)
        .Append(content)
        .bytes;
}

ByteList Tcp(std::uint16_t from, std::uint16_t to, std::uint32_t sequence, const ByteList& payload) {
    return Ethernet(kIpv4, Ipv4Packet(6, Segment(from, to, sequence, payload)));
}

ByteList Udp(std::uint16_t from, std::uint16_t to) {
    return Ethernet(kIpv4, Ipv4Packet(17, BytesWriter(true).U16(from).U16(to).U16(12).U16(0).U32(7).bytes));
}

ByteList Extension(std::uint16_t type, const ByteList& content) {
    return BytesWriter(true).U16(type).U16(content.size()).Append(content).bytes;
}

// A hello for "cover.example", with an encrypted inner one or without.
ByteList Hello(bool hidesName) {
    const ByteList name = Text("cover.example");
    ByteList extensions =
        Extension(0, BytesWriter(true).U16(name.size() + 3).U8(0).U16(name.size()).Append(name).bytes);
    if (hidesName) extensions = BytesWriter().Append(extensions).Append(Extension(0xFE0D, ByteList(40, 1))).bytes;
    const ByteList body = BytesWriter(true)
                              .U16(0x0303)
                              .Append(ByteList(32, 2))
                              .U8(0)
                              .U16(2)
                              .U16(0x1301)
                              .U8(1)
                              .U8(0)
                              .U16(extensions.size())
                              .Append(extensions)
                              .bytes;
    return BytesWriter(true).U8(22).U16(0x0301).U16(body.size() + 4).U8(1).U8(0).U16(body.size()).Append(body).bytes;
}

Ran Replay(const std::vector<ByteList>& frames, std::vector<std::string> options = {}) {
    ByteList file = PcapHeader();
    std::uint32_t second = 0;
    for (const ByteList& frame : frames)
        file = BytesWriter().Append(file).Append(PcapFrame(1000 + second++, 0, frame)).bytes;
    const TemporaryFile capture("made.pcap", file);
    FakeEnvironment environment;
    options.insert(options.begin(), {"replay", "--json", capture.Path()});
    return RunWith(environment, options);
}

// The kinds that were told, in their order.
std::vector<std::string> Kinds(const Ran& run) {
    std::vector<std::string> kinds;
    for (const auto& event : Events(run, "not_examined")) kinds.push_back(event["what"]);
    return kinds;
}

std::size_t CountOf(const Ran& run, const char* kind) {
    return Events(run, "stats").at(0)["not_examined"][kind];
}

TEST(Unexamined, AHelloThatHidesItsNameTellsTheOuterOne) {
    const Ran run = Replay({Tcp(50000, 443, 1, Hello(true)), Tcp(50001, 443, 1, Hello(false))});
    const auto events = Events(run, "not_examined");
    ASSERT_THAT(Kinds(run), ElementsAre("ech"));
    EXPECT_EQ(events[0]["outer_name"], "cover.example");
    EXPECT_EQ(events[0]["frame"], 1);
    EXPECT_EQ(events[0]["time"], "1970-01-01T00:16:40.000000Z");
    EXPECT_EQ(events[0]["capture"], "made.pcap");
    EXPECT_EQ(events[0]["flow"], Events(run, "verdict").at(0)["flow"]);
    EXPECT_EQ(Events(run, "verdict").at(0)["judged"], "part");
    EXPECT_EQ(Events(run, "verdict").at(1)["judged"], "whole");
    EXPECT_EQ(CountOf(run, "ech"), 1u);
}

TEST(Unexamined, AHelloInTwoSegmentsIsTold) {
    const ByteList hello = Hello(false);
    const ByteList first(hello.begin(), hello.begin() + 30);
    const ByteList second(hello.begin() + 30, hello.end());
    const Ran split = Replay({Tcp(50000, 443, 1, first), Tcp(50000, 443, 31, second)});
    EXPECT_THAT(Kinds(split), ElementsAre("hello_split"));
    EXPECT_EQ(Events(split, "verdict").at(0)["host"], "cover.example");
    EXPECT_THAT(Kinds(Replay({Tcp(50000, 443, 1, hello)})), IsEmpty());
}

TEST(Unexamined, Http2InTheClearIsToldApartFromUnknownProtocols) {
    const Ran run = Replay(
        {Tcp(50000, 80, 1, Text("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n")), Tcp(50001, 25, 1, Text("EHLO there\r\n"))});
    EXPECT_THAT(Kinds(run), ElementsAre("http2", "unknown_protocol"));
    EXPECT_EQ(CountOf(run, "http2"), 1u);
    EXPECT_EQ(CountOf(run, "unknown_protocol"), 1u);
}

// From the server of a connection.
ByteList Answer(std::uint16_t port, std::uint16_t to, std::uint32_t sequence, std::uint32_t acknowledged) {
    ByteList frame = Tcp(port, to, sequence, Text("answer"));
    std::swap_ranges(frame.begin() + 26, frame.begin() + 30, frame.begin() + 30);  // the two addresses
    for (std::size_t i = 0; i < 4; ++i) frame[42 + i] = static_cast<std::uint8_t>(acknowledged >> (24 - 8 * i));
    return frame;
}

TEST(Unexamined, WhatFollowsInAnHttp2ConnectionIsOfTheSameKind) {
    const ByteList preface = Text("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n");
    const auto next = static_cast<std::uint32_t>(1 + preface.size());
    const Ran run =
        Replay({Tcp(50000, 80, 1, preface), Answer(80, 50000, 1, next),
                Tcp(50000, 80, next, Text("\x01\x02\x03 frames")), Tcp(50001, 80, 1, Text("\x01\x02\x03"))});
    EXPECT_THAT(Kinds(run), ElementsAre("http2", "unknown_protocol"));
    EXPECT_EQ(CountOf(run, "http2"), 2u);
    EXPECT_EQ(CountOf(run, "unknown_protocol"), 1u);
}

TEST(Unexamined, FtpBehindTlsIsNoCommand) {
    const Ran run = Replay({Tcp(50000, 21, 1, {0x17, 3, 3, 0, 3, 1, 2, 3}), Tcp(50001, 21, 1, Text("RETR a.txt\r\n"))});
    EXPECT_THAT(Events(run, "verdict"), SizeIs(1));
    EXPECT_THAT(Kinds(run), ElementsAre("unknown_protocol"));
}

TEST(Unexamined, CompressedFilesAreToldByName) {
    const ByteList packed = BytesWriter(true).U32(60).U32(0xFC534D42).Append(ByteList(56)).bytes;
    EXPECT_THAT(Kinds(Replay({Tcp(50001, 445, 1, packed)})), ElementsAre("smb_compressed"));
}

TEST(Unexamined, TheTextSaysEachKindApart) {
    ByteList file = PcapHeader();
    const ByteList tagged =
        Ethernet(0x8100, BytesWriter(true).U16(7).U16(kIpv4).Append(Ipv4Packet(6, Segment(50002, 80, 1, {}))).bytes);
    const ByteList hello = Hello(true);
    for (const ByteList& frame : {Tcp(50000, 443, 1, ByteList(hello.begin(), hello.begin() + 30)),
                                  Tcp(50000, 443, 31, ByteList(hello.begin() + 30, hello.end())),
                                  Tcp(50001, 80, 1, Text("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n")), tagged})
        file = BytesWriter().Append(file).Append(PcapFrame(1000, 0, frame)).bytes;
    const TemporaryFile capture("made.pcap", file);
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", capture.Path()});
    EXPECT_THAT(run.out, AllOf(HasSubstr("      1  TLS hellos that may hide the name that is meant (ECH)"),
                               HasSubstr("      1  TLS hellos in several segments"),
                               HasSubstr("      1  turns of clients in HTTP/2 without TLS"),
                               HasSubstr("      1  frames with a VLAN tag"), Not(HasSubstr("frames of IPv6")),
                               Not(HasSubstr("in a protocol that no URL scan knows"))));
}

TEST(Unexamined, TagsIpv6AndSealedFilesAreToldByName) {
    const ByteList sealed = BytesWriter(true).U32(60).U32(0xFD534D42).Append(ByteList(56)).bytes;
    const ByteList tagged =
        Ethernet(0x8100, BytesWriter(true).U16(7).U16(kIpv4).Append(Ipv4Packet(6, Segment(50002, 80, 1, {}))).bytes);
    const ByteList ipv6 = Ethernet(0x86DD, BytesWriter(true)
                                               .U32(0x60000000)
                                               .U16(20)
                                               .U8(6)
                                               .U8(64)
                                               .Append(ByteList(32, 1))
                                               .Append(Segment(50003, 80, 1, {}))
                                               .bytes);
    const Ran run = Replay({Tcp(50001, 445, 1, sealed), tagged, ipv6});
    EXPECT_THAT(Kinds(run), ElementsAre("smb_encrypted", "vlan", "ipv6"));
}

TEST(Unexamined, EachKindIsToldOnceForAConnectionAndCountedAlways) {
    ByteList answer = Udp(443, 50000);
    std::swap_ranges(answer.begin() + 26, answer.begin() + 30, answer.begin() + 30);  // the two addresses
    const Ran run = Replay({Udp(50000, 443), answer, Udp(50000, 443), Udp(50001, 443), Udp(50000, 123)});
    EXPECT_THAT(Kinds(run), ElementsAre("quic", "quic", "other_datagram"));
    EXPECT_EQ(CountOf(run, "quic"), 4u);
    const auto flow = Events(run, "not_examined").at(0)["flow"];
    EXPECT_EQ(flow["transport"], "udp");
    EXPECT_EQ(flow["client_port"], 50000);
    EXPECT_EQ(flow["server_port"], 443);
}

TEST(Unexamined, WhereAFrameTellsNoConnectionTheCaptureCounts) {
    const ByteList arp = Ethernet(0x0806, ByteList(28));
    const Ran run = Replay({arp, Ethernet(0x8864, ByteList(30)), arp, Ethernet(kIpv4, {0x45, 0})});
    EXPECT_THAT(Kinds(run), ElementsAre("other_frame", "pppoe", "damaged"));
    EXPECT_FALSE(Events(run, "not_examined").at(0).contains("flow"));
    EXPECT_EQ(CountOf(run, "other_frame"), 2u);
}

TEST(Unexamined, QuietCountsAlone) {
    const Ran run = Replay({Udp(50000, 443)}, {"--quiet"});
    EXPECT_THAT(Kinds(run), IsEmpty());
    EXPECT_EQ(CountOf(run, "quic"), 1u);
}

// However many connections there are, so many are remembered; what was forgotten is told again.
TEST(UnexaminedLog, RemembersABoundedNumberOfConnections) {
    UnexaminedCounts counts;
    std::size_t told = 0;
    UnexaminedLog log(counts, [&](const UnexaminedTraffic&) { ++told; });
    const auto add = [&](std::size_t number) {
        Flow flow;
        flow.client.port = static_cast<std::uint16_t>(number);
        flow.server.port = static_cast<std::uint16_t>(number >> 16);
        log.Add({Unexamined::kQuic, 1, 0, flow});
    };
    for (std::size_t i = 1; i <= UnexaminedLog::kMaxFlows; ++i) add(i);
    EXPECT_EQ(told, UnexaminedLog::kMaxFlows);
    add(UnexaminedLog::kMaxFlows + 1);
    add(1);
    EXPECT_EQ(told, UnexaminedLog::kMaxFlows + 2);
    EXPECT_EQ(counts.Of(Unexamined::kQuic), UnexaminedLog::kMaxFlows + 2);
}

TEST(ErrorEvents, StandBeforeTheTotalsWithTheirInput) {
    FakeEnvironment environment;
    const TemporaryFile text("any.pcap", std::string("host = \"a.example\"\n"));
    const Ran run = RunWith(environment, {"replay", "--json", "no-such.pcap", text.Path()});
    const auto errors = Events(run, "error");
    ASSERT_THAT(errors, SizeIs(2));
    EXPECT_EQ(errors[0]["input"], "no-such.pcap");
    EXPECT_EQ(errors[1]["input"], text.Path());
    EXPECT_EQ(run.errors, "tarnhost: " + errors[0]["text"].get<std::string>() +
                              "\ntarnhost: " + errors[1]["text"].get<std::string>() + "\n");
    EXPECT_EQ(JsonLines(run.out).back()["type"], "stats");
    EXPECT_EQ(JsonLines(run.out).back()["failed_inputs"], 2);
}

TEST(ErrorEvents, OfAddressesAndOfTheCommandLine) {
    FakeEnvironment environment;
    const Ran bad = RunWith(environment, {"url", "--json", "gopher://a.example/"});
    EXPECT_EQ(Events(bad, "error").at(0)["input"], "gopher://a.example/");
    EXPECT_EQ(JsonLines(bad.out).back()["failed_inputs"], 1);
    EXPECT_THAT(Events(RunWith(environment, {"--json", "judge"}), "error"), SizeIs(1));
    EXPECT_THAT(Events(RunWith(environment, {"url", "--json", "--what"}), "error"), SizeIs(1));
    EXPECT_THAT(Events(RunWith(environment, {"url", "--json", "--map", "a=b", "a.example"}), "error"), SizeIs(1));
    EXPECT_THAT(RunWith(environment, {"url", "gopher://a.example/"}).out, IsEmpty());
}

TEST(ErrorEvents, OfACutCaptureStandsBeforeTheTotals) {
    ByteList file = PcapHeader();
    const ByteList frame = Udp(50000, 443);
    file = BytesWriter().Append(file).U32(1).U32(0).U32(frame.size()).U32(1000).Append(frame).bytes;
    const TemporaryFile capture("cut.pcap", file);
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--json", capture.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(Kinds(run), ElementsAre("cut", "quic"));
    EXPECT_THAT(Events(run, "error"), SizeIs(1));
    EXPECT_EQ(JsonLines(run.out).back()["type"], "stats");
}

}  // namespace
}  // namespace tarn::host
