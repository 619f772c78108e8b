#include "lists/blocked_sites.h"

#include <gtest/gtest.h>
#include <string>

#include "lists/plain_walk.h"
#include "lists/random_texts.h"
#include "lists/record_owners.h"
#include "network/ip_address.h"

namespace tarn::lists {
namespace {

using Bytes = std::initializer_list<std::uint8_t>;

constexpr IpAddressRecord kNoAddress{};
constexpr Lookup kFailed = Lookup::kFailed;
constexpr Lookup kMiss = Lookup::kMiss;
constexpr Lookup kHit = Lookup::kHit;

IpAddressRecord Literal(const char* text) {
    IpAddressRecord record{};
    EXPECT_TRUE(network::ParseIpLiteral(text, record)) << text;
    return record;
}

struct Question {
    std::string_view host;
    std::string_view path = "/";
    std::uint8_t mode = 1;
    IpAddressRecord address = kNoAddress;
};

Lookup Ask(SiteTableOwner& owner, const Question& q) {
    owner.Sort(HashOrder::kDescending);
    const plain::SiteTables tables = owner.Tables();
    BlockedSites table;
    table.Publish(tables.hosts, tables.addresses);
    const Lookup result = table.Match(q.host, q.path, q.address, q.mode);
    EXPECT_EQ(result, plain::MatchHostList(q.host, q.path, q.address, q.mode, tables)) << q.host;
    return result;
}

Lookup AskWww(SiteTableOwner& owner, const Question& q) {
    owner.Sort(HashOrder::kDescending);
    const plain::SiteTables tables = owner.Tables();
    BlockedSites table;
    table.Publish(tables.hosts, tables.addresses);
    const Lookup result = table.MatchWithWwwVariant(q.host, q.path, q.address, q.mode);
    EXPECT_EQ(result, plain::MatchHostWithWwwVariant(q.host, q.path, q.address, q.mode, tables)) << q.host;
    return result;
}

TEST(BlockedSites, WholeDomainCoversEverythingBelowIt) {
    SiteTableOwner owner;
    owner.AddHost("example.org").wholeDomain = 1;
    for (const char* host : {"example.org", "www.example.org", "a.b.c.example.org", "example.org:8080",
                             "www.example.org:8080", "example.org/x"})
        EXPECT_EQ(Ask(owner, {host}), kHit) << host;
    for (const char* host : {"badexample.org", "example.org.uk", "org", "example", "example.orgx:80", "Example.org"})
        EXPECT_EQ(Ask(owner, {host}), kMiss) << host;
}

TEST(BlockedSites, TenthLabelIsTheLastOne) {
    SiteTableOwner owner;
    owner.AddHost("x.y").wholeDomain = 1;
    EXPECT_EQ(Ask(owner, {"1.2.3.4.5.6.7.8.x.y"}), kHit) << "the ninth hash";
    EXPECT_EQ(Ask(owner, {"1.2.3.4.5.6.7.8.9.x.y"}), kHit) << "the tenth hash";
    EXPECT_EQ(Ask(owner, {"1.2.3.4.5.6.7.8.9.10.x.y"}), kMiss);
}

TEST(BlockedSites, ExactHostIsTheWholeHostOnly) {
    SiteTableOwner owner;
    owner.AddHost("example.org").exactHost = 1;
    for (const std::uint8_t mode : Bytes{1, 2, 3}) EXPECT_EQ(Ask(owner, {"example.org", "/", mode}), kHit);
    EXPECT_EQ(Ask(owner, {"www.example.org"}), kMiss);
    EXPECT_EQ(Ask(owner, {"example.org:80"}), kHit);
}

TEST(BlockedSites, KindTwoIsTheWholeSiteInModeThree) {
    SiteTableOwner owner;
    parental::HostListEntry& entry = owner.AddHost("example.org", {"/a"});
    entry.kind = TARN_SITE_SECURE;
    entry.exactHost = 1;
    EXPECT_EQ(Ask(owner, {"example.org", "/a", 3}), kHit);
    EXPECT_EQ(Ask(owner, {"example.org", "/a", 1}), kMiss) << "neither flag nor paths of kind 2 count elsewhere";
    EXPECT_EQ(Ask(owner, {"example.org", "/a", 4}), kMiss) << "4 counts as 3 in the www. form only";
    EXPECT_EQ(AskWww(owner, {"example.org", "/a", 4}), kHit);
    EXPECT_EQ(Ask(owner, {"www.example.org", "/a", 3}), kMiss);
}

TEST(BlockedSites, PathsOfTheWholeHost) {
    SiteTableOwner owner;
    owner.AddHost("example.org", {"/a", "/s/"});
    for (const char* path : {"/a", "/a/b", "/s/", "/s/x"}) EXPECT_EQ(Ask(owner, {"example.org", path}), kHit) << path;
    for (const char* path : {"", "/", "/ab", "/a?q", "/s", "/A"})
        EXPECT_EQ(Ask(owner, {"example.org", path}), kMiss) << path;
    EXPECT_EQ(Ask(owner, {"example.org", "/a", 3}), kMiss);
    EXPECT_EQ(Ask(owner, {"www.example.org", "/a"}), kMiss);
}

TEST(BlockedSites, FirstOccurrenceOfTheTextDecides) {
    SiteTableOwner owner;
    owner.AddHost("a.org").wholeDomain = 1;
    EXPECT_EQ(Ask(owner, {"a.org.a.org"}), kMiss) << "followed by a dot";
    EXPECT_EQ(Ask(owner, {"ba.org.a.org"}), kMiss) << "preceded by a letter";
    EXPECT_EQ(Ask(owner, {"b.a.org"}), kHit);
}

TEST(BlockedSites, FailuresAreNotMisses) {
    SiteTableOwner none;
    EXPECT_EQ(Ask(none, {"example.org"}), kFailed);
    none.AddAddress(Literal("1.2.3.4")).kind = 1;
    EXPECT_EQ(Ask(none, {"1.2.3.4", "/", 1, Literal("1.2.3.4")}), kFailed) << "addresses alone are no table";
    SiteTableOwner owner;
    owner.AddHost("example.org").wholeDomain = 1;
    EXPECT_EQ(Ask(owner, {".example.org"}), kFailed);
    EXPECT_EQ(Ask(owner, {"example.org."}), kFailed);
    EXPECT_EQ(Ask(owner, {""}), kMiss);
    EXPECT_EQ(AskWww(owner, {""}), kFailed) << "the second try asks for \"www.\"";
    EXPECT_EQ(AskWww(owner, {"example.org."}), kFailed);
}

TEST(BlockedSites, EmptyAndNullTextsMatchNothing) {
    SiteTableOwner owner;
    owner.AddHost("").wholeDomain = 1;
    parental::HostListEntry& null = owner.AddHost("a");
    null.wholeDomain = 1;
    null.text = nullptr;
    EXPECT_EQ(Ask(owner, {"a"}), kMiss);
    EXPECT_EQ(Ask(owner, {""}), kMiss);
}

TEST(BlockedSites, EntriesOfOneTextAddUp) {
    SiteTableOwner owner;
    owner.AddHost("10.0.0.1", {"/a"});
    owner.AddHost("10.0.0.1", {"/b"});
    owner.AddHost("10.0.0.1", {"/c"}).kind = TARN_SITE_SECURE;
    EXPECT_EQ(Ask(owner, {"10.0.0.1", "/a"}), kHit);
    EXPECT_EQ(Ask(owner, {"10.0.0.1", "/b"}), kHit);
    EXPECT_EQ(Ask(owner, {"10.0.0.1", "/c"}), kMiss);
    EXPECT_EQ(Ask(owner, {"10.0.0.1", "/c", 3}), kHit);
}

TEST(BlockedSites, AWrongHashIsFoundOnlyWhereTheHashIs) {
    SiteTableOwner owner;
    parental::HostListEntry& entry = owner.AddHost("b.org");
    entry.wholeDomain = 1;
    entry.hash = base::Crc32Of("www.b.org");
    EXPECT_EQ(Ask(owner, {"b.org"}), kMiss);
    EXPECT_EQ(Ask(owner, {"x.b.org"}), kMiss);
    EXPECT_EQ(Ask(owner, {"www.b.org"}), kHit) << "hash and text both fit";
}

TEST(BlockedSites, HostsOfOneHashAreToldApartByTheirText) {
    for (const auto& [first, second] : kHashCollisions) {
        ASSERT_EQ(base::Crc32Of(std::string_view(first)), base::Crc32Of(std::string_view(second)));
        SiteTableOwner owner;
        owner.AddHost(first).wholeDomain = 1;
        EXPECT_EQ(Ask(owner, {first}), kHit);
        EXPECT_EQ(Ask(owner, {second}), kMiss);
        EXPECT_EQ(Ask(owner, {std::string("www.") + second}), kMiss);
        owner.AddHost(second, {"/b"});
        EXPECT_EQ(Ask(owner, {second, "/b"}), kHit);
        EXPECT_EQ(Ask(owner, {second, "/a"}), kMiss);
        EXPECT_EQ(Ask(owner, {std::string("www.") + first}), kHit);
    }
}

TEST(BlockedSites, AHostWithAPathIsLookedUpWithoutIt) {
    SiteTableOwner owner;
    owner.AddHost("example.org").exactHost = 1;
    owner.AddHost("example.net").wholeDomain = 1;
    EXPECT_EQ(Ask(owner, {"example.org/x"}), kHit) << "the entry stands before the \"/\"";
    EXPECT_EQ(Ask(owner, {"www.example.net/x:80"}), kHit);
    EXPECT_EQ(Ask(owner, {"example.orgx/y"}), kMiss);
    SiteTableOwner behind;
    behind.AddHost("org").wholeDomain = 1;
    EXPECT_EQ(Ask(behind, {"a/org/b.org"}), kHit) << "a listed text may stand behind a \"/\"";
    EXPECT_EQ(Ask(behind, {"aorg/b.org"}), kMiss);
}

TEST(BlockedSites, FlagsCountOnlyWhenTheyAreOne) {
    SiteTableOwner owner;
    owner.AddHost("example.org").wholeDomain = 2;
    owner.AddHost("example.net").exactHost = 2;
    EXPECT_EQ(Ask(owner, {"example.org"}), kMiss);
    EXPECT_EQ(Ask(owner, {"www.example.org"}), kMiss);
    EXPECT_EQ(Ask(owner, {"example.net"}), kMiss);
}

TEST(BlockedSites, AChainThatManyHostsShareKeepsAllItsPaths) {
    constexpr std::size_t kHosts = 65536;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < 65; ++i) paths.push_back("/path" + std::to_string(i));
    SiteTableOwner owner;
    const PathListNode* const chain = owner.AddHost("site.example", paths).paths;
    for (std::size_t i = 1; i < kHosts; ++i) owner.AddHost("site" + std::to_string(i) + ".example").paths = chain;
    owner.Sort(HashOrder::kDescending);
    BlockedSites sites;
    sites.Publish(owner.Tables().hosts, {});
    std::size_t found = 0;
    for (std::size_t i = 1; i < kHosts; ++i)
        found += sites.Match("site" + std::to_string(i) + ".example", "/path64/x", kNoAddress, 1) == kHit ? 1U : 0U;
    EXPECT_EQ(found, kHosts - 1);
    EXPECT_EQ(sites.Match("site9.example", "/path65", kNoAddress, 1), kMiss);
}

TEST(BlockedSites, ChainsThatRunIntoOneLongTailKeepAllItsPaths) {
    constexpr std::size_t kMany = 65536;
    const auto number = [](const char* text, std::size_t i) { return text + std::to_string(i); };
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < kMany; ++i) paths.push_back(number("/path", i));
    SiteTableOwner owner;
    PathListNode* const tail = owner.MakePaths(paths);
    for (std::size_t i = 0; i < kMany; ++i) {
        PathListNode* const head = owner.MakePaths({number("/head", i)});
        head->next = tail;
        owner.AddHost(number("site", i) + ".example").paths = head;
    }
    PathListNode* const head = owner.MakePaths({"/address"});
    head->next = tail;
    owner.AddAddress(Literal("1.2.3.4")).paths = head;
    owner.Sort(HashOrder::kDescending);
    BlockedSites sites;
    sites.Publish(owner.Tables().hosts, owner.Tables().addresses);
    std::size_t found = 0;
    for (std::size_t i = 0; i < kMany; ++i) {
        const std::string host = number("site", i) + ".example";
        found += sites.Match(host, number("/head", i), kNoAddress, 1) == kHit &&
                         sites.Match(host, "/path65535", kNoAddress, 1) == kHit &&
                         sites.Match(host, number("/head", i + 1), kNoAddress, 1) == kMiss
                     ? 1U
                     : 0U;
    }
    EXPECT_EQ(found, kMany);
    EXPECT_EQ(sites.Match("1.2.3.4", "/address", Literal("1.2.3.4"), 1), kHit);
    EXPECT_EQ(sites.Match("1.2.3.4", "/path65535", Literal("1.2.3.4"), 1), kHit);
    EXPECT_EQ(sites.Match("1.2.3.4", "/head1", Literal("1.2.3.4"), 1), kMiss);
}

