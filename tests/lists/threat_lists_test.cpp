#include "lists/threat_lists.h"

#include <gtest/gtest.h>
#include <string>

#include "lists/plain_walk.h"
#include "lists/random_texts.h"
#include "lists/record_owners.h"

namespace tarn::lists {
namespace {

std::string Malicious(ThreatListOwner& owner, std::string_view host, std::string_view path) {
    owner.Sort();
    MaliciousList list;
    list.Publish(owner.Record());
    const std::optional<std::string_view> found = list.Find(host, path);
    EXPECT_EQ(found, plain::FindMalicious(host, path, owner.Record())) << host << path;
    return found ? std::string(*found) : "none";
}

bool Phishing(PhishingListOwner& owner, std::string_view host, std::string_view path) {
    owner.Sort();
    PhishingList list;
    list.Publish(owner.Record());
    const bool found = list.Matches(host, path);
    EXPECT_EQ(found, plain::MatchPhishing(host, path, owner.Record())) << host << path;
    return found;
}

TEST(MaliciousList, WholeSiteHasTheNameOfItsRoot) {
    ThreatListOwner owner;
    owner.Add("bad.example", true, {{"Path.A", "/a"}, {"Site", "/"}, {"Other", ""}});
    owner.Add("empty.example", true, {{"Path.B", "/b"}});
    owner.Add("bare.example", true);
    EXPECT_EQ(Malicious(owner, "bad.example", ""), "Site");
    EXPECT_EQ(Malicious(owner, "bad.example", "/"), "Site");
    EXPECT_EQ(Malicious(owner, "bad.example", "/x"), "Site");
    EXPECT_EQ(Malicious(owner, "bad.example", "/a/x"), "Path.A");
    EXPECT_EQ(Malicious(owner, "empty.example", "/"), "");
    EXPECT_EQ(Malicious(owner, "bare.example", "/x"), "");
    EXPECT_EQ(Malicious(owner, "www.bad.example", "/"), "none") << "no suffixes here";
    EXPECT_EQ(Malicious(owner, "bad.example.", "/"), "none");
    EXPECT_EQ(Malicious(owner, "bad", "/"), "none");
    EXPECT_EQ(Malicious(owner, "Bad.example", "/"), "none") << "hosts are compared as they stand";
}

TEST(MaliciousList, PathRule) {
    ThreatListOwner owner;
    owner.Add("bad.example", false, {{"Root", "/"}, {"Dir", "/Dir"}, {"Slash", "/s/"}, {"Long", "/dir/x"}});
    for (const char* path : {"/dir", "/DIR/y", "/dir?q", "/dir#f"})
        EXPECT_EQ(Malicious(owner, "bad.example", path), "Dir");
    EXPECT_EQ(Malicious(owner, "bad.example", "/dir/x"), "Dir") << "the first node in list order";
    EXPECT_EQ(Malicious(owner, "bad.example", "/s/anything"), "Slash");
    EXPECT_EQ(Malicious(owner, "bad.example", "/s/"), "Slash");
    for (const char* path : {"", "/", "/s", "/dirx", "/d", "/x"})
        EXPECT_EQ(Malicious(owner, "bad.example", path), "none") << path;
}

TEST(MaliciousList, EntriesOfOneHostAreTriedInOrderUpToAWholeSite) {
    ThreatListOwner owner;
    owner.Add("bad.example", false, {{"A", "/a"}});
    owner.Add("bad.example", false, {{"B", "/a"}, {"C", "/c"}});
    owner.Add("bad.example", true, {{"Site", "/"}, {"D", "/d"}});
    owner.Add("bad.example", false, {{"E", "/e"}});
    EXPECT_EQ(Malicious(owner, "bad.example", "/a"), "A");
    EXPECT_EQ(Malicious(owner, "bad.example", "/c"), "C");
    EXPECT_EQ(Malicious(owner, "bad.example", "/d"), "D");
    EXPECT_EQ(Malicious(owner, "bad.example", "/e"), "Site") << "behind the whole site nothing is reached";
    EXPECT_EQ(Malicious(owner, "bad.example", "/"), "Site");
}

TEST(MaliciousList, WholeSiteFlagIsExactlyOne) {
    ThreatListOwner owner;
    owner.Add("bad.example", true).wholeSite = 2;
    EXPECT_EQ(Malicious(owner, "bad.example", "/"), "none");
}

TEST(MaliciousList, AWrongHashIsNeverFound) {
    ThreatListOwner owner;
    owner.Add("bad.example", true).hash ^= 1;
    owner.Add("other.example", true);
    EXPECT_EQ(Malicious(owner, "bad.example", "/"), "none");
    EXPECT_EQ(Malicious(owner, "other.example", "/"), "");
}

TEST(ThreatLists, NullsAreSkipped) {
    ThreatListOwner threats;
    threats.Add("bad.example", true).host = nullptr;
    threats.Add("worse.example", true);
    EXPECT_EQ(Malicious(threats, "bad.example", "/"), "none");
    EXPECT_EQ(Malicious(threats, "worse.example", "/"), "");
    MaliciousList malicious;
    malicious.Publish(ThreatSiteList{77, nullptr});
    EXPECT_EQ(malicious.Find("", ""), std::nullopt);
    PhishingListOwner sites;
    sites.Add("bad.example", true).host = nullptr;
    EXPECT_FALSE(Phishing(sites, "bad.example", "/"));
    PhishingList phishing;
    phishing.Publish(PhishingSiteList{77, nullptr});
    EXPECT_FALSE(phishing.Matches("", ""));
}

TEST(ThreatLists, ChainsThatRunIntoThemselvesEnd) {
    ThreatListOwner threats;
    ThreatSiteEntry& threat = threats.Add("bad.example", false, {{"A", "/a"}, {"B", "/b"}});
    threat.threats->next->next = threat.threats;
    MaliciousList malicious;
    malicious.Publish(threats.Record());
    EXPECT_EQ(malicious.Find("bad.example", "/b"), "B");
    EXPECT_EQ(malicious.Find("bad.example", "/c"), std::nullopt);
    PhishingListOwner sites;
    PhishingSiteEntry& site = sites.Add("bad.example", false, {"/a"});
    site.paths->next = site.paths;
    PhishingList phishing;
    phishing.Publish(sites.Record());
    EXPECT_TRUE(phishing.Matches("bad.example", "/a"));
    EXPECT_FALSE(phishing.Matches("bad.example", "/b"));
}

// More nodes than one list used to take from all its entries together.
constexpr std::size_t kSharers = 65536;
constexpr std::size_t kSharedNodes = 65;

TEST(ThreatLists, AChainThatManySitesShareKeepsAllItsPaths) {
    std::vector<Threat> threats;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < kSharedNodes; ++i) {
        paths.push_back("/path" + std::to_string(i));
        threats.push_back({"Threat." + std::to_string(i), paths.back()});
    }
    ThreatListOwner malicious;
    PhishingListOwner phishing;
    ThreatNode* const threatChain = malicious.Add("site.example", false, threats).threats;
    PathListNode* const pathChain = phishing.Add("site.example", false, paths).paths;
    for (std::size_t i = 1; i < kSharers; ++i) {
        const std::string host = "site" + std::to_string(i) + ".example";
        malicious.Add(host, false).threats = threatChain;
        phishing.Add(host, false).paths = pathChain;
    }
    malicious.Sort();
    phishing.Sort();
    MaliciousList maliciousList;
    maliciousList.Publish(malicious.Record());
    PhishingList phishingList;
    phishingList.Publish(phishing.Record());
    std::size_t found = 0;
    for (std::size_t i = 1; i < kSharers; ++i) {
        const std::string host = "site" + std::to_string(i) + ".example";
        const std::optional<std::string_view> name = maliciousList.Find(host, "/path64/x");
        found += name == "Threat.64" && phishingList.Matches(host, "/path64") ? 1U : 0U;
    }
    EXPECT_EQ(found, kSharers - 1);
    EXPECT_FALSE(maliciousList.Find("site9.example", "/path65").has_value());
    EXPECT_FALSE(phishingList.Matches("site9.example", "/path65"));
}

TEST(ThreatLists, ChainsThatRunIntoOneLongTailKeepAllItsPaths) {
    constexpr std::size_t kTail = 65536;
    const auto number = [](const char* text, std::size_t i) { return text + std::to_string(i); };
    std::vector<Threat> threats;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < kTail; ++i) {
        paths.push_back(number("/path", i));
        threats.push_back({number("Threat.", i), paths.back()});
    }
    threats.push_back({"Site", "/"});
    ThreatListOwner malicious;
    PhishingListOwner phishing;
    ThreatNode* const threatTail = malicious.Add("site.example", false, threats).threats;
    PathListNode* const pathTail = phishing.Add("site.example", false, paths).paths;
    for (std::size_t i = 1; i < kSharers; ++i) {
        const std::string host = number("site", i) + ".example";
        malicious.Add(host, true, {{number("Head.", i), number("/head", i)}}).threats->next = threatTail;
        phishing.Add(host, false, {number("/head", i)}).paths->next = pathTail;
    }
    malicious.Sort();
    phishing.Sort();
    MaliciousList maliciousList;
    maliciousList.Publish(malicious.Record());
    PhishingList phishingList;
    phishingList.Publish(phishing.Record());
    std::size_t found = 0;
    for (std::size_t i = 1; i < kSharers; ++i) {
        const std::string host = number("site", i) + ".example";
        const std::string head = number("/head", i);
        found += maliciousList.Find(host, head) == number("Head.", i) && phishingList.Matches(host, head) &&
                         maliciousList.Find(host, "/path65535") == "Threat.65535" &&
                         phishingList.Matches(host, "/path65535") && maliciousList.Find(host, "/head0") == "Site" &&
                         !phishingList.Matches(host, "/head0")
                     ? 1U
                     : 0U;
    }
    EXPECT_EQ(found, kSharers - 1);
}

