// What replay makes of the frame scans' answers: direction, report, blocked addresses, connections to reset.
#include "host/frame_scan.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>

#include "host/capture_bytes.h"
#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::size_t kFirstRequest = 4;  // its frame in kCurl
constexpr std::size_t kFirstAnswer = 6;

PacketVerdict Attack(std::uint32_t reason) {
    PacketVerdict verdict{};
    verdict.action = TARN_PACKET_BLOCK;
    verdict.reason = reason;
    verdict.filled = 1;
    const char16_t description[] = u"Found";
    std::memcpy(static_cast<void*>(&verdict.description), description, sizeof description);
    return verdict;
}

// An attack in the frames of these numbers.
std::function<PacketVerdict(std::size_t)> AttackIn(std::vector<std::size_t> frames) {
    return [frames](std::size_t number) {
        const bool isOne = std::find(frames.begin(), frames.end(), number) != frames.end();
        return isOne ? Attack(27) : FakeLibrary::Harmless();
    };
}

TEST(FrameScan, EveryFrameGoesToBothScansInTheOrderOfTheCapture) {
    FakeEnvironment environment;
    EXPECT_EQ(RunWith(environment, {"replay", kMixed}).code, 0);
    std::ifstream input(kMixed, std::ios::binary);
    CaptureReader reader(input);
    CapturedFrame frame;
    std::size_t count = 0;
    for (; reader.Next(frame); ++count) {
        ASSERT_LT(count, environment.library.packets.size());
        ASSERT_EQ(environment.library.packets[count].frame, frame.bytes);
    }
    EXPECT_EQ(count, 884u);
    EXPECT_THAT(environment.library.packets, SizeIs(count));
    EXPECT_THAT(environment.library.smbInbound, SizeIs(count));
}

// The service's port, which is the lower one whoever sends.
TEST(FrameScan, TheRuleIsTheServicesPort) {
    FakeEnvironment environment;
    RunWith(environment, {"replay", kCurl});
    EXPECT_EQ(environment.library.packets.at(kFirstRequest - 1).rule, 80);
    EXPECT_EQ(environment.library.packets.at(kFirstAnswer - 1).rule, 80);
}

TEST(FrameScan, TheClientOfTheFirstConnectionCountsAsThisMachine) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", kCurl});
    EXPECT_THAT(run.out, HasSubstr("  10.20.30.41 counts as this machine"));
    EXPECT_FALSE(environment.library.packets.at(kFirstRequest - 1).inbound);
    EXPECT_TRUE(environment.library.packets.at(kFirstAnswer - 1).inbound);
    EXPECT_FALSE(environment.library.smbInbound.at(kFirstRequest - 1));
}

TEST(FrameScan, ANamedAddressTurnsTheDirectionRound) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--local", "10.20.30.10", kCurl});
    EXPECT_THAT(run.out, Not(HasSubstr("counts as this machine")));
    EXPECT_TRUE(environment.library.packets.at(kFirstRequest - 1).inbound);
    EXPECT_FALSE(environment.library.packets.at(kFirstAnswer - 1).inbound);
}

TEST(FrameScan, ANamedAddressMustBeOne) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--local", "here", kCurl});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.errors, HasSubstr("--local here: an address is wanted"));
}

TEST(LocalSide, GuessesOncePerFamilyAndByTheHigherPortWithoutAHandshake) {
    LocalSide side({});
    TransportView answer;
    answer.isTcp = true;
    answer.source = {*ParseIpAddress("192.0.2.10"), 80};
    answer.destination = {*ParseIpAddress("192.0.2.31"), 50000};
    EXPECT_EQ(side.Learn(answer), ParseIpAddress("192.0.2.31"));
    std::swap(answer.source.address, answer.destination.address);
    EXPECT_EQ(side.Learn(answer), std::nullopt);
    TransportView sixth;
    sixth.isTcp = true;
    sixth.syn = sixth.ack = true;  // the answer to a handshake, from a service on a high port
    sixth.source = {*ParseIpAddress("2001:db8::1"), 60000};
    sixth.destination = {*ParseIpAddress("2001:db8::2"), 50000};
    EXPECT_EQ(side.Learn(sixth), ParseIpAddress("2001:db8::2"));
    EXPECT_TRUE(side.IsLocal(*ParseIpAddress("192.0.2.31")));
    EXPECT_FALSE(side.IsLocal(*ParseIpAddress("192.0.2.10")));
}