TEST(BlockedSites, AddressesAreAskedForLiteralsOnly) {
    SiteTableOwner owner;
    owner.AddHost("example.org");
    owner.AddAddress(Literal("1.2.3.4")).kind = 1;
    owner.AddAddress(Literal("::5")).kind = 1;
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "", 1, Literal("1.2.3.4")}), kHit);
    EXPECT_EQ(Ask(owner, {"9.9.9.9", "", 1, Literal("1.2.3.4")}), kHit) << "the connection's address counts";
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "", 1, Literal("9.9.9.9")}), kMiss);
    EXPECT_EQ(Ask(owner, {"a.example", "", 1, Literal("1.2.3.4")}), kMiss);
    EXPECT_EQ(Ask(owner, {"0005:0000:0000:0000:0000:0000:0000:0005", "", 1, Literal("::5")}), kHit);
    EXPECT_EQ(Ask(owner, {"[::5]", "", 1, Literal("::5")}), kMiss) << "brackets make it no literal";
    IpAddressRecord rest = Literal("1.2.3.4");
    rest.bytes[7] = 9;
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "", 1, rest}), kHit) << "IPv4 is four bytes";
    rest.family = 1;
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "", 1, rest}), kMiss);
}

TEST(BlockedSites, AddressRules) {
    for (const std::uint8_t kind : Bytes{0, 1, 2, 3}) {
        for (const std::uint8_t whole : Bytes{0, 1, 2}) {
            for (const std::uint8_t mode : Bytes{1, 2, 3, 4}) {
                SiteTableOwner owner;
                owner.AddHost("example.org");
                parental::AddressListEntry& entry = owner.AddAddress(Literal("1.2.3.4"), {"/a"});
                entry.kind = kind;
                entry.wholeAddress = whole;
                const bool onPath = whole == 2 ? mode == 3 : kind == 1 || mode != 3;
                const bool offPath = whole == 2 ? mode == 3 : kind == 1;
                EXPECT_EQ(Ask(owner, {"1.2.3.4", "/a", mode, Literal("1.2.3.4")}), onPath ? kHit : kMiss);
                EXPECT_EQ(Ask(owner, {"1.2.3.4", "/b", mode, Literal("1.2.3.4")}), offPath ? kHit : kMiss);
            }
        }
    }
}