TEST(MaliciousList, AWholeSiteTakesItsNameFromASharedTail) {
    ThreatListOwner owner;
    ThreatNode* const tail =
        owner.Add("tail.example", false, {{"A", "/a"}, {"First", "/"}, {"B", "/b"}, {"Second", ""}}).threats;
    owner.Add("bad.example", true, {{"Own", "/own"}}).threats->next = tail;
    owner.Add("named.example", true, {{"Name", "/"}}).threats->next = tail;
    owner.Add("late.example", true, {{"Own", "/own"}}).threats->next = tail->next->next;
    owner.Add("last.example", true).threats = tail->next->next;
    EXPECT_EQ(Malicious(owner, "bad.example", "/"), "First");
    EXPECT_EQ(Malicious(owner, "named.example", "/"), "Name");
    EXPECT_EQ(Malicious(owner, "late.example", "/"), "Second");
    EXPECT_EQ(Malicious(owner, "last.example", "/x"), "Second");
    EXPECT_EQ(Malicious(owner, "last.example", "/b"), "B");
    EXPECT_EQ(Malicious(owner, "tail.example", "/"), "none");
}

TEST(MaliciousList, AWholeSiteTakesItsNameFromASharedLoop) {
    ThreatListOwner owner;
    ThreatNode* const loop = owner.Add("a.example", false, {{"A", "/a"}, {"Site", "/"}, {"B", "/b"}}).threats;
    loop->next->next->next = loop;
    owner.Add("b.example", true, {{"Own", "/own"}}).threats->next = loop->next->next;
    owner.Add("c.example", true, {{"Own", "/own"}}).threats->next = loop;
    owner.Sort();
    MaliciousList list;
    list.Publish(owner.Record());
    for (const char* host : {"b.example", "c.example"}) {
        EXPECT_EQ(list.Find(host, "/"), "Site");
        EXPECT_EQ(list.Find(host, "/a"), "A");
        EXPECT_EQ(list.Find(host, "/b"), "B");
        EXPECT_EQ(list.Find(host, "/own"), "Own");
    }
    EXPECT_EQ(list.Find("a.example", "/b"), "B");
    EXPECT_EQ(list.Find("a.example", "/own"), std::nullopt);
}

