// Real conversations: every created and overwritten file that a dissector found is reported, or a limit says why not.
#include <gtest/gtest.h>

#include "smb/capture_cases.h"

namespace tarn::smb {
namespace {

Events ReportedBy(const std::vector<std::vector<std::uint8_t>>& frames) {
    Events events;
    Monitor monitor;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const bool answer = monitor.Scan(frames[i]);
        if (const auto event = monitor.Event()) {
            EXPECT_TRUE(answer);
            events.push_back({i + 1, *event});
        } else {
            EXPECT_TRUE(monitor.SaysNothing()) << i + 1;
        }
    }
    return events;
}

TEST(Captures, EveryCreateIsReportedOrExplained) {
    for (const auto& [capture, outcomes] : kCaptureCases) {
        SCOPED_TRACE(capture);
        const auto frames = ReadFrames(capture);
        const Expectation expected = ExpectedOf(ReadCreates(capture), frames);
        EXPECT_EQ(ReportedBy(frames), expected.events);
        EXPECT_EQ(expected.outcomes, outcomes);
    }
}

}  // namespace
}  // namespace tarn::smb
