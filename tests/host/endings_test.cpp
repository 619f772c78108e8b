// How runs end: by an output that cannot be written, by Ctrl+C, with what was found, with what was not examined.
#include <fstream>
#include <gmock/gmock.h>
#include <streambuf>

#include "host/capture_bytes.h"
#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

// Takes so many characters and no more.
class FullDisk : public std::streambuf {
 public:
    explicit FullDisk(std::streamsize free) : free_(free) {}

 protected:
    int_type overflow(int_type next) override { return free_-- > 0 ? next : traits_type::eof(); }
    std::streamsize xsputn(const char*, std::streamsize count) override {
        const std::streamsize taken = std::min(count, std::max<std::streamsize>(free_, 0));
        free_ -= count;
        return taken;
    }

 private:
    std::streamsize free_;
};

TEST(Endings, AnOutputThatCannotBeWrittenEndsTheRun) {
    const std::string url = "http://a.example/";
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"url", url, url, url, url},
                                                      {"url", "--json", url, url, url, url},
                                                      {"replay", kCurl},
                                                      {"replay", "--json", kCurl},
                                                      {"extension", "https://a.example/"},
                                                      {"--help"},
                                                      {"--version"}}) {
        FakeEnvironment environment;
        FullDisk disk(0);
        std::ostream out(&disk);
        std::ostringstream errors;
        EXPECT_EQ(RunCommandLine(arguments, environment, out, errors), 1) << arguments[0];
        EXPECT_THAT(errors.str(), HasSubstr("tarnhost: the output is not complete: it cannot be written\n"));
        EXPECT_THAT(environment.library.scanned, SizeIs(Le(1u))) << arguments[0];
    }
}

TEST(Endings, EveryFillOfADiskIsNoticed) {
    FakeEnvironment whole;
    const std::size_t length = RunWith(whole, {"url", "http://a.example/"}).out.size();
    for (std::size_t free = 0; free <= length; ++free) {
        FakeEnvironment environment;
        FullDisk disk(static_cast<std::streamsize>(free));
        std::ostream out(&disk);
        std::ostringstream errors;
        EXPECT_EQ(RunCommandLine({"url", "http://a.example/"}, environment, out, errors), free < length ? 1 : 0);
    }
}

TEST(Endings, CtrlCGivesTheTotalsOfWhatWasJudged) {
    FakeEnvironment environment;
    environment.interruptedAfter = 5;
    const Ran run = RunWith(environment, {"replay", "--json", kCurl, kCurl});
    EXPECT_EQ(run.code, 130);
    EXPECT_THAT(run.errors, HasSubstr("stopped at 0 of 0 MB of " + kCurl));
    const auto summary = JsonLines(run.out).back();
    EXPECT_EQ(summary["requests"], 5);
    EXPECT_EQ(summary["stopped"], true);
    EXPECT_EQ(summary["captures"], 1);
    environment.library.scanned.clear();
    const Ran text = RunWith(environment, {"replay", kCurl});
    EXPECT_THAT(text.out, AllOf(HasSubstr("\n5 requests: 5 allowed"), HasSubstr("stopped before the end")));
    environment.library.scanned.clear();
    environment.interruptedAfter = 2;
    const Ran urls = RunWith(environment, {"url", "a.example", "b.example", "c.example"});
    EXPECT_EQ(urls.code, 130);
    EXPECT_THAT(urls.errors, HasSubstr("stopped after 2 addresses"));
    EXPECT_THAT(urls.out, HasSubstr("2 requests: 2 allowed"));
}

TEST(Endings, CtrlCEndsTheWaitForAPipe) {
    for (const char* command : {"url", "extension"}) {
        FakeEnvironment environment;
        environment.input.str("http://a.example/\n");
        environment.interruptedAfter = 0;
        const Ran run = RunWith(environment, {command, "-"});
        EXPECT_EQ(run.code, 130) << command;
        EXPECT_THAT(run.errors, HasSubstr("stopped after 0 addresses")) << command;
        EXPECT_THAT(environment.opened, IsEmpty()) << command;
    }
}

// Input of two lines, each of which comes when what was printed for the one before has left the program.
class AskingEnvironment : public FakeEnvironment, public std::stringbuf {
 public:
    std::unique_ptr<WatchSignals> Watch(const std::string&, bool, std::string&) override {
        return std::make_unique<Asking>(*this);
    }
    std::vector<std::size_t> flushed;  // characters, before each wait