TEST(MaliciousList, SharedAndOwnChainsOfOneHostAreTriedInListOrder) {
    ThreatListOwner owner;
    ThreatNode* const shared = owner.Add("other.example", true, {{"Shared", "/a"}, {"Site", "/"}}).threats;
    owner.Add("bad.example", false, {{"First", "/a/b"}});
    owner.Add("bad.example", false).threats = shared;
    owner.Add("bad.example", false, {{"Last", "/a"}, {"Only", "/c"}});
    owner.Add("bad.example", true).threats = shared;
    EXPECT_EQ(Malicious(owner, "bad.example", "/a/b"), "First");
    EXPECT_EQ(Malicious(owner, "bad.example", "/a/x"), "Shared");
    EXPECT_EQ(Malicious(owner, "bad.example", "/c"), "Only");
    EXPECT_EQ(Malicious(owner, "bad.example", "/d"), "Site") << "the name of a whole site, from a chain seen before";
    EXPECT_EQ(Malicious(owner, "other.example", "/d"), "Site");
}

TEST(ThreatLists, HostsOfOneHashAreToldApartByTheirText) {
    for (const auto& [first, second] : kHashCollisions) {
        ASSERT_EQ(base::Crc32Of(std::string_view(first)), base::Crc32Of(std::string_view(second)));
        ThreatListOwner threats;
        threats.Add(first, true, {{"First", "/"}});
        EXPECT_EQ(Malicious(threats, first, "/"), "First");
        EXPECT_EQ(Malicious(threats, second, "/"), "none");
        threats.Add(second, true, {{"Second", "/"}});
        EXPECT_EQ(Malicious(threats, first, "/"), "First");
        EXPECT_EQ(Malicious(threats, second, "/"), "Second");
        PhishingListOwner sites;
        sites.Add(first, false, {"/a"});
        EXPECT_TRUE(Phishing(sites, first, "/a"));
        EXPECT_FALSE(Phishing(sites, second, "/a"));
        sites.Add(second, false, {"/b"});
        EXPECT_TRUE(Phishing(sites, second, "/b"));
        EXPECT_FALSE(Phishing(sites, second, "/a"));
    }
}

