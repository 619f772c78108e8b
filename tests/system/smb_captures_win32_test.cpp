// The captured SMB conversations through WSScanSMBPacket of the built library, frame by frame. The system's own
// companions have no part in it; what a host sees of a file event is the result record alone.
#include <gtest/gtest.h>

#include "smb/capture_cases.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

constexpr std::uint32_t kServer = 0x0A0200C0;  // 192.0.2.10 in network order
constexpr std::uint32_t kLoopback = 0x0100007F;

struct SmbCaptures : SystemFixture {
    // What the export reports for each frame; everything else that it may write must stay as it was.
    smb::Events ReportedBy(const std::vector<std::vector<std::uint8_t>>& frames) {
        smb::Events events;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            SmbScanResult result;
            std::memset(&result, smb::kFilling, sizeof result);
            SmbScanResult nothing = result;
            nothing.resultKind = TARN_SMB_NOTHING;
            const std::uint8_t answer =
                tarn.WSScanSMBPacket(frames[i].data(), static_cast<std::uint32_t>(frames[i].size()), 0, &result);
            if (result.resultKind != TARN_SMB_FILE_EVENT) {
                EXPECT_EQ(std::memcmp(&result, &nothing, sizeof result), 0) << "frame " << i + 1;
                continue;
            }
            EXPECT_EQ(answer, 1);
            EXPECT_EQ(result.eventClass, std::uint32_t{TARN_SMB_FILE_EVENT_CLASS});
            const std::uint32_t server = result.sourceAddress;
            EXPECT_TRUE(server == kServer || server == kLoopback) << std::hex << server;
            EXPECT_EQ(std::memcmp(&frames[i][26], &result.sourceAddress, 8), 0)
                << "both addresses, as the frame has them";
            events.push_back(
                {i + 1, {smb::TextOf(&result.sharePath), smb::TextOf(&result.fileName), result.createAction}});
        }
        return events;
    }
};

TEST_F(SmbCaptures, EveryCreateIsReportedOrExplained) {
    for (const auto& [capture, outcomes] : smb::kCaptureCases) {
        SCOPED_TRACE(capture);
        ASSERT_TRUE(Init());  // which forgets the conversations before
        const auto frames = smb::ReadFrames(capture);
        const smb::Expectation expected = smb::ExpectedOf(smb::ReadCreates(capture), frames);
        EXPECT_EQ(ReportedBy(frames), expected.events);
        EXPECT_EQ(expected.outcomes, outcomes);
    }
}

// A conversation that is cut in two by a restart: what was pending and connected before is forgotten.
TEST_F(SmbCaptures, ARestartForgetsTheConversation) {
    const auto frames = smb::ReadFrames("smb2_311_signed.pcap");
    ASSERT_TRUE(Init());
    const smb::Events whole = ReportedBy(frames);
    ASSERT_FALSE(whole.empty());
    const auto cut = frames.begin() + static_cast<std::ptrdiff_t>(whole.front().first - 1);
    Deinit();
    ASSERT_TRUE(Init());
    EXPECT_EQ(ReportedBy({frames.begin(), cut}), smb::Events{});
    Deinit();
    ASSERT_TRUE(Init());
    EXPECT_EQ(ReportedBy({cut, frames.end()}), smb::Events{}) << "neither the request nor its tree is known";
}

}  // namespace
}  // namespace tarn::system_test