 protected:
    int sync() override {
        left_ = str().size();
        return 0;
    }

 private:
    struct Asking : WatchSignals {
        explicit Asking(AskingEnvironment& owner) : owner_(owner) {}
        Signal Next(bool, bool) override {
            owner_.flushed.push_back(owner_.left_);
            return Signal::kInput;
        }
        std::size_t ReadInput(std::span<char> buffer) override {
            return owner_.flushed.size() > 2 ? 0
                                             : std::string("http://a.example/\n").copy(buffer.data(), buffer.size());
        }
        AskingEnvironment& owner_;
    };
    std::size_t left_ = 0;
};

TEST(Endings, WhatWasJudgedIsSeenWhileTheNextAddressIsWaitedFor) {
    AskingEnvironment environment;
    std::ostream out(&environment);
    std::ostringstream errors;
    EXPECT_EQ(RunCommandLine({"url", "--json", "-"}, environment, out, errors), 0);
    ASSERT_THAT(environment.flushed, SizeIs(3));
    EXPECT_EQ(environment.flushed[0], 0u);
    EXPECT_GT(environment.flushed[1], 0u);
    EXPECT_GT(environment.flushed[2], environment.flushed[1]);
}

TEST(Endings, NoAddressIsWrongUse) {
    for (const char* command : {"url", "extension"}) {
        FakeEnvironment environment;
        const TemporaryFile list("urls.txt", std::string("\n\n"));
        const Ran run = RunWith(environment, {command, "-", "@" + list.Path()});
        EXPECT_EQ(run.code, 2) << command;
        EXPECT_EQ(run.errors, "tarnhost: no address was given\n") << command;
        EXPECT_THAT(run.out, IsEmpty()) << command;
    }
}

TEST(Endings, TheExitCodeTellsWhatWasFoundWhenAskedTo) {
    FakeEnvironment environment;
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", "http://a.example/"}).code, 0);
    EXPECT_EQ(RunWith(environment, {"replay", "--exit-verdict", kCurl}).code, 4);  // has requests that no scan reads
    environment.library.answer = FakeLibrary::Malicious("X", "a.example/");
    EXPECT_EQ(RunWith(environment, {"url", "http://a.example/"}).code, 0);
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", "http://a.example/"}).code, 3);
    EXPECT_EQ(RunWith(environment, {"replay", "--exit-verdict", kCurl}).code, 3);
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", "http://a.example/", "http://:1/"}).code, 1);
}

TEST(Endings, TheExitCodeTellsThatARequestWasNotJudgedWhenAskedTo) {
    FakeEnvironment environment;
    const std::string unjudged = "http://a.example/" + std::string(1024, 'a');
    const std::string judged = "http://b.example/";
    EXPECT_EQ(RunWith(environment, {"url", judged, unjudged}).code, 0);
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", judged, unjudged}).code, 4);
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", "http://10.20.30.10/"}).code, 0);  // in part
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", unjudged, "http://:1/"}).code, 1);
    EXPECT_EQ(RunWith(environment, {"extension", "--exit-verdict", "https://a.example/"}).code, 4);  // no verdict
    environment.library.answer = FakeLibrary::Malicious("X", "b.example/");
    EXPECT_EQ(RunWith(environment, {"url", "--exit-verdict", judged, unjudged}).code, 3);
}

TEST(Endings, TheExitCodesStandInTheHelp) {
    FakeEnvironment environment;
    EXPECT_THAT(RunWith(environment, {"--help"}).out,
                AllOf(HasSubstr("Exit codes: 0"), HasSubstr("130"), HasSubstr(" 4 ")));
}

// ---- What was not examined ----

// A capture, each frame cut after so many bytes.
ByteList CutCapture(std::uint32_t keep) {
    std::ifstream input(kCurl, std::ios::binary);
    CaptureReader reader(input);
    ByteList file = PcapHeader();
    CapturedFrame frame;
    while (reader.Next(frame)) {
        const std::uint32_t original = frame.captured;
        frame.bytes.resize(std::min<std::size_t>(frame.bytes.size(), keep));
        const ByteList record =
            BytesWriter().U32(1).U32(0).U32(frame.bytes.size()).U32(original).Append(frame.bytes).bytes;
        file.insert(file.end(), record.begin(), record.end());
    }
    return file;
}