TEST(ThreatLists, FieldsWithoutNulEndAtTheirLastByte) {
    ThreatListOwner owner;
    ThreatSiteEntry& entry = owner.Add("bad.example", false, {{"A", "/a"}});
    std::memset(entry.threats->name, 'n', sizeof entry.threats->name);
    std::memset(entry.threats->path, 'p', sizeof entry.threats->path);
    EXPECT_EQ(Malicious(owner, "bad.example", std::string(199, 'p')), std::string(49, 'n'));
    EXPECT_EQ(Malicious(owner, "bad.example", std::string(200, 'p')), "none");
}

TEST(PhishingList, WholeSiteOrPath) {
    PhishingListOwner owner;
    owner.Add("bad.example", false, {"/a", "/s/"});
    owner.Add("bad.example", false, {"/b"});
    owner.Add("worse.example", false, {"/a"});
    owner.Add("worse.example", true);
    for (const char* path : {"/a", "/a/x", "/s/x", "/s/", "/b"})
        EXPECT_TRUE(Phishing(owner, "bad.example", path)) << path;
    for (const char* path : {"", "/", "/A", "/ab", "/a?q", "/s"})
        EXPECT_FALSE(Phishing(owner, "bad.example", path)) << path;
    EXPECT_TRUE(Phishing(owner, "worse.example", ""));
    EXPECT_FALSE(Phishing(owner, "www.worse.example", ""));
}

TEST(PhishingList, AnEmptyPathStandsForEveryPath) {
    PhishingListOwner owner;
    owner.Add("bad.example", false, {""});
    EXPECT_TRUE(Phishing(owner, "bad.example", ""));
    EXPECT_TRUE(Phishing(owner, "bad.example", "/x"));
    EXPECT_FALSE(Phishing(owner, "bad.example", "x"));
}

