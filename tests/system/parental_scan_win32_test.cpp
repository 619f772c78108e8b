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
    bool IsAllowed() {
        EXPECT_TRUE(Visit("a.example", "/"));
        return verdict.allow == 1;
    }
};

TEST_F(ParentalSchedule, TheWorkersFirstFlagStandsWhenTheStartReturns) {
    Schedule(WeekWithout(0, 0));
    ASSERT_TRUE(Init());
    EXPECT_TRUE(IsAllowed());
    Schedule(ClosedNow());
    ASSERT_TRUE(Init());
    const std::uint64_t before = LocalTicks();
    EXPECT_FALSE(IsAllowed());
    const std::uint64_t after = LocalTicks();
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_SCHEDULE)).User(OwnName()).AnyTime().Difference(verdict), "");
    EXPECT_LE(before, Ticks(&verdict.localTime));
    EXPECT_GE(after, Ticks(&verdict.localTime));
}

TEST_F(ParentalSchedule, AChangeOfTheSettingsRestartsTheWorker) {
    Schedule(WeekWithout(0, 0));
    ASSERT_TRUE(Init());
    EXPECT_TRUE(IsAllowed());
    Schedule(ClosedNow());
    EXPECT_TRUE(IsAllowed()) << "nothing is read before the host says so";
    ASSERT_EQ(tarn.WSSettingsChanged(kParentalControl, 0, 0, 0), 1U);
    EXPECT_FALSE(IsAllowed());
    answers.pcSettings.entries[0].leading.scheduleSuspended = 1;
    ASSERT_EQ(tarn.WSSettingsChanged(kParentalControl, 0, 0, 0), 1U);
    EXPECT_TRUE(IsAllowed()) << "a suspended schedule allows everything";
}

TEST_F(ParentalSchedule, AnyOfTheThreeSwitchesTurnsItOff) {
    Schedule(ClosedNow());
    PcUserLeading& leading = answers.pcSettings.entries[0].leading;
    ASSERT_TRUE(Init());
    EXPECT_FALSE(IsAllowed());
    leading.scheduleSwitch = 0;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(IsAllowed());
    leading.scheduleSwitch = 7;
    leading.profileSwitch = 0;
    ASSERT_TRUE(Init());
    EXPECT_TRUE(IsAllowed());
    leading.profileSwitch = 7;
    leading.scheduleSuspended = 2;
    ASSERT_TRUE(Init());
    EXPECT_FALSE(IsAllowed());
}

TEST_F(ParentalSchedule, ARangeThatEndsBeforeItStartsNeverAllows) {
    std::array<TimeRange, 7> week = WeekWithout(0, 0);
    week[3] = {12, 0, 11, 59};
    Schedule(week);
    ASSERT_TRUE(Init());
    EXPECT_FALSE(IsAllowed());
}

class ParentalSites : public ScanRecords {
 protected:
    void TakeSites(std::vector<ProfileSite> sites) {
        ProfileShape shape;
        shape.sites = std::move(sites);
        TakeProfiles({shape});
        ASSERT_TRUE(Init());
    }
    bool IsBlocked(const std::string& host, const std::string& target) {
        EXPECT_TRUE(Visit(host, target));
        return Verdict() == Blocks(TARN_REASON_PARENTAL_SITE);
    }
    bool BlocksHello(const std::string& host) {
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(TlsHello(host)));
        kind = TARN_KIND_HTTP;
        return Verdict() == Blocks(TARN_REASON_PARENTAL_SITE);
    }
};

TEST_F(ParentalSites, RulesOfOneHostMergeTheirPaths) {
    TakeSites({{"Shop.Example", "/One", 0, 1}, {"shop.example", "/two/", 0, 1}});
    EXPECT_TRUE(IsBlocked("shop.example", "/ONE"));
    EXPECT_TRUE(IsBlocked("www.shop.example:8080", "/one/x"));
    EXPECT_TRUE(IsBlocked("shop.example", "/two/x"));
    EXPECT_FALSE(IsBlocked("shop.example", "/one1"));
    EXPECT_FALSE(IsBlocked("shop.example", "/two")) << "a rule's path keeps its trailing slash";
    EXPECT_FALSE(IsBlocked("badshop.example", "/one"));
    EXPECT_FALSE(BlocksHello("shop.example")) << "a hello has no path";
}

TEST_F(ParentalSites, KindTwoIsTheWholeSiteForSecureConnectionsOnly) {
    TakeSites({{"games.example", "", 1, 2}});
    EXPECT_FALSE(IsBlocked("games.example", "/"));
    EXPECT_TRUE(BlocksHello("games.example"));
    kind = TARN_KIND_HTTP_SECURE;
    EXPECT_TRUE(IsBlocked("games.example", "/"));
}

TEST_F(ParentalSites, WholeDomainsCoverTheirSubdomains) {
    TakeSites({{"games.example", "", 0, 1, 1}});
    EXPECT_TRUE(IsBlocked("chess.games.example", "/"));
    EXPECT_FALSE(IsBlocked("wwwgames.example", "/"));
    EXPECT_FALSE(IsBlocked("badgames.example", "/"));
}

TEST_F(ParentalSites, AddressesBlockByEveryTextFormAndByTheRemoteAddress) {
    // The rules hold IPv4 addresses as numbers in host order.
    TakeSites({{"games.example", "", 1, 1, 0, {{TARN_FAMILY_IPV4, {5, 113, 0, 203}}}}});
    EXPECT_TRUE(IsBlocked("203.0.113.5", "/"));
    EXPECT_TRUE(IsBlocked("0xcb007105", "/"));
    EXPECT_TRUE(BlocksHello("other.example")) << "by the text of the remote address";
    EXPECT_FALSE(IsBlocked("other.example", "/"));
    kind = TARN_KIND_FTP;
    ASSERT_TRUE(Ask("CWD /Pub\r\n"));
    EXPECT_EQ(
        ExpectedVerdict(Blocks(TARN_REASON_PARENTAL_SITE)).Url("203.0.113.5/pub").User(OwnName()).Difference(verdict),
        "");
}

TEST_F(ParentalSites, OneScheduleForAllTakesTheFirstProfileOnly) {
    ProfileShape first;
    ProfileShape second;
    second.sites = {{"games.example", ""}};
    TakeProfiles({first, second});
    ASSERT_TRUE(Init());
    EXPECT_FALSE(IsBlocked("games.example", "/"));
    second.sid = 0;
    TakeProfiles({first, second}, 2);
    ASSERT_TRUE(Init());
    EXPECT_TRUE(IsBlocked("games.example", "/"));
}

}  // namespace
}  // namespace tarn::system_test
