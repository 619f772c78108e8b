// Site lists of the settings through the built library: hosts whose hashes are equal, odd flag values, hosts that hold
// a port or a path, paths shared with addresses.
#include <array>
#include <cstring>
#include <gtest/gtest.h>

#include "system/site_records_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using url::ProfileShape;
using url::ProfileSite;
using url::TlsHello;

// Pairs of hosts with one CRC-32.
constexpr std::array<std::array<const char*, 2>, 3> kSameHash = {{{"nidmovh.example", "bubanxn.example"},
                                                                  {"tjodhhw.example", "xvihifq.example"},
                                                                  {"absskdu.example", "qqfzmpe.example"}}};

class SiteLists : public SiteRecords {
 protected:
    void BlockSites(std::vector<ProfileSite> sites) {
        ProfileShape shape;
        shape.sites = std::move(sites);
        TakeProfiles({shape});
        ASSERT_TRUE(Init());
    }
    bool IsBlocked(const std::string& host, const std::string& target) {
        return VerdictOf(host, target) == Blocks(TARN_REASON_PARENTAL_SITE);
    }
    bool BlocksHello(const std::string& host) {
        kind = TARN_KIND_TLS;
        EXPECT_TRUE(Ask(TlsHello(host)));
        kind = TARN_KIND_HTTP;
        return Verdict() == Blocks(TARN_REASON_PARENTAL_SITE);
    }
};

TEST_F(SiteLists, HostsOfOneHashAreToldApartInTheMaliciousList) {
    for (const auto& [first, second] : kSameHash) {
        SCOPED_TRACE(first);
        ASSERT_EQ(HashOf(first), HashOf(second));
        ListMalicious({{first, true, {{"", "First"}}}, {second, true, {{"", "Second"}}}});
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOf(first, "/"), Blocks(TARN_REASON_MALICIOUS));
        EXPECT_STREQ(verdict.text.threat.name, "First");
        EXPECT_THAT(VerdictOf(std::string("www.") + second, "/"), Blocks(TARN_REASON_MALICIOUS));
        EXPECT_STREQ(verdict.text.threat.name, "Second");
        ListMalicious({{first}});
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOf(first, "/"), Blocks(TARN_REASON_MALICIOUS));
        EXPECT_THAT(VerdictOf(second, "/"), Allows(TARN_REASON_DEFAULT));
    }
}

TEST_F(SiteLists, HostsOfOneHashAreToldApartInThePhishingList) {
    for (const auto& [first, second] : kSameHash) {
        SCOPED_TRACE(first);
        ListPhishing({{first, true}, {second, false, {{"/login"}}}});
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOf(first, "/"), Blocks(TARN_REASON_PHISHING));
        EXPECT_THAT(VerdictOf(second, "/"), Allows(TARN_REASON_DEFAULT));
        EXPECT_THAT(VerdictOf(second, "/login"), Blocks(TARN_REASON_PHISHING));
        ListPhishing({{second, true}});
        ASSERT_TRUE(Init());
        EXPECT_THAT(VerdictOf(second, "/"), Blocks(TARN_REASON_PHISHING));
        EXPECT_THAT(VerdictOf(first, "/"), Allows(TARN_REASON_DEFAULT));
    }
}

TEST_F(SiteLists, HostsOfOneHashAreToldApartInTheBlockLists) {
    for (const auto& [first, second] : kSameHash) {
        SCOPED_TRACE(first);
        const std::string one = first;
        const std::string two = second;
        BlockSites({{one, "/one", 0, 1, 1}, {two, "/two", 0, 1}});
        EXPECT_TRUE(IsBlocked("x." + one, "/else")) << "a whole domain";
        EXPECT_FALSE(IsBlocked("x." + two, "/two"));
        EXPECT_TRUE(IsBlocked(two, "/two"));
        EXPECT_FALSE(IsBlocked(two, "/one"));
        BlockSites({{two, ""}});
        EXPECT_TRUE(IsBlocked("www." + two, "/"));
        EXPECT_FALSE(IsBlocked(one, "/"));
    }
}

TEST_F(SiteLists, AListedDomainMayStandBehindASlashAndBeforeOne) {
    BlockSites({{"org", "", 0, 1, 1}});
    EXPECT_TRUE(IsBlocked("a/org/x.org", "/"));
    EXPECT_TRUE(IsBlocked("a.org/x.org", "/"));
    EXPECT_FALSE(IsBlocked("a/orgx.org", "/")) << "the first occurrence counts, and it goes on";
    EXPECT_FALSE(IsBlocked("aorg/x.org", "/")) << "and it must begin behind a dot or a slash";
}