TEST(BlockedSites, TheFirstEqualAddressDecides) {
    SiteTableOwner owner;
    owner.AddHost("example.org");
    owner.AddAddress(Literal("1.2.3.4"), {"/a"});
    owner.AddAddress(Literal("1.2.3.4"), {"/b"}).kind = 1;
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "/a", 1, Literal("1.2.3.4")}), kHit);
    EXPECT_EQ(Ask(owner, {"1.2.3.4", "/b", 1, Literal("1.2.3.4")}), kMiss);
}

TEST(BlockedSites, WwwIsTakenAwayOrAdded) {
    SiteTableOwner with;
    with.AddHost("www.example.org").exactHost = 1;
    EXPECT_EQ(Ask(with, {"example.org"}), kMiss);
    EXPECT_EQ(AskWww(with, {"example.org"}), kHit);
    EXPECT_EQ(AskWww(with, {"m.example.org"}), kMiss);
    SiteTableOwner without;
    without.AddHost("example.org").exactHost = 1;
    EXPECT_EQ(Ask(without, {"www.example.org"}), kMiss);
    EXPECT_EQ(AskWww(without, {"www.example.org"}), kHit);
    EXPECT_EQ(AskWww(without, {"www.www.example.org"}), kMiss) << "once";
}

TEST(BlockedSites, WwwWithoutDotGetsNoSecondTry) {
    SiteTableOwner owner;
    owner.AddHost("www.wwwexample.org").exactHost = 1;
    EXPECT_EQ(AskWww(owner, {"wwwexample.org"}), kMiss);
    EXPECT_EQ(AskWww(owner, {"www.wwwexample.org"}), kHit);
    EXPECT_EQ(AskWww(owner, {"www"}), kMiss);
}

