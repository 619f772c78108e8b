// Captures that are damaged, of a wrong kind or not there: what can be read is judged, the rest is named.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/capture_bytes.h"
#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// The first frames of a real capture: a handshake, a request and the beginning of its answer.
ByteList FirstFrames(std::size_t count) {
    std::ifstream input(kCurl, std::ios::binary);
    CaptureReader reader(input);
    ByteList file = PcapHeader();
    CapturedFrame frame;
    for (std::size_t i = 0; i < count && reader.Next(frame); ++i) {
        const ByteList record =
            PcapFrame(static_cast<std::uint32_t>(frame.timeNanoseconds / 1000000000), 0, frame.bytes);
        file.insert(file.end(), record.begin(), record.end());
    }
    return file;
}

TEST(ReplayCommand, JudgesTheRequestsOfACapture) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--map", "10.20.30.10=192.0.2.10", kCurl});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.errors, IsEmpty());
    ASSERT_THAT(environment.library.scanned, SizeIs(37));
    EXPECT_EQ(FormatIpAddress(environment.library.scanned[0].server.address), "192.0.2.10");
    EXPECT_EQ(environment.library.scanned[0].server.port, 80);
    EXPECT_THAT(run.out, AllOf(HasSubstr("http_curl.pcap\n"),
                               HasSubstr("10.20.30.10 of the capture is replaced by "
                                         "192.0.2.10"),
                               HasSubstr("01:00:29.389854  10.20.30.41      www.lantern.example"),
                               HasSubstr("37 requests: 37 allowed, 0 blocked")));
}

TEST(ReplayCommand, JsonNamesFrameClientAndReplacement) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--json", "--map", "10.20.30.10=192.0.2.10", kCurl});
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(Events(run, "verdict"), SizeIs(37));
    EXPECT_EQ(lines[0]["type"], "verdict");
    EXPECT_EQ(lines[0]["capture"], "http_curl.pcap");
    EXPECT_EQ(lines[0]["frame"], 4);
    const auto& flow = lines[0]["flow"];
    EXPECT_EQ(flow["client"], "10.20.30.41");
    EXPECT_EQ(flow["client_port"], 58822);
    EXPECT_EQ(flow["server"], "10.20.30.10");
    EXPECT_EQ(flow["server_mapped"], "192.0.2.10");
    EXPECT_FALSE(flow.contains("client_mapped"));
    EXPECT_EQ(lines.back()["replaced_addresses"][0]["from"], "10.20.30.10");
    EXPECT_THAT(lines.back()["local_addresses"], testing::ElementsAre("10.20.30.41"));
}

TEST(ReplayCommand, AFileThatIsNotThereDoesNotKeepTheOthersFromBeingJudged) {
    FakeEnvironment environment;
    const TemporaryFile empty("notes.txt", std::string());
    const Ran run = RunWith(environment, {"replay", "no-such.pcap", empty.Folder(), kCurl});
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("tarnhost: no-such.pcap: cannot be opened"),
                                  HasSubstr("there is no capture in this folder")));
    EXPECT_THAT(run.out, HasSubstr("2 inputs could not be read"));
    EXPECT_THAT(environment.library.scanned, SizeIs(37));
}

TEST(ReplayCommand, NamesALinkTypeThatItDoesNotKnow) {
    FakeEnvironment environment;
    const TemporaryFile capture("any.pcap", PcapHeader({.linkType = 105}));
    const Ran run = RunWith(environment, {"replay", capture.Path()});
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.errors, AllOf(HasSubstr(capture.Path()), HasSubstr("link type 105 (IEEE 802.11)")));
    EXPECT_THAT(run.out, HasSubstr("0 requests"));
}

TEST(ReplayCommand, RefusesWhatIsNoCapture) {
    FakeEnvironment environment;
    const TemporaryFile text("any.pcap", std::string("host = \"a.example\"\n"));
    const Ran run = RunWith(environment, {"replay", text.Path()});
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.errors, HasSubstr("is no capture"));
}

// Whatever is missing at the end: the frames before it are judged, and only a cut between two frames goes unnoticed.
TEST(ReplayCommand, EveryTruncationOfACaptureIsNamed) {
    const ByteList whole = FirstFrames(5);
    std::vector<std::size_t> ends{24};
    for (std::size_t frames = 1; frames <= 5; ++frames) ends.push_back(FirstFrames(frames).size());
    const TemporaryFile capture("cut.pcap", std::string());
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        capture.Write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        FakeEnvironment environment;
        const Ran run = RunWith(environment, {"replay", "--json", capture.Path()});
        const bool isBetween = std::find(ends.begin(), ends.end(), length) != ends.end();
        EXPECT_EQ(run.code, isBetween ? kCodeOk : kCodeFailed);
        const std::string message = length == 0 ? "is empty" : "ends at offset " + std::to_string(length);
        EXPECT_THAT(run.errors, isBetween ? testing::Matcher<std::string>(IsEmpty()) : HasSubstr(message));
        // The fourth frame holds the request.
        EXPECT_THAT(environment.library.scanned, SizeIs(length >= ends[4] ? 1 : 0));
        for (const auto& line : JsonLines(run.out)) EXPECT_TRUE(line.is_object());
    }
}

}  // namespace
}  // namespace tarn::host