TEST_F(SiteLists, AHostWithAPortOrAPathIsLookedUpWithoutIt) {
    BlockSites({{"games.example", ""}, {"parts.example", "/part", 0, 1}});
    EXPECT_TRUE(BlocksHello("games.example:8080"));
    EXPECT_TRUE(BlocksHello("www.games.example:8080"));
    EXPECT_TRUE(IsBlocked("games.example/x", "/"));
    EXPECT_TRUE(IsBlocked("parts.example/x", "/part"));
    EXPECT_FALSE(IsBlocked("parts.example/x", "/"));
    EXPECT_FALSE(BlocksHello("games.example8080"));
    EXPECT_FALSE(BlocksHello("badgames.example:80"));
}

TEST_F(SiteLists, AWholeDomainFlagOf2IsNone) {
    BlockSites({{"games.example", "/part", 0, 1, 2}, {"chess.example", "", 1, 1, 2}});
    EXPECT_FALSE(IsBlocked("chess.games.example", "/part"));
    EXPECT_FALSE(IsBlocked("games.example", "/"));
    EXPECT_TRUE(IsBlocked("games.example", "/part")) << "the site itself is listed by its path";
    EXPECT_FALSE(IsBlocked("sub.chess.example", "/"));
    EXPECT_TRUE(IsBlocked("chess.example", "/"));
}

TEST_F(SiteLists, AHostOnlyFlagOf2MeansHostAndPath) {
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    answers.pcSettings.entries[0].allowedSites = UserList({{"games.example", "/ok", 2}});
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOf("games.example", "/ok/x"), Allows(TARN_REASON_DEFAULT));
    EXPECT_THAT(VerdictOf("games.example", "/other"), Blocks(TARN_REASON_PARENTAL_SITE));
}

TEST_F(SiteLists, AnAddressHasThePathsThatItsHostHadBefore) {
    const IpAddressRecord first{TARN_FAMILY_IPV4, {5, 113, 0, 203}};   // 203.0.113.5, the number in host order
    const IpAddressRecord second{TARN_FAMILY_IPV4, {6, 113, 0, 203}};  // 203.0.113.6
    BlockSites({{"late.example", "", 0, 0, 0, {first}},
                {"late.example", "/one", 0, 0},
                {"early.example", "/one", 0, 0, 0, {second}},
                {"early.example", "/two", 0, 0}});
    EXPECT_TRUE(IsBlocked("late.example", "/one"));
    EXPECT_FALSE(IsBlocked("203.0.113.5", "/one")) << "the list did not exist when the address was taken";
    remote = {TARN_FAMILY_IPV4, {203, 0, 113, 6}};
    EXPECT_TRUE(IsBlocked("203.0.113.6", "/one"));
    EXPECT_TRUE(IsBlocked("203.0.113.6", "/two")) << "a list that existed is shared";
    EXPECT_FALSE(IsBlocked("203.0.113.6", "/three"));
}

TEST_F(SiteLists, TheModulesRecordsStayAsTheyWere) {
    ProfileShape shape;
    shape.sites = {{"Games.Example", "/Part/"}};
    TakeProfiles({shape});
    PcUserEntryRecord& profileRecord = answers.pcSettings.entries[0];
    profileRecord.allowedSites = UserList({{"Allowed.Example", "/Ok/", 0}});
    profileRecord.scheduleAllowedSites = UserList({{"Later.Example", "/Ok/", 0}});
    ListMalicious({{"Bad.Example", false, {{"/Worm/", "Worm"}}}});
    ListPhishing({{"Phish.Example", false, {{"/Login/"}}}});
    LetUserAllow("Mine.Example/Own/");
    LetBrowsingProtectionAllow("*Inner.Example/Own/");
    LetWebSecurityAllow("Web.Example/Own/");

    const auto snapshot = [&] {
        std::string bytes;
        const auto add = [&bytes](const void* record, std::size_t size) {
            bytes.append(static_cast<const char*>(record), size);
        };
        add(profileRecord.siteRules, sizeof(SiteRule));
        add(profileRecord.allowedSites.first, sizeof(UserUrlEntry));
        add(profileRecord.scheduleAllowedSites.first, sizeof(UserUrlEntry));
        add(answers.bpSettings.entries[0].host, sizeof "Bad.Example");
        add(answers.bpSettings.entries[0].threats, sizeof(ThreatNode));
        add(answers.apSettings.entries[0].host, sizeof "Phish.Example");
        add(answers.apSettings.entries[0].paths, sizeof(PathListNode));
        for (const UrlListRecord* list :
             {&answers.bpUserWhiteList, &answers.bpInternalWhiteList, &answers.wsInternalWhiteList})
            add(list->entries, TARN_URL_CAPACITY);
        return bytes;
    };
    const std::string before = snapshot();
    ASSERT_TRUE(Init());
    EXPECT_THAT(VerdictOf("games.example", "/part/"), Blocks(TARN_REASON_PARENTAL_SITE))
        << "the lists are really asked";
    for (const char* host : {"allowed.example", "mine.example", "inner.example", "web.example", "phish.example"})
        for (const char* path : {"/ok", "/own", "/login"}) VerdictOf(host, path);
    Deinit();
    EXPECT_EQ(snapshot(), before);
}

}  // namespace
}  // namespace tarn::system_test
