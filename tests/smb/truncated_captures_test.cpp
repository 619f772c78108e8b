// Every truncation of every frame of three captures, in heap blocks of exactly its size, through both frame scans. A
// cut frame is refused, or judged as the whole one would be.
#include <gtest/gtest.h>
#include <memory>

#include "network/packet_scan.h"
#include "smb/expected_events.h"

namespace tarn::smb {
namespace {

constexpr const char* kCaptures[] = {"smb1_smbclient_names.pcap", "smb2_311_smbclient.pcap", "smb2_kernel_300.pcap"};
constexpr std::size_t kUpToThePorts = 14 + 20 + 4;

// A tree connect, a request and a response count once, whatever length is seen first: so all cuts, from the shortest
// on, report what the whole frames do, each file once.
TEST(TruncatedCaptures, ReportEveryFileOnce) {
    for (const char* const capture : kCaptures) {
        SCOPED_TRACE(capture);
        const auto frames = ReadFrames(capture);
        Monitor monitor;
        Events events;
        for (std::size_t i = 0; i < frames.size(); ++i)
            for (std::size_t length = 1; length <= frames[i].size(); ++length) {
                const bool answer = monitor.Scan(frames[i], length);
                if (const auto event = monitor.Event()) {
                    EXPECT_TRUE(answer);
                    events.push_back({i + 1, *event});
                } else {
                    ASSERT_TRUE(monitor.SaysNothing()) << i + 1 << " cut to " << length;
                }
            }
        EXPECT_EQ(events, ExpectedOf(ReadCreates(capture), frames).events);
    }
}

std::size_t signatureScans = 0;

std::uint8_t TARN_CALL CountSignatureScan(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                          PacketVerdict*) {
    ++signatureScans;
    return 1;
}

std::uint8_t TARN_CALL CallMalicious(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    static std::uint16_t malicious = 2;
    *categories = &malicious;
    *count = 1;
    return 1;
}

TEST(TruncatedCaptures, AreBlockedFromTheirPortsOn) {
    modules::Companions companions;
    companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = CountSignatureScan};
    companions.categorisation = modules::Categorisation{.SCGetURLCategories = CallMalicious};
    modules::SettingsState settings;
    settings.idsIpsStatus = 1;
    network::ReportedAttackerList attackers;
    for (const char* const capture : kCaptures) {
        SCOPED_TRACE(capture);
        for (const auto& frame : ReadFrames(capture)) {
            if (KindOf(frame) != FrameKind::kSmbPort) continue;
            ASSERT_EQ(frame[14], 0x45);
            const std::uint8_t inbound = frame[36] == 1 && frame[37] == 189 ? 1 : 0;  // to port 445
            for (std::size_t length = 1; length <= frame.size(); ++length) {
                const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[length]);
                std::copy_n(frame.begin(), length, block.get());
                PacketVerdict verdict{};
                const std::size_t before = signatureScans;
                ASSERT_TRUE(network::ScanPacket({companions, settings, 0, attackers}, block.get(),
                                                static_cast<std::uint32_t>(length), 1, inbound, verdict));
                const bool isWhole = length >= kUpToThePorts;
                ASSERT_EQ(verdict.action, isWhole ? 4U : 1U) << length;
                ASSERT_EQ(verdict.reason, isWhole ? 25U : 0U) << length;
                ASSERT_EQ(signatureScans - before, isWhole ? 0U : 1U) << length;
            }
        }
    }
}

}  // namespace
}  // namespace tarn::smb