TEST(BlockedSites, WwwNeedsRoomInAHostBuffer) {
    SiteTableOwner owner;
    owner.AddHost("b").wholeDomain = 1;
    EXPECT_EQ(AskWww(owner, {std::string(255, 'a')}), kMiss);
    EXPECT_EQ(AskWww(owner, {std::string(256, 'a')}), kFailed);
    // Behind "www." the host is cut at 259 characters, here just before its last dot.
    const std::string cut = "www." + std::string(257, 'a') + ".b";
    EXPECT_EQ(AskWww(owner, {cut}), kHit) << "261 characters: the first try";
    SiteTableOwner exact;
    exact.AddHost(std::string(259, 'a')).exactHost = 1;
    EXPECT_EQ(AskWww(exact, {"www." + std::string(259, 'a')}), kHit);
    EXPECT_EQ(AskWww(exact, {"www." + std::string(300, 'a')}), kHit) << "cut silently";
}

TEST(BlockedSites, PublishReplacesAndClearEmpties) {
    SiteTableOwner owner;
    owner.AddHost("example.org").wholeDomain = 1;
    BlockedSites table;
    EXPECT_TRUE(table.Empty());
    table.Publish(owner.Tables().hosts, {});
    EXPECT_FALSE(table.Empty());
    EXPECT_EQ(table.Match("example.org", "/", kNoAddress, 1), kHit);
    SiteTableOwner other;
    other.AddHost("example.net");
    table.Publish(other.Tables().hosts, {});
    EXPECT_EQ(table.Match("example.org", "/", kNoAddress, 1), kMiss);
    table.Clear();
    EXPECT_EQ(table.Match("example.org", "/", kNoAddress, 1), kFailed);
}

