// WSScanUrl of the built library, byte for byte: which fields of the verdict a rule writes, and which it leaves alone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/hash.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class ScanUrl : public SystemFixture {
 protected:
    void MakeMalicious(const char* host) {
        threat = {};
        strcpy(threat.name, "Worm.Test");
        site = {1, base::Crc32Of(std::string_view(host)), const_cast<char*>(host), &threat};
        answers.bpStatus = 1;
        answers.bpPrompt = {3, 4};
        answers.bpSettings = {1, &site};
    }
    // Everything of the verdict but allow, reason and the text area still holds the caller's bytes.
    bool RestUntouched() const {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&verdict);
        for (std::size_t i = offsetof(UrlVerdict, categoryId); i < sizeof verdict; ++i)
            if (bytes[i] != 0xCD) return false;
        return true;
    }

    ThreatNode threat{};
    ThreatSiteEntry site{};
};

TEST_F(ScanUrl, TheDefaultVerdictWritesTwoFields) {
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    EXPECT_EQ(static_cast<unsigned char>(verdict.text.url[0]), 0xCD);
    EXPECT_TRUE(RestUntouched());
    EXPECT_EQ(prompt.report, 0xCD);
}

TEST_F(ScanUrl, AMaliciousSiteIsBlockedWithItsThreat) {
    MakeMalicious("bad.example");
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Get("www.bad.example", "/File?q"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "Worm.Test");
    EXPECT_STREQ(verdict.text.threat.url, "www.bad.example/file");
    EXPECT_EQ(prompt.report, 3);
    EXPECT_EQ(prompt.prompt, 4);
    EXPECT_TRUE(RestUntouched());
}

TEST_F(ScanUrl, TheListsAreTheLibrarysOwnCopies) {
    static char host[] = "bad.example";
    MakeMalicious(host);
    ASSERT_TRUE(Init());
    host[0] = 'x';
    threat.name[0] = '?';
    ASSERT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "Worm.Test");
}

TEST_F(ScanUrl, AfterDeinitNothingIsBlocked) {
    MakeMalicious("bad.example");
    ASSERT_TRUE(Init());
    Deinit();
    ASSERT_TRUE(Get("bad.example", "/"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ScanUrl, WhiteListsOfTheModulesCount) {
    static char internal[1][TARN_URL_CAPACITY] = {"bad.example/ok"};
    static char user[1][TARN_URL_CAPACITY] = {"bad.example/mine/"};
    MakeMalicious("bad.example");
    answers.wsInternalWhiteList = {1, internal};
    answers.bpUserWhiteList = {1, user};
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Get("bad.example", "/ok"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    ASSERT_TRUE(Get("bad.example", "/mine/file"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_MALICIOUS_WHITE_LISTED));
    ASSERT_TRUE(Get("bad.example", "/else"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
}

TEST_F(ScanUrl, APhishingSiteIsBlocked) {
    static char host[] = "phish.example";
    PhishingSiteEntry entry{1, base::Crc32Of(std::string_view(host)), host, nullptr};
    answers.apStatus = 1;
    answers.apPrompt = {5, 6};
    answers.apSettings = {1, &entry};
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Get("phish.example", "/login"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_STREQ(verdict.text.url, "phish.example/login");
    EXPECT_EQ(prompt.report, 5);
    EXPECT_TRUE(RestUntouched());
}

TEST_F(ScanUrl, CategoriesAreAskedAndReleased) {
    answers.bpStatus = 1;
    answers.categoryCount = 2;
    answers.categories[0] = 9;
    answers.categories[1] = 2;
    DeliverOneProfile();
    ASSERT_TRUE(Init());
    NewLines();
    ASSERT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
    EXPECT_STREQ(verdict.text.threat.url, "a.example/x");
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories a.example/x 0", "SCReleaseCategories", "load isolate.dll",
                                        StartsWith("ZRQuarantineFile 0 2 "), "for a.example/x", "unload isolate.dll"));
    answers.pcSettings.strictness = 3;
    ASSERT_TRUE(Init());
    ASSERT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT)) << "only the first category counts";
}

TEST_F(ScanUrl, AFailedCategoryLookUpFailsTheScan) {
    answers.bpStatus = 1;
    DeliverOneProfile();
    ScriptSetResult("SCGetURLCategories", 0);
    ASSERT_TRUE(Init());
    EXPECT_FALSE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ScanUrl, AMaliciousPatternIsBlocked) {
    answers.bpStatus = 1;
    answers.malicious = 1;
    DeliverOneProfile();
    remotePort = 8080;
    ASSERT_TRUE(Init());
    NewLines();
    ASSERT_TRUE(Get("a.example:8080", "/X"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_STREQ(verdict.text.threat.name, "Malicious Url");
    EXPECT_STREQ(verdict.text.threat.url, "a.example/x");
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories a.example:8080/X 0",
                                        "WSCheckURLMaliciousPattern 1 a.example /x 36895", "load isolate.dll",
                                        StartsWith("ZRQuarantineFile 0 2 "), "for a.example/x", "unload isolate.dll"));
}

TEST_F(ScanUrl, TheStopByteGivesNine) {
    DeliverOneProfile();
    answers.bpStatus = 1;
    ASSERT_TRUE(Init());
    stop = 1;
    ASSERT_TRUE(Get("a.example", "/x"));
    EXPECT_THAT(Verdict(), StopsBeforeCategories());
}

TEST_F(ScanUrl, AManagedClientLetsItsServerPass) {
    WriteProductData(5, 1);
    RegisterAgent(L"HOSTASVC501.EXE");
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
    ASSERT_NE(manager, nullptr);
    SC_HANDLE service = CreateServiceW(manager, L"CLIENT AGENT 5.1", nullptr, SERVICE_ALL_ACCESS,
                                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                       L"C:\\agent\\agent.exe", nullptr, nullptr, nullptr, nullptr, nullptr);
    if (service == nullptr) service = OpenServiceW(manager, L"CLIENT AGENT 5.1", SERVICE_ALL_ACCESS);
    ASSERT_NE(service, nullptr);

    MakeMalicious("bad.example");
    const std::u16string address = u"BAD.example";
    std::copy(address.begin(), address.end(), answers.serverAddress);
    const bool started = Init(TARN_START_FRESH);
    const std::vector<std::string> lines = Journal();
    DeleteService(service);
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
    ASSERT_TRUE(started);
    EXPECT_THAT(lines, testing::Contains("ReadEPSServerIP 260"));
    EXPECT_THAT(lines, testing::Contains("ReadDisableFeaturesSettings"));
    EXPECT_THAT(lines, testing::Not(testing::Contains("ResetBPUserWhitelist"))) << "a managed client keeps its list";
    ASSERT_TRUE(Get("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(ScanUrl, EveryTruncationIsAnswered) {
    MakeMalicious("bad.example");
    DeliverOneProfile();
    ASSERT_TRUE(Init());
    const std::string request = "POST http://bad.example/a//b?c#d HTTP/1.1\r\nHost: bad.example:81\r\nX: y\r\n\r\nbody";
    int blocked = 0;
    for (std::size_t length = 1; length <= request.size(); ++length) {
        EXPECT_TRUE(Scan(request.substr(0, length))) << length;
        blocked += verdict.allow == 0 ? 1 : 0;
    }
    EXPECT_EQ(blocked, static_cast<int>(request.size() - request.find("\r\nX:") - 1))
        << "from the end of the host line on";
}

}  // namespace
}  // namespace tarn::system_test
