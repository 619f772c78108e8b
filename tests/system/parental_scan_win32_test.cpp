// The weekly schedule and the site rules of parental control through the built library.
#include <gtest/gtest.h>

#include "system/scan_fixture_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using url::ProfileShape;
using url::ProfileSite;
using url::TlsHello;

constexpr std::uint32_t kParentalControl = 4;  // the kind of settings change

std::uint64_t Ticks(const void* time) {
    SYSTEMTIME system;
    std::memcpy(&system, time, sizeof system);
    FILETIME file{};
    EXPECT_TRUE(SystemTimeToFileTime(&system, &file));
    return (std::uint64_t{file.dwHighDateTime} << 32) | file.dwLowDateTime;
}

std::uint64_t LocalTicks() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return Ticks(&now);
}

// Every day from midnight to midnight, but not the days from..from + count - 1.
std::array<TimeRange, 7> WeekWithout(unsigned from, unsigned count) {
    std::array<TimeRange, 7> week;
    week.fill({0, 0, 23, 59});
    for (unsigned i = 0; i < count; ++i) week[(from + i) % 7] = {};
    return week;
}

class ParentalSchedule : public ScanRecords {
 protected:
    ParentalSchedule() { TakeProfiles({ProfileShape{}}); }
    // Yesterday, today and tomorrow are closed: the test may run across midnight.
    std::array<TimeRange, 7> ClosedNow() {
        SYSTEMTIME now;
        GetLocalTime(&now);
        return WeekWithout(now.wDayOfWeek + 6U, 3);
    }
    bool Allows() {
        EXPECT_TRUE(Visit("a.example", "/"));
        return verdict.allow == 1;
    }
};

TEST_F(ParentalSchedule, TheWorkersFirstFlagStandsWhenTheStartReturns) {
    Schedule(WeekWithout(0, 0));
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Allows());
    Schedule(ClosedNow());
    ASSERT_TRUE(Init());
    const std::uint64_t before = LocalTicks();
    EXPECT_FALSE(Allows());
    const std::uint64_t after = LocalTicks();
    EXPECT_EQ(ExpectedVerdict(0, 5).User(OwnName()).AnyTime().Difference(verdict), "");
    EXPECT_LE(before, Ticks(&verdict.localTime));
    EXPECT_GE(after, Ticks(&verdict.localTime));
}

TEST_F(ParentalSchedule, AChangeOfTheSettingsRestartsTheWorker) {
    Schedule(WeekWithout(0, 0));
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Allows());
    Schedule(ClosedNow());
    EXPECT_TRUE(Allows()) << "nothing is read before the host says so";
    ASSERT_EQ(tarn.WSSettingsChanged(kParentalControl, 0, 0, 0), 1U);
    EXPECT_FALSE(Allows());
    answers.pcSettings.entries[0].leading.scheduleSuspended = 1;
    ASSERT_EQ(tarn.WSSettingsChanged(kParentalControl, 0, 0, 0), 1U);
    EXPECT_TRUE(Allows()) << "a suspended schedule allows everything";
}

TEST_F(ParentalSchedule, AnyOfTheThreeSwitchesTurnsItOff) {
    Schedule(ClosedNow());
    PcUserLeading& leading = answers.pcSettings.entries[0].leading;
    ASSERT_TRUE(Init());
    EXPECT_FALSE(Allows());
    leading.scheduleSwitch = 0;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Allows());
    leading.scheduleSwitch = 7;
    leading.profileSwitch = 0;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Allows());
    leading.profileSwitch = 7;
    leading.scheduleSuspended = 2;
    ASSERT_TRUE(Init());
    EXPECT_FALSE(Allows());
}

TEST_F(ParentalSchedule, ARangeThatEndsBeforeItStartsNeverAllows) {
    std::array<TimeRange, 7> week = WeekWithout(0, 0);
    week[3] = {12, 0, 11, 59};
    Schedule(week);
    ASSERT_TRUE(Init());
    EXPECT_FALSE(Allows());
}

class ParentalSites : public ScanRecords {
 protected:
    void TakeSites(std::vector<ProfileSite> sites) {
        ProfileShape shape;
        shape.sites = std::move(sites);
        TakeProfiles({shape});
        ASSERT_TRUE(Init());
    }
    bool Blocks(const std::string& host, const std::string& target) {
        EXPECT_TRUE(Visit(host, target));
        return verdict.allow == 0 && verdict.reason == 6;
    }
    bool BlocksHello(const std::string& host) {
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(TlsHello(host)));
        kind = TARN_KIND_HTTP;
        return verdict.allow == 0 && verdict.reason == 6;
    }
};

TEST_F(ParentalSites, RulesOfOneHostMergeTheirPaths) {
    TakeSites({{"Shop.Example", "/One", 0, 1}, {"shop.example", "/two/", 0, 1}});
    EXPECT_TRUE(Blocks("shop.example", "/ONE"));
    EXPECT_TRUE(Blocks("www.shop.example:8080", "/one/x"));
    EXPECT_TRUE(Blocks("shop.example", "/two/x"));
    EXPECT_FALSE(Blocks("shop.example", "/one1"));
    EXPECT_FALSE(Blocks("shop.example", "/two")) << "a rule's path keeps its trailing slash";
    EXPECT_FALSE(Blocks("badshop.example", "/one"));
    EXPECT_FALSE(BlocksHello("shop.example")) << "a hello has no path";
}

TEST_F(ParentalSites, KindTwoIsTheWholeSiteForSecureConnectionsOnly) {
    TakeSites({{"games.example", "", 1, 2}});
    EXPECT_FALSE(Blocks("games.example", "/"));
    EXPECT_TRUE(BlocksHello("games.example"));
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_TRUE(Blocks("games.example", "/"));
}

TEST_F(ParentalSites, WholeDomainsCoverTheirSubdomains) {
    TakeSites({{"games.example", "", 0, 1, 1}});
    EXPECT_TRUE(Blocks("chess.games.example", "/"));
    EXPECT_FALSE(Blocks("wwwgames.example", "/"));
    EXPECT_FALSE(Blocks("badgames.example", "/"));
}

TEST_F(ParentalSites, AddressesBlockByEveryTextFormAndByTheRemoteAddress) {
    // The rules hold IPv4 addresses as numbers in host order.
    TakeSites({{"games.example", "", 1, 1, 0, {{TARN_FAMILY_IPV4, {5, 113, 0, 203}}}}});
    EXPECT_TRUE(Blocks("203.0.113.5", "/"));
    EXPECT_TRUE(Blocks("0xcb007105", "/"));
    EXPECT_TRUE(BlocksHello("other.example")) << "by the text of the remote address";
    EXPECT_FALSE(Blocks("other.example", "/"));
    kind = TARN_KIND_FTP;
    ASSERT_TRUE(Ask("CWD /Pub\r\n"));
    EXPECT_EQ(ExpectedVerdict(0, 6).Url("203.0.113.5/pub").User(OwnName()).Difference(verdict), "");
}

TEST_F(ParentalSites, OneScheduleForAllTakesTheFirstProfileOnly) {
    ProfileShape first;
    ProfileShape second;
    second.sites = {{"games.example", ""}};
    TakeProfiles({first, second});
    ASSERT_TRUE(Init());
    EXPECT_FALSE(Blocks("games.example", "/"));
    second.sid = 0;
    TakeProfiles({first, second}, 2);
    ASSERT_TRUE(Init());
    EXPECT_TRUE(Blocks("games.example", "/"));
}

}  // namespace
}  // namespace tarn::system_test