TEST(Endings, ACutCaptureIsAFailureAndItsRequestsAreJudgedInPart) {
    FakeEnvironment environment;
    const TemporaryFile capture("cut.pcap", CutCapture(96));
    const Ran run = RunWith(environment, {"replay", "--json", "--map", "10.20.30.10=192.0.2.10", capture.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("frames are cut (96 of up to 1,514 bytes)"),
                                  HasSubstr("was not judged; capture whole frames")));
    const auto summary = JsonLines(run.out).back();
    EXPECT_GT(summary["not_examined"]["cut"], 0);
    EXPECT_EQ(summary["frames"], 386);
    EXPECT_EQ(summary["judged_in_part"].get<int>() + summary["not_judged"].get<int>(), summary["requests"]);
    const TemporaryFile shorter("cut.pcap", CutCapture(50));
    const auto lines = JsonLines(RunWith(environment, {"replay", "--json", shorter.Path()}).out);
    EXPECT_GT(lines.back()["not_examined"]["damaged"], 0);
    EXPECT_EQ(lines.back()["not_examined"]["other_frame"], 2);  // ARP
}

ByteList Ipv4(std::uint8_t protocol, std::uint16_t fragment, const ByteList& content) {
    return Ethernet(0x0800, BytesWriter(true)
                                .U8(0x45)
                                .U8(0)
                                .U16(20 + content.size())
                                .U16(0)
                                .U16(fragment)
                                .U8(64)
                                .U8(protocol)
                                .U16(0)
                                .U32(0xC0000201)
                                .U32(0xC0000202)
                                .Append(content)
                                .bytes);
}

ByteList Datagram(std::uint16_t from, std::uint16_t to) {
    return Ipv4(17, 0, BytesWriter(true).U16(from).U16(to).U16(12).U16(0).U32(7).bytes);
}

TEST(Endings, EveryKindOfFrameThatNoScanLooksIntoIsCountedByName) {
    const ByteList fragmentOfIpv6 = Ethernet(
        0x86DD, BytesWriter(true).U32(0x60000000).U16(8).U8(44).U8(64).Append(ByteList(32, 1)).U32(0).U32(0).bytes);
    ByteList file = PcapHeader();
    const std::vector<ByteList> frames{Datagram(50000, 443),
                                       Datagram(443, 50000),
                                       Datagram(50000, 53),
                                       Datagram(123, 123),
                                       Ipv4(6, 0x2000, ByteList(20)),
                                       Ipv4(17, 0x0010, ByteList(20)),
                                       fragmentOfIpv6,
                                       Ethernet(0x8864, ByteList(30)),
                                       Ethernet(0x8863, ByteList(30)),
                                       Ethernet(0x0806, ByteList(28)),
                                       Ipv4(1, 0, ByteList(8)),
                                       Ipv4(6, 0, ByteList(5)),
                                       Ethernet(0x0800, {0x45, 0}),
                                       {1, 2, 3}};
    std::uint32_t second = 0;
    for (const ByteList& frame : frames) file = Joined({file, PcapFrame(1000 + 60 * second++, 0, frame)});
    const TemporaryFile capture("kinds.pcap", file);
    FakeEnvironment environment;
    const auto summary = JsonLines(RunWith(environment, {"replay", "--json", capture.Path()}).out).back();
    const auto& silent = summary["not_examined"];
    EXPECT_EQ(silent["quic"], 2);
    EXPECT_EQ(silent["other_datagram"], 1);
    EXPECT_EQ(silent["fragment"], 3);
    EXPECT_EQ(silent["pppoe"], 2);
    EXPECT_EQ(silent["other_frame"], 2);
    EXPECT_EQ(silent["damaged"], 3);
    EXPECT_EQ(summary["frames"], 14);
    EXPECT_EQ(summary["first_time"], "1970-01-01T00:16:40.000000Z");
    EXPECT_EQ(summary["last_time"], "1970-01-01T00:29:40.000000Z");
    EXPECT_EQ(summary["duration_seconds"], 780.0);
    const Ran text = RunWith(environment, {"replay", capture.Path()});
    EXPECT_EQ(text.code, 0);
    EXPECT_THAT(text.out, AllOf(HasSubstr("      2  QUIC datagrams (UDP port 443)"),
                                HasSubstr("      3  fragments of IP packets"), HasSubstr("      2  PPPoE frames"),
                                HasSubstr("14 frames, "), HasSubstr("1970-01-01T00:29:40.000000Z")));
}

}  // namespace
}  // namespace tarn::host
