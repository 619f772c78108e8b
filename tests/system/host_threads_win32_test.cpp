// The built library under a host's threads, with settings that change while the scans pause.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "api/host_threads.h"
#include "system/import_patch_win32.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

void WINAPI StandingClock(SYSTEMTIME* time) {
    *time = {2026, 3, 3, 18, 12, 0, 0, 0};
}

class HostThreads : public SystemFixture {
 protected:
    void SetUp() override {
        ASSERT_TRUE(clock_.IsInPlace());
        std::strcpy(white_[0], api::kWhiteHost);
        threat_ = {1, HashOf(api::kMaliciousHost), const_cast<char*>(api::kMaliciousHost), nullptr};
        phish_ = {1, HashOf(api::kPhishingHost), const_cast<char*>(api::kPhishingHost), nullptr};
        answers.bpStatus = answers.apStatus = answers.idsIpsStatus.enabled = 1;
        answers.wsInternalWhiteList = {1, white_};
        answers.bpSettings = {1, &threat_};
        answers.apSettings = {1, &phish_};
        answers.categoryCount = 1;
        answers.categories[0] = 2;
        answers.keepsSessions = 1;
        profile.leading.controlled = profile.leading.scheduleMode = 1;
        profile.leading.profileSwitch = profile.leading.scheduleSwitch = 1;
        for (auto& day : profile.schedule) day = {1, &wholeDay_};
        DeliverOneProfile();
        ASSERT_TRUE(Init(TARN_START_RESTART));
    }
    const api::HostCalls calls{tarn.WSScanUrl, tarn.WSScanPacket, tarn.WSScanSMBPacket, tarn.WSScanLogonEventForPCCTRL,
                               tarn.WSAddURLToIDSBlockedList};

 private:
    char white_[1][TARN_URL_CAPACITY] = {};
    ThreatSiteEntry threat_{};
    PhishingSiteEntry phish_{};
    TimeRange wholeDay_{0, 0, 23, 59};
    ImportPatch clock_{Library(), "GetLocalTime", StandingClock};
};

TEST_F(HostThreads, EveryVerdictIsTheOneThatItsThreadKnows) {
    constexpr std::size_t kRounds = 4;
    constexpr std::size_t kTurns = 40;
    const api::HostReport report =
        api::RunHostThreads(calls, {kTurns, [](std::size_t round) { return round + 1 < kRounds; }});
    EXPECT_EQ(report.wrong, 0U) << report.firstWrong;
    EXPECT_EQ(report.sharedTicks, api::kHostThreads * kTurns * kRounds);
    Deinit();
    EXPECT_EQ(answers.savedSessions, 9U);
}

TEST_F(HostThreads, ChangesBetweenTheScansChangeNoVerdict) {
    // Every kind and every bit in turn; each reads what was there before.
    std::size_t changes = 0;
    const std::uint32_t masks[] = {0x40, 0x04, 0x08, 0x01, 0x02, 0x10, 0x20, 0x1000, 0x10FF};
    const api::HostReport report = api::RunHostThreads(
        calls, {3, [&](std::size_t round) {
                    if (round <= 8)
                        EXPECT_EQ(tarn.WSSettingsChanged(static_cast<std::uint32_t>(round), 1, 2, 3), 1U) << round;
                    else
                        EXPECT_EQ(tarn.WSUpdateSettingsChanged(&masks[round - 9]), 1) << masks[round - 9];
                    ++changes;
                    return changes < 18;
                }});
    EXPECT_EQ(report.wrong, 0U) << report.firstWrong;
    EXPECT_EQ(changes, 18U);
    Deinit();
    EXPECT_EQ(answers.savedSessions, 9U) << "eight accounts and the one that all report";
}

TEST_F(HostThreads, ARestartBetweenTheScansKeepsTheAccounts) {
    std::size_t wrongAfterRestart = 0;
    for (int restart = 0; restart < 3; ++restart) {
        const api::HostReport report = api::RunHostThreads(calls, {5, [](std::size_t) { return false; }});
        wrongAfterRestart += report.wrong;
        tarn.WSShutDown(0, 0, 0, 0);
        ASSERT_TRUE(Init(TARN_START_RESTART));
    }
    EXPECT_EQ(wrongAfterRestart, 0U);
    EXPECT_EQ(answers.savedSessions, 9U);
}

}  // namespace
}  // namespace tarn::system_test