TEST(FrameScan, AnAttackedConnectionIsToldOnceInTextAndPerFrameInJson) {
    FakeEnvironment environment;
    environment.library.onPacket = AttackIn({1, 3, kFirstAnswer});  // of one connection, sent by either side
    const Ran text = RunWith(environment, {"replay", kCurl});
    const std::size_t first = text.out.find("packet, local port 58822");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(text.out.find("packet, local port", first + 1), std::string::npos);
    EXPECT_THAT(text.out, AllOf(HasSubstr("27 attack on SQL Server                  Found\n"),
                                HasSubstr("3 frames with an attack: 3 blocked")));
    FakeEnvironment again;
    again.library.onPacket = AttackIn({1, 3, kFirstAnswer});
    const auto lines = Events(RunWith(again, {"replay", "--json", kCurl}), "attack");
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["flow"]["server"], "10.20.30.10");
    EXPECT_EQ(lines[0]["flow"]["server_port"], 80);
    EXPECT_EQ(lines[0]["direction"], "outbound");
    EXPECT_EQ(lines[0]["sent_by"], "client");
    EXPECT_EQ(lines[2]["frame"], kFirstAnswer);
    EXPECT_EQ(lines[2]["direction"], "inbound");
    EXPECT_EQ(lines[2]["sent_by"], "server");
    EXPECT_EQ(lines[2]["flow"], lines[0]["flow"]);
    EXPECT_TRUE(lines[0]["latency_ns"].is_number_unsigned());
    EXPECT_FALSE(lines[0].contains("dropped"));
}

TEST(FrameScan, ARuleThatTheUserExcludedIsToldAndNothingIsDone) {
    FakeEnvironment environment;
    environment.library.onPacket = [](std::size_t number) {
        PacketVerdict verdict = Attack(20);
        verdict.action = TARN_PACKET_ALLOW;
        return number == kFirstRequest ? verdict : FakeLibrary::Harmless();
    };
    const Ran run = RunWith(environment, {"replay", "--drop", kCurl});
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("20 rule excluded by the user"), HasSubstr("1 frame with an attack: 0 blocked")));
    EXPECT_THAT(environment.library.dropped, IsEmpty());
    EXPECT_THAT(environment.library.blockedAddresses, IsEmpty());
}

TEST(FrameScan, AnAttackInARequestBlocksItsAddress) {
    FakeEnvironment environment;
    environment.library.onPacket = AttackIn({kFirstRequest, kFirstAnswer, 14});
    const Ran run = RunWith(environment, {"replay", kCurl});
    EXPECT_THAT(environment.library.blockedAddresses,
                ElementsAre("www.lantern.example /", "www.lantern.example /with/port?x=1&y=2"));
    EXPECT_THAT(run.out, HasSubstr("(blocked from now on: www.lantern.example/with/port?x=1&y=2)"));
}

TEST(FrameScan, DropsEachAttackedConnectionOnceAndOnlyWhenAsked) {
    FakeEnvironment quiet;
    quiet.library.onPacket = AttackIn({kFirstAnswer});
    RunWith(quiet, {"replay", kCurl});
    EXPECT_THAT(quiet.library.dropped, IsEmpty());

    FakeEnvironment environment;
    environment.library.onPacket = AttackIn({kFirstRequest, kFirstAnswer, 14});
    const auto lines = Events(RunWith(environment, {"replay", "--json", "--drop", kCurl}), "attack");
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["dropped"], true);
    EXPECT_FALSE(lines[1].contains("dropped"));
    EXPECT_EQ(lines[2]["dropped"], true);
    EXPECT_THAT(environment.library.dropped, SizeIs(2));
}