std::string RandomHost(RandomTexts& random) {
    if (random.OneIn(5)) return random.Text(random.OneIn(4) ? "12. :" : "12.", random.Length(8));
    std::string host = random.OneIn(4) ? (random.OneIn(4) ? "www" : "www.") : "";
    host += random.Text("ab.", random.Length(259));
    if (random.OneIn(20)) host.insert(host.starts_with("www.") ? 4 : 0, random.OneIn(2) ? "[" : "[a]");
    if (random.OneIn(6)) host += random.OneIn(2) ? ":80" : "/x";
    return host;
}

IpAddressRecord RandomAddress(RandomTexts& random) {
    IpAddressRecord record{};
    record.family = random.Byte(3);
    record.bytes[random.Below(16)] = random.Byte(2);
    return record;
}

void FillRandomly(RandomTexts& random, SiteTableOwner& owner, const std::vector<std::string>& hosts,
                  const std::vector<std::string>& paths) {
    // Some entries share an earlier one's chain, some run into it.
    std::vector<PathListNode*> chains{nullptr};
    const auto someChain = [&] {
        PathListNode* const earlier = chains[random.Below(chains.size())];
        if (random.OneIn(3)) return earlier;
        std::vector<std::string> some(random.Below(3));
        for (std::string& path : some) path = random.PieceOf(paths[random.Below(paths.size())]);
        PathListNode* const chain = owner.MakePaths(some);
        if (random.OneIn(3)) RunInto(chain, earlier, random.Below(3));
        chains.push_back(chain);
        return chain;
    };
    for (std::size_t count = random.Below(random.OneIn(10) ? 100 : 8); count != 0; --count) {
        std::string text = hosts[random.Below(hosts.size())];
        if (random.OneIn(2) && text.find('.') != std::string::npos) text = text.substr(text.find('.') + 1);
        parental::HostListEntry& entry = owner.AddHost(text);
        entry.paths = someChain();
        entry.kind = random.Byte(4);
        entry.exactHost = random.Byte(3);
        entry.wholeDomain = random.OneIn(3) ? 1 : 0;
        if (random.OneIn(10)) entry.hash = base::Crc32Of(hosts[random.Below(hosts.size())]);
    }
    for (std::size_t count = random.Below(5); count != 0; --count) {
        parental::AddressListEntry& entry = owner.AddAddress(RandomAddress(random));
        entry.paths = someChain();
        entry.kind = random.Byte(3);
        entry.wholeAddress = random.Byte(3);
    }
    owner.Sort(random.OneIn(2) ? HashOrder::kAscending : HashOrder::kDescending);
}

