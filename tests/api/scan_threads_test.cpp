// The whole library under a host's threads, without a system beneath it: every verdict is known beforehand.
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "api/fake_platform.h"
#include "api/host_threads.h"
#include "api/library.h"
#include "base/hash.h"
#include "network/packet_scan.h"
#include "parental/logon_check.h"
#include "smb/frame_dispatch.h"
#include "url/url_scan.h"

namespace tarn::api {
namespace {

// Plain functions can reach it only as a global.
Library* theLibrary = nullptr;

std::uint8_t TARN_CALL ScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt) {
    return url::ScanUrl(theLibrary->urlScan, *request, *verdict, *prompt) ? 1 : 0;
}
std::uint8_t TARN_CALL ScanPacket(const std::uint8_t* frame, std::uint32_t length, std::uint16_t ruleId,
                                  std::uint8_t inbound, std::uint64_t, PacketVerdict* verdict) {
    return network::ScanPacket(theLibrary->packetScan, frame, length, ruleId, inbound, *verdict) ? 1 : 0;
}
std::uint8_t TARN_CALL ScanSmb(const std::uint8_t* frame, std::uint32_t length, std::uint8_t direction,
                               SmbScanResult* result) {
    return smb::ScanSmbFrame({frame, length}, direction, theLibrary->smbTables, *result) ? 1 : 0;
}
std::uint8_t TARN_CALL CheckLogon(const LogonEvent* event, LogonVerdict* verdict) {
    return theLibrary->parental.Write([&](ParentalTables& tables) {
        return parental::ScanLogonEvent(*event, *verdict, tables.sessions, tables.settings,
                                        theLibrary->machine.Clock());
    })
               ? 1
               : 0;
}
std::uint8_t TARN_CALL BlockAddress(const IdsBlockRequest* request) {
    theLibrary->idsBlockedList.Add(*request);
    return 1;
}

// Category 2 for everything that is asked.
std::uint8_t TARN_CALL MaliciousCategory(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    *categories = new std::uint16_t(2);
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL ReleaseCategory(std::uint16_t* categories) {
    delete categories;
    return 1;
}

class ScanThreads : public testing::Test {
 protected:
    ScanThreads() {
        theLibrary = library.get();
        library->settings.bpStatus = library->settings.apStatus = library->settings.idsIpsStatus = 1;
        library->companions.categorisation =
            modules::Categorisation{.SCGetURLCategories = MaliciousCategory, .SCReleaseCategories = ReleaseCategory};
        EXPECT_TRUE(library->dnsRing.Allocate());
        PublishLists();
        TakeProfile();
        EXPECT_TRUE(library->scheduleWorker.Start(library->parental.Settings(), error));
    }
    ~ScanThreads() override {
        EXPECT_TRUE(library->scheduleWorker.Stop());
        theLibrary = nullptr;
    }

    void PublishLists() {
        char white[1][TARN_URL_CAPACITY] = {};
        std::memcpy(white[0], kWhiteHost, std::strlen(kWhiteHost));
        library->lists.webSecurityInternal.Publish(UrlListRecord{1, white});
        std::string malicious = kMaliciousHost;
        ThreatSiteEntry threat{1, base::Crc32Of(malicious), malicious.data(), nullptr};
        library->lists.malicious.Publish(ThreatSiteList{1, &threat});
        std::string phishing = kPhishingHost;
        PhishingSiteEntry phish{1, base::Crc32Of(phishing), phishing.data(), nullptr};
        library->lists.phishing.Publish(PhishingSiteList{1, &phish});
    }

    // One schedule for all users: browsing at any time, no hour for a controlled account.
    void TakeProfile() {
        TimeRange wholeDay{0, 0, 23, 59};
        PcUserEntryRecord entry{};
        entry.leading.controlled = 1;
        entry.leading.scheduleMode = 1;
        entry.leading.profileSwitch = entry.leading.scheduleSwitch = 1;
        for (auto& day : entry.schedule) day = {1, &wholeDay};
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entryCount = 1;
        record.entries = &entry;
        library->parental.Write([&](ParentalTables& tables) {
            ASSERT_TRUE(parental::CopyPcSettings(record, tables.settings));
            tables.profiles = lists::PublishProfiles(tables.settings);
        });
    }

    static constexpr HostCalls kCalls{ScanUrl, ScanPacket, ScanSmb, CheckLogon, BlockAddress};
    FakePlatform platform;
    std::unique_ptr<Library> library = std::make_unique<Library>(platform);
    std::uint32_t error = 0;
};

TEST_F(ScanThreads, EveryVerdictIsTheOneThatItsThreadKnows) {
    constexpr std::size_t kRounds = 10;
    const HostReport report = RunHostThreads(kCalls, {12, [](std::size_t round) { return round + 1 < kRounds; }});
    EXPECT_EQ(report.wrong, 0U) << report.firstWrong;
    EXPECT_GT(report.calls, kHostThreads * 12 * kRounds * 10);
    EXPECT_EQ(library->idsBlockedList.Size(), 12 * kRounds);
    // No tick of the account that all threads reported is lost.
    EXPECT_EQ(report.sharedTicks, kHostThreads * 12 * kRounds);
    std::uint32_t counted = 0;
    library->parental.Write([&](ParentalTables& tables) {
        for (const auto& record : tables.sessions.Records())
            if (record.sid[8] == 200) counted = record.usageTicks;
    });
    EXPECT_EQ(counted, report.sharedTicks);
}

TEST_F(ScanThreads, TheWorkerIsReplacedBetweenScans) {
    // As a change of the parental settings does it: the flag is never seen unset by a scan.
    const HostReport report =
        RunHostThreads(kCalls, {2, [&](std::size_t round) {
                                    EXPECT_TRUE(library->scheduleWorker.Stop());
                                    EXPECT_TRUE(library->scheduleWorker.Start(library->parental.Settings(), error));
                                    return round < 20;
                                }});
    EXPECT_EQ(report.wrong, 0U) << report.firstWrong;
}

}  // namespace
}  // namespace tarn::api