// The library takes a frame's source for this machine's end, so an inbound frame is turned round for it.
TEST(FrameScan, AnInboundAttackIsDroppedWithAFrameAsThisMachineWouldSendIt) {
    FakeEnvironment environment;
    environment.library.canDrop = false;
    environment.library.onPacket = AttackIn({kFirstAnswer});
    const Ran run = RunWith(environment, {"replay", "--drop", kCurl});
    EXPECT_THAT(run.out, HasSubstr("(no such connection to reset)"));
    ASSERT_THAT(environment.library.dropped, SizeIs(1));
    const auto view = ViewTransport(environment.library.dropped[0]);
    ASSERT_TRUE(view);
    EXPECT_EQ(FormatIpAddress(view->source.address), "10.20.30.41");
    EXPECT_EQ(view->source.port, 58822);
    EXPECT_EQ(FormatIpAddress(view->destination.address), "10.20.30.10");
    EXPECT_EQ(view->destination.port, 80);
}

// The library reads without a length: whatever the header says, the ports lie inside.
TEST(OutboundFrame, ReachesBehindThePortsOrIsEmpty) {
    FakeEnvironment environment;
    RunWith(environment, {"replay", kCurl});
    const std::vector<std::uint8_t> whole = environment.library.packets.at(0).frame;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const std::vector<std::uint8_t> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const std::vector<std::uint8_t> frame = OutboundFrame(cut, true);
        EXPECT_EQ(frame.size(), length < 38 ? 0 : std::max<std::size_t>(length, 78)) << length;
    }
    std::vector<std::uint8_t> tagged = whole;
    tagged[12] = 0x81;
    EXPECT_THAT(OutboundFrame(tagged, false), IsEmpty());
    std::vector<std::uint8_t> datagram = whole;
    datagram[23] = 17;
    EXPECT_THAT(OutboundFrame(datagram, false), IsEmpty());
}

TEST(FrameScan, FilesOnSharesAreTold) {
    FakeEnvironment environment;
    environment.library.onSmb = [](std::size_t number) -> std::optional<SmbScanResult> {
        if (number < 5 || number > 7) return std::nullopt;
        SmbScanResult result{};
        const char16_t share[] = u"\\\\server\\inbox";
        const char16_t file[] = u"f\x1b.txt";
        std::memcpy(static_cast<void*>(&result.sharePath), share, sizeof share);
        std::memcpy(static_cast<void*>(&result.fileName), file, sizeof file);
        const std::uint8_t client[] = {192, 0, 2, 31};
        std::memcpy(static_cast<void*>(&result.destinationAddress), client, sizeof client);
        result.createAction = static_cast<std::uint16_t>(number - 5);
        return result;
    };
    const Ran run = RunWith(environment, {"replay", kCurl});
    EXPECT_THAT(run.out, AllOf(HasSubstr("192.0.2.31       \\\\server\\inbox"), HasSubstr("f\\x1b.txt"),
                               HasSubstr("3 files written on shares\n      1  created\n      1  replaced\n"
                                         "      1  superseded\n")));
    const auto lines = Events(RunWith(environment, {"replay", "--json", kCurl}), "file");
    EXPECT_THAT(lines, IsEmpty());  // the numbers have gone on
}

TEST(FrameScan, SaysWhatIsNotExamined) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--json", kMixed});
    const auto summary = JsonLines(run.out).back();
    const auto& silent = summary["not_examined"];
    EXPECT_EQ(silent["vlan"].get<int>() + silent["ipv6"].get<int>(), 176 + 130);
    EXPECT_EQ(silent["other_frame"], 0);
    EXPECT_EQ(silent["smb_encrypted"], 0);
    EXPECT_GT(silent["unknown_protocol"], 0);
    FakeEnvironment smb;
    const Ran encrypted = RunWith(smb, {"replay", CaptureFileOf("smb2_300_encrypted_other_client.pcap")});
    EXPECT_THAT(encrypted.out, HasSubstr("encrypted SMB messages"));
}

TEST(ReplayCommand, BriefLeavesOutWhatNoRuleDecided) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--brief", kCurl});
    EXPECT_THAT(run.out, AllOf(HasSubstr("  37 requests that no rule decided are left out, 10 of them not judged\n"),
                               HasSubstr("37 requests: 37 allowed"), Not(HasSubstr("time (UTC)"))));
    EXPECT_THAT(Events(RunWith(environment, {"replay", "--brief", "--json", kCurl}), "verdict"), IsEmpty());
    environment.library.answer = FakeLibrary::Malicious("X", "a.example/");
    EXPECT_THAT(Events(RunWith(environment, {"replay", "--brief", "--json", kCurl}), "verdict"), SizeIs(37));
}

}  // namespace
}  // namespace tarn::host