TEST(ThreatLists, PublishReplacesAndClearEmpties) {
    ThreatListOwner owner;
    owner.Add("bad.example", true);
    MaliciousList list;
    list.Publish(owner.Record());
    EXPECT_TRUE(list.Find("bad.example", "").has_value());
    list.Publish(ThreatSiteList{});
    EXPECT_FALSE(list.Find("bad.example", "").has_value());
    list.Publish(owner.Record());
    list.Clear();
    EXPECT_FALSE(list.Find("bad.example", "").has_value());
}

TEST(ThreatLists, AgreeWithThePlainWalk) {
    std::size_t maliciousHits = 0;
    std::size_t phishingHits = 0;
    constexpr std::size_t kLists = 3000;
    for (std::uint32_t seed = 0; seed < kLists; ++seed) {
        RandomTexts random(seed);
        std::string hosts[5];
        std::string paths[6];
        for (std::string& host : hosts) host = random.Text("ab.", random.Length(255));
        for (std::string& path : paths) path = random.OneIn(6) ? "" : "/" + random.Text("aab/", random.Length(1000));
        ThreatListOwner threats;
        PhishingListOwner sites;
        std::vector<ThreatNode*> threatChains{nullptr};
        std::vector<PathListNode*> pathChains{nullptr};
        for (std::size_t count = random.Below(random.OneIn(10) ? 60 : 8); count != 0; --count) {
            const std::string& host = hosts[random.Below(5)];
            std::vector<Threat> nodes;
            std::vector<std::string> listed;
            for (std::size_t n = random.Below(5); n != 0; --n) {
                std::string path =
                    random.OneIn(3) ? random.Text("ab/", random.Length(30)) : random.PieceOf(paths[random.Below(6)]);
                if (random.OneIn(4)) path = random.OneIn(2) ? "/" : "";
                if (random.OneIn(4)) path += '/';
                path = random.Recased(path);
                nodes.push_back({"threat " + std::to_string(random.Below(1000)), path.substr(0, 199)});
                listed.push_back(path);
            }
            const bool wholeSite = random.OneIn(4);
            ThreatSiteEntry& threat = threats.Add(host, wholeSite, nodes);
            PhishingSiteEntry& site = sites.Add(host, wholeSite, listed);
            threat.hash ^= random.OneIn(20) ? 1U : 0U;
            site.hash ^= random.OneIn(20) ? 1U : 0U;
            // Some entries share an earlier one's chain, some run into it.
            ThreatNode* const threatChain = threatChains[random.Below(threatChains.size())];
            PathListNode* const pathChain = pathChains[random.Below(pathChains.size())];
            if (random.OneIn(3))
                threat.threats = threatChain;
            else if (random.OneIn(3))
                RunInto(threat.threats, threatChain, random.Below(4));
            if (random.OneIn(3))
                site.paths = pathChain;
            else if (random.OneIn(3))
                RunInto(site.paths, pathChain, random.Below(4));
            threatChains.push_back(threat.threats);
            pathChains.push_back(site.paths);
        }
        const HashOrder order = random.OneIn(2) ? HashOrder::kAscending : HashOrder::kDescending;
        threats.Sort(order);
        sites.Sort(order);
        MaliciousList malicious;
        PhishingList phishing;
        malicious.Publish(threats.Record());
        phishing.Publish(sites.Record());
        for (int i = 0; i < 10; ++i) {
            const std::string& host = hosts[random.Below(5)];
            const std::string path = random.Recased(paths[random.Below(6)]);
            const auto expected = plain::FindMalicious(host, path, threats.Record());
            const bool isPhishing = plain::MatchPhishing(host, path, sites.Record());
            ASSERT_EQ(malicious.Find(host, path), expected) << "seed " << seed << ' ' << host << path;
            ASSERT_EQ(phishing.Matches(host, path), isPhishing) << "seed " << seed << ' ' << host << path;
            maliciousHits += expected ? 1U : 0U;
            phishingHits += isPhishing ? 1U : 0U;
        }
    }
    EXPECT_GT(maliciousHits, kLists) << "too few matches to prove anything";
    EXPECT_GT(phishingHits, kLists) << "too few matches to prove anything";
    EXPECT_LT(maliciousHits, 9 * kLists);
}

}  // namespace
}  // namespace tarn::lists
