#include "lists/allowed_sites.h"

#include <gtest/gtest.h>
#include <string>

#include "lists/plain_walk.h"
#include "lists/random_texts.h"
#include "lists/record_owners.h"

namespace tarn::lists {
namespace {

constexpr std::uint8_t kModes[] = {0, 1, 2, 3, 4};

bool ByHost(UserListOwner& owner, std::string_view host, std::string_view path, std::uint8_t mode = 1) {
    AllowedSites urls;
    urls.Publish(owner.Record());
    const bool matches = urls.MatchesHost(host, path, mode);
    EXPECT_EQ(matches, plain::MatchUserListByHost(host, path, mode, owner.Record()));
    return matches;
}

bool ByUrl(UserListOwner& owner, std::string_view url, std::uint8_t mode = 1) {
    AllowedSites urls;
    urls.Publish(owner.Record());
    const bool matches = urls.MatchesUrl(url, mode);
    EXPECT_EQ(matches, plain::MatchUserListByUrl(url, mode, owner.Record()));
    return matches;
}

TEST(IsDomainOrSubdomain, CaseTable) {
    const struct {
        const char* host;
        const char* pattern;
        std::uint8_t allow;
        bool expected;
    } cases[] = {
        {"abc.other.org", "abc", 0, true},
        {"abc.other.org", "ABC", 0, true},
        {"abcdef", "abc", 0, true},
        {"www.example.org", "example.org", 1, true},
        {"www.example.org", "example.org", 0, false},
        {"www.example.org", "example.org", 2, false},
        {"badexample.org", "example.org", 1, false},
        {"www.example.org", ".example.org", 1, true},
        {"badexample.org", "xample.org", 1, false},
        {"www.example.org.uk", "example.org", 1, false},
        {"org", "example.org", 1, false},
        {"", "a", 1, false},
        {"a", "", 1, false},
        {"", "", 1, false},
        {"example.org", "example.org", 0, true},
        {"a.bc.a.bc", "bc", 1, false},
        {"x.y.x.y", ".y", 1, false},
        {"a.b.c.d.e.f.g.h.i.j.example.org", "example.org", 1, true},
        {"a.b.c.d.e.f.g.h.i.j.badexample.org", "example.org", 1, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(IsDomainOrSubdomain(c.host, c.pattern, c.allow), c.expected) << c.host << ' ' << c.pattern;
        EXPECT_EQ(plain::IsDomainOrSubdomain(c.host, c.pattern, c.allow), c.expected) << c.host << ' ' << c.pattern;
        UserListOwner owner;
        owner.Add(c.pattern, "", true, 0, c.allow);
        EXPECT_EQ(ByHost(owner, c.host, ""), c.expected) << c.host << ' ' << c.pattern;
    }
}

TEST(AllowedSites, PatternMatchesWhatBeginsWithIt) {
    UserListOwner owner;
    owner.Add("Example.org", "/x", true);
    EXPECT_TRUE(ByHost(owner, "example.org.attacker.example", "/y"));
    EXPECT_FALSE(ByHost(owner, "www.example.org", "/x"));
    EXPECT_TRUE(ByUrl(owner, "example.org/anything"));
}

TEST(AllowedSites, KindTwoAppliesToSecureConnectionsOnly) {
    UserListOwner owner;
    owner.Add("example.org", "", true, 2, 1);
    for (const std::uint8_t mode : kModes) {
        EXPECT_EQ(ByHost(owner, "example.org", "/", mode), mode == 3 || mode == 4) << int{mode};
        EXPECT_EQ(ByHost(owner, "www.example.org", "/", mode), mode == 3 || mode == 4) << int{mode};
        EXPECT_EQ(ByUrl(owner, "example.org/x", mode), mode == 3 || mode == 4) << int{mode};
    }
}

TEST(AllowedSites, EntriesWithPathsIgnoreTheirKind) {
    UserListOwner owner;
    owner.Add("example.org", "/a", false, 2);
    for (const std::uint8_t mode : kModes) EXPECT_TRUE(ByHost(owner, "example.org", "/a", mode));
}

TEST(AllowedSites, PathNeedsABoundary) {
    UserListOwner owner;
    owner.Add("example.org", "/Dir/", false, 0, 1);
    for (const char* path : {"/dir", "/DIR/", "/dir/x", "/dir?q", "/dir#f"})
        EXPECT_TRUE(ByHost(owner, "example.org", path));
    for (const char* path : {"", "/", "/di", "/dirx", "dir"}) EXPECT_FALSE(ByHost(owner, "example.org", path));
    EXPECT_FALSE(ByHost(owner, "www.example.org", "/dir")) << "no subdomains where a path is named";
    EXPECT_TRUE(ByHost(owner, "example.organ", "/dir"));
    EXPECT_TRUE(ByUrl(owner, "Example.org/dir/x"));
    EXPECT_FALSE(ByUrl(owner, "example.org/dirx"));
    EXPECT_FALSE(ByUrl(owner, "example.organ/dir")) << "the path follows the host at once";
}

TEST(AllowedSites, APathOfASlashStandsForEveryPath) {
    UserListOwner owner;
    owner.Add("example.org", "/", false);
    EXPECT_TRUE(ByHost(owner, "example.org", ""));
    EXPECT_TRUE(ByHost(owner, "example.org", "/x"));
    EXPECT_FALSE(ByHost(owner, "example.org", "x")) << "but it ends before a boundary";
    EXPECT_TRUE(ByUrl(owner, "example.org?q"));
}

TEST(AllowedSites, EveryHostThatIsAPrefixHasItsPathsTested) {
    UserListOwner owner;
    owner.Add("e", "/a", false);
    owner.Add("example.", "/b", false);
    owner.Add("example.org", "/c", false);
    for (const char* path : {"/a", "/b", "/c"}) EXPECT_TRUE(ByHost(owner, "example.org", path));
    EXPECT_FALSE(ByHost(owner, "example.net", "/c"));
}

TEST(AllowedSites, CountAndChainBothEndTheList) {
    UserListOwner owner;
    owner.Add("a", "", true);
    owner.Add("b", "", true);
    UserUrlList record = owner.Record();
    AllowedSites urls;
    record.count = 1;
    urls.Publish(record);
    EXPECT_TRUE(urls.MatchesHost("a", "", 1));
    EXPECT_FALSE(urls.MatchesHost("b", "", 1)) << "past the count";
    record.count = 1000;
    urls.Publish(record);
    EXPECT_TRUE(urls.MatchesHost("b", "", 1)) << "a short chain ends the list";
    record.first = nullptr;
    urls.Publish(record);
    EXPECT_FALSE(urls.MatchesHost("a", "", 1));
}

TEST(AllowedSites, AChainThatRunsIntoItselfEnds) {
    UserListOwner owner;
    UserUrlEntry& a = owner.Add("a", "", true);
    owner.Add("b", "", true);
    UserUrlEntry& c = owner.Add("c", "", true);
    for (UserUrlEntry* target : {&a, &c}) {
        c.next = target;
        UserUrlList record = owner.Record();
        record.count = 0xFFFFFFFF;
        AllowedSites urls;
        urls.Publish(record);
        for (const char* host : {"a", "b", "c"}) EXPECT_TRUE(urls.MatchesHost(host, "", 1));
        EXPECT_FALSE(urls.MatchesHost("d", "", 1));
    }
}

TEST(AllowedSites, FieldsWithoutNulEndAtTheirLastByte) {
    UserListOwner owner;
    UserUrlEntry& entry = owner.Add("", "", false);
    std::memset(entry.host, 'h', sizeof entry.host);
    std::memset(entry.path, '/', sizeof entry.path);
    EXPECT_TRUE(ByHost(owner, std::string(255, 'h'), std::string(1022, '/')));
    EXPECT_FALSE(ByHost(owner, std::string(254, 'h'), std::string(1022, '/')));
}

TEST(AllowedSites, AgreeWithThePlainWalk) {
    std::size_t hits = 0;
    constexpr std::size_t kLists = 3000;
    for (std::uint32_t seed = 0; seed < kLists; ++seed) {
        RandomTexts random(seed);
        std::string hosts[6];
        std::string paths[6];
        for (std::string& host : hosts) host = random.Text("aab.", random.Length(259));
        for (std::string& path : paths)
            path = random.OneIn(6) ? "" : "/" + random.Text("aab/?#\xFF", random.Length(1000));
        UserListOwner owner;
        for (std::size_t count = random.Below(random.OneIn(10) ? 100 : 6); count != 0; --count) {
            const std::string host = random.OneIn(3)   ? random.Text("ab.", random.Length(255))
                                     : random.OneIn(2) ? random.PieceOf(hosts[random.Below(6)])
                                                       : hosts[random.Below(6)];
            std::string path =
                random.OneIn(3) ? random.Text("ab/", random.Length(1023)) : random.PieceOf(paths[random.Below(6)]);
            if (random.OneIn(3)) path += '/';
            owner.Add(random.Recased(host), random.Recased(path), random.OneIn(2), random.Byte(3), random.Byte(3));
        }
        const UserUrlList record = owner.Record();
        AllowedSites urls;
        urls.Publish(record);
        for (int i = 0; i < 10; ++i) {
            std::string host = hosts[random.Below(6)];
            if (random.OneIn(3)) host = random.Recased(host);
            const std::string path = random.Recased(paths[random.Below(6)]);
            const std::uint8_t mode = kModes[random.Below(5)];
            const bool byHost = plain::MatchUserListByHost(host, path, mode, record);
            ASSERT_EQ(urls.MatchesHost(host, path, mode), byHost) << "seed " << seed << ' ' << host << path;
            const std::string url = (host + path).substr(0, 1023);
            ASSERT_EQ(urls.MatchesUrl(url, mode), plain::MatchUserListByUrl(url, mode, record))
                << "seed " << seed << ' ' << url;
            hits += byHost ? 1U : 0U;
        }
    }
    EXPECT_GT(hits, kLists) << "too few matches to prove anything";
    EXPECT_LT(hits, 9 * kLists) << "too few misses to prove anything";
}

}  // namespace
}  // namespace tarn::lists
