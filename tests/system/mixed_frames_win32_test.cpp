// A capture of everything through WSScanPacket of the built library: which frames the packet-signature module is asked
// about, which addresses the categorisation module, against a recount of the frames and the dissector's connections.
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

#include "smb/captured_creates.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

constexpr char kCapture[] = "mixed_small.pcap";
constexpr std::size_t kFrames = 884;
constexpr std::size_t kServiceFrames = 214;  // 76 to or from MySQL, 66 and 26 SQL Server, 46 remote desktop
const std::string kThisMachine = "10.20.30.10";
const std::set<unsigned> kServices = {445, 1433, 1434, 3306, 3389};

using Frame = std::vector<std::uint8_t>;

std::string AddressAt(const Frame& frame, std::size_t offset) {
    std::string text;
    for (std::size_t i = 0; i < 4; ++i) text += (i == 0 ? "" : ".") + std::to_string(frame[offset + i]);
    return text;
}

bool IsInbound(const Frame& frame) {
    return frame[12] == 8 && frame[13] == 0 && AddressAt(frame, 30) == kThisMachine;
}

// The remote address of a frame to or from a guarded service of this machine, or nothing.
std::string RemoteOfService(const Frame& frame) {
    if (frame[12] != 8 || frame[13] != 0 || frame[23] != 6) return "";
    const bool isInbound = IsInbound(frame);
    const std::size_t localPort = 14U + 4U * (frame[14] & 15U) + (isInbound ? 2 : 0);
    const unsigned port = frame[localPort] * 256U + frame[localPort + 1];
    return kServices.contains(port) ? AddressAt(frame, isInbound ? 26 : 30) : "";
}

struct MixedFrames : SystemFixture {
    MixedFrames() {
        answers.idsIpsStatus.enabled = 1;
        answers.categoryCount = 1;
        answers.packetVerdict.action = 2;
    }

    // The frame numbers that were blocked; the frame's number is its rule.
    std::set<std::size_t> Replay() {
        EXPECT_TRUE(Init());
        NewLines();
        std::set<std::size_t> blocked;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            PacketVerdict packet{};
            EXPECT_EQ(tarn.WSScanPacket(frames[i].data(), static_cast<std::uint32_t>(frames[i].size()),
                                        static_cast<std::uint16_t>(i + 1), IsInbound(frames[i]) ? 1 : 0, 0, &packet),
                      1);
            if (packet.action == TARN_PACKET_BLOCK) blocked.insert(i + 1);
        }
        return blocked;
    }

    std::string SignatureLine(std::size_t number) const {
        const Frame& frame = frames[number - 1];
        return "PKSScanPacket " + std::to_string(frame.size()) + " " + std::to_string(number) + " " +
               (IsInbound(frame) ? "1" : "0");
    }

    const std::vector<Frame> frames = smb::ReadFrames(kCapture);
};

TEST_F(MixedFrames, HarmlessPeersReachTheSignaturesWithEveryFrame) {
    answers.categories[0] = 5;
    ASSERT_EQ(frames.size(), kFrames);
    EXPECT_TRUE(Replay().empty());
    std::vector<std::string> expected;
    for (std::size_t number = 1; number <= frames.size(); ++number) {
        if (const std::string peer = RemoteOfService(frames[number - 1]); !peer.empty()) {
            expected.push_back("SCGetURLCategories " + peer + " 0");
            expected.emplace_back("SCReleaseCategories");
        }
        expected.push_back(SignatureLine(number));
    }
    EXPECT_EQ(expected.size(), kFrames + 2 * kServiceFrames);
    EXPECT_EQ(NewLines(), expected);
}

TEST_F(MixedFrames, AnAttackersServiceFramesDoNotReachTheSignatures) {
    answers.categories[0] = 2;
    const std::set<std::size_t> blocked = Replay();
    std::set<std::string> known;
    std::set<std::size_t> expectedBlocked;
    std::vector<std::string> expected;
    for (std::size_t number = 1; number <= frames.size(); ++number) {
        const std::string peer = RemoteOfService(frames[number - 1]);
        if (peer.empty()) {
            expected.push_back(SignatureLine(number));
            continue;
        }
        expectedBlocked.insert(number);
        if (!known.insert(peer).second) continue;
        expected.push_back("SCGetURLCategories " + peer + " 0");
        expected.emplace_back("SCReleaseCategories");
    }
    EXPECT_EQ(blocked, expectedBlocked);
    EXPECT_EQ(blocked.size(), kServiceFrames);
    EXPECT_EQ(NewLines(), expected);
}

TEST_F(MixedFrames, TheDissectorsConnectionsToTheServicesAreTheBlockedOnes) {
    answers.categories[0] = 2;
    const std::set<std::size_t> blocked = Replay();
    std::ifstream input(TARN_CAPTURE_FOLDER "/mixed_small.truth.jsonl");
    std::size_t toServices = 0;
    std::size_t others = 0;
    for (std::string line; std::getline(input, line);) {
        const auto found = nlohmann::json::parse(line);
        if (found["kind"] != "tcp_syn") continue;
        const bool isGuarded = found["dst"] == kThisMachine && !found.contains("vlan") &&
                               kServices.contains(found["dport"].get<unsigned>());
        EXPECT_EQ(blocked.contains(found["frame"].get<std::size_t>()), isGuarded) << line;
        ++(isGuarded ? toServices : others);
    }
    EXPECT_EQ(toServices, 16U);
    EXPECT_EQ(others, 46U) << "tagged, IPv6, outbound and to other services";
}

TEST_F(MixedFrames, WithTheFeatureOffNobodyIsAsked) {
    answers.categories[0] = 2;
    answers.idsIpsStatus.enabled = 0;
    EXPECT_TRUE(Replay().empty());
    EXPECT_TRUE(NewLines().empty());
}

}  // namespace
}  // namespace tarn::system_test