TEST(BlockedSites, AgreesWithThePlainWalk) {
    std::size_t results[3] = {};
    constexpr std::size_t kTables = 3000;
    for (std::uint32_t seed = 0; seed < kTables; ++seed) {
        RandomTexts random(seed);
        std::vector<std::string> hosts(6);
        std::vector<std::string> paths(5);
        for (std::string& host : hosts) host = RandomHost(random);
        for (std::string& path : paths) path = "/" + random.Text("ab/", random.Length(100));
        SiteTableOwner owner;
        FillRandomly(random, owner, hosts, paths);
        const plain::SiteTables tables = owner.Tables();
        BlockedSites table;
        table.Publish(tables.hosts, tables.addresses);
        for (int i = 0; i < 12; ++i) {
            const std::string& host = hosts[random.Below(hosts.size())];
            const std::string& path = paths[random.Below(paths.size())];
            const IpAddressRecord address = RandomAddress(random);
            const std::uint8_t mode = random.Byte(5);
            ASSERT_EQ(table.Match(host, path, address, mode), plain::MatchHostList(host, path, address, mode, tables))
                << "seed " << seed << ' ' << host << path;
            const Lookup expected = plain::MatchHostWithWwwVariant(host, path, address, mode, tables);
            ASSERT_EQ(table.MatchWithWwwVariant(host, path, address, mode), expected)
                << "seed " << seed << ' ' << host << path;
            ++results[static_cast<std::size_t>(expected)];
        }
    }
    for (const std::size_t count : results) EXPECT_GT(count, kTables) << "too few of one answer to prove anything";
}

TEST(BlockedSites, TheVariantIsAskedWhereItHasOtherLabels) {
    const struct {
        const char* listed;
        const char* asked;
    } cases[] = {
        {"1", "1::2"},                          // what stands before the ":" of the variant of a literal
        {"2", "1.2"},                           // behind a dot of a literal
        {"x.y", "www.1.2.3.4.5.6.7.8.9.x.y"},   // the tenth label of the variant
        {"[a", "[a:b"},                         // a bracket that is no longer in front
        {"www.example.org", "example.org:80"},  // the variant without its port
    };
    for (const auto& c : cases) {
        SiteTableOwner owner;
        owner.AddHost(c.listed).wholeDomain = 1;
        EXPECT_EQ(AskWww(owner, {c.asked}), kHit) << c.asked;
    }
    SiteTableOwner owner;
    owner.AddHost("example.org");
    owner.AddAddress(Literal("1.2.3.4")).kind = 1;
    EXPECT_EQ(AskWww(owner, {"www.1.2.3.4", "/", 1, Literal("1.2.3.4")}), kHit) << "without www it is a literal";
}

}  // namespace
}  // namespace tarn::lists
