// The loaded library with the settings that URL scans read: lists, profiles, requests of a chosen process and kind.
#ifndef TARN_TESTS_SYSTEM_SCAN_FIXTURE_WIN32_H
#define TARN_TESTS_SYSTEM_SCAN_FIXTURE_WIN32_H

#include <array>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "system/expected_verdict.h"
#include "system/system_fixture_win32.h"
#include "url/profile_records.h"

namespace tarn::system_test {

// The identifier of the account that the tests run under, as a profile carries it, and its name.
std::array<std::uint8_t, 68> OwnIdentifier();
std::u16string OwnName();

inline const std::string kAddress("\xCB\x00\x71\x05", 4);
// No process has this number.
inline constexpr std::uint32_t kNobody = 0xFFFFFFF1;

class ScanRecords : public SystemFixture {
 public:
    // Tables of cases stand outside of the fixture.
    using SystemFixture::answers;
    using SystemFixture::remote;
    using SystemFixture::stop;

    // ---- Settings, read by the next Init ----
    // Browsing protection on (prompt bytes 3 and 4) and the host on the malicious list.
    void MakeMalicious(const std::string& host, const std::string& threatName);
    // Anti-phishing on (prompt bytes 5 and 6) and the host on the phishing list.
    void MakePhishing(const std::string& host);
    void LetUserAllow(const std::string& url) { answers.bpUserWhiteList = ListOf(url); }
    void LetBrowsingProtectionAllow(const std::string& url) { answers.bpInternalWhiteList = ListOf(url); }
    void LetWebSecurityAllow(const std::string& url) { answers.wsInternalWhiteList = ListOf(url); }
    void Categorise(const std::vector<std::uint16_t>& categories);
    // Parental settings with prompt bytes 31 and 32; a profile whose sid is 0 belongs to the account of the tests.
    void TakeProfiles(const std::vector<url::ProfileShape>& shapes, std::uint8_t mode = TARN_PC_ONE_FOR_ALL);
    // The first profile's schedule runs; days hold one range each, or none where its end is 0.
    void Schedule(const std::array<TimeRange, 7>& days);
    void BlockAddress(const std::string& host, const std::string& requestText);

    // Answers and request as at the beginning, the library as it is: for tables of cases.
    void StartAnew();

    // ---- Requests ----
    // A scan of a copy of data with its one spare byte, by a process, at an address.
    bool Ask(const std::string& data);
    bool Visit(const std::string& host, const std::string& target) {
        return Ask("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    }
    std::string Prompt() const { return std::to_string(prompt.report) + " " + std::to_string(prompt.prompt); }
    static inline const std::string kPromptUntouched = "205 205";

    std::uint32_t processId = GetCurrentProcessId();
    std::uint8_t kind = TARN_KIND_HTTP;

 private:
    UrlListRecord ListOf(const std::string& url);

    std::deque<std::array<char, TARN_URL_CAPACITY>> urls_;
    std::deque<std::string> hosts_;
    ThreatNode threat_{};
    ThreatSiteEntry maliciousSite_{};
    PhishingSiteEntry phishingSite_{};
    std::unique_ptr<url::ProfileRecords> profiles_;
    std::array<TimeRange, 7> days_{};
};

}  // namespace tarn::system_test

#endif
