#include "parental/site_tables.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "base/hash.h"
#include "base/text.h"
#include "network/ip_address.h"
#include "parental/failing_memory.h"
#include "parental/record_builders.h"

namespace tarn::parental {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Paths = std::vector<std::string>;

Paths PathsOf(const PathListNode* first) {
    Paths paths;
    for (; first != nullptr; first = first->next) paths.emplace_back(first->path);
    return paths;
}

SiteTables Build(SiteRules& rules) {
    SiteTables tables;
    EXPECT_TRUE(BuildSiteTables(rules.First(), tables));
    return tables;
}

// The only entry of this text.
HostListEntry Host(const SiteTables& tables, std::string_view text) {
    HostListEntry found{};
    int count = 0;
    for (const HostListEntry& entry : tables.hosts)
        if (text == entry.text) {
            found = entry;
            ++count;
        }
    EXPECT_EQ(count, 1) << text;
    return found;
}

std::vector<std::string> Texts(const SiteTables& tables) {
    std::vector<std::string> texts;
    for (const HostListEntry& entry : tables.hosts) texts.emplace_back(entry.text);
    return texts;
}

TEST(SiteTables, NoRulesGiveEmptyTables) {
    SiteTables tables;
    SiteRules rules;
    rules.Add("old.example");
    ASSERT_TRUE(BuildSiteTables(rules.First(), tables));
    ASSERT_TRUE(BuildSiteTables(nullptr, tables));
    EXPECT_TRUE(tables.hosts.empty());
    EXPECT_TRUE(tables.addresses.empty());
}

TEST(SiteTables, OneRuleGivesItsHostAsItStands) {
    SiteRules rules;
    rules.Add("Shop.Example", "", 7, 8, 9);
    const SiteTables tables = Build(rules);
    const HostListEntry entry = Host(tables, "shop.example");
    EXPECT_EQ(entry.kind, 7);
    EXPECT_EQ(entry.exactHost, 8);
    EXPECT_EQ(entry.wholeDomain, 9);
    EXPECT_EQ(entry.hash, base::Crc32Of("shop.example"));
    EXPECT_EQ(entry.paths, nullptr);
}

TEST(SiteTables, HostsThatDifferInCaseOnlyMerge) {
    SiteRules rules;
    rules.Add("Shop.Example", "/A");
    rules.Add("other.example", "/x");
    rules.Add("shop.example", "/b/");
    rules.Add("SHOP.EXAMPLE");
    const SiteTables tables = Build(rules);
    EXPECT_EQ(tables.hosts.size(), 2U);
    EXPECT_THAT(PathsOf(Host(tables, "shop.example").paths), ElementsAre("/a", "/b/"));
    EXPECT_THAT(PathsOf(Host(tables, "other.example").paths), ElementsAre("/x"));
}

TEST(SiteTables, TheRulesAreLeftAsTheyAre) {
    SiteRules rules;
    const SiteRule& rule = rules.Add("Shop.Example", "/A");
    const SiteTables tables = Build(rules);
    EXPECT_STREQ(rule.host, "Shop.Example");
    EXPECT_STREQ(rule.path, "/A");
    EXPECT_EQ(tables.hosts.size(), 1U);
}

TEST(SiteTables, KindOfTheFirstRuleHoldsUnlessALaterOneIsNeitherTwoNorFour) {
    struct Case {
        std::vector<std::uint8_t> kinds;
        std::uint8_t expected;
    };
    const Case cases[] = {{{4}, 4},    {{4, 2}, 4}, {{4, 2, 4}, 4}, {{4, 3}, 1},    {{2, 4}, 2},
                          {{2, 0}, 1}, {{0, 2}, 0}, {{3, 4, 2}, 3}, {{2, 1, 2}, 1}, {{5, 255}, 1}};
    for (const Case& c : cases) {
        SiteRules rules;
        for (const std::uint8_t kind : c.kinds) rules.Add("a.example", "", kind);
        EXPECT_EQ(Host(Build(rules), "a.example").kind, c.expected) << testing::PrintToString(c.kinds);
    }
}

TEST(SiteTables, FlagBecomesOneWithAnyLaterOneAndTheThirdByteStays) {
    struct Case {
        std::vector<std::uint8_t> flags;
        std::uint8_t expected;
    };
    const Case cases[] = {{{0, 1}, 1}, {{1, 0}, 1}, {{2, 0}, 2}, {{0, 2}, 0}, {{2, 1}, 1}};
    for (const Case& c : cases) {
        SiteRules rules;
        std::uint8_t extra = 5;
        for (const std::uint8_t flag : c.flags) rules.Add("a.example", "", 2, flag, extra++);
        const HostListEntry entry = Host(Build(rules), "a.example");
        EXPECT_EQ(entry.exactHost, c.expected) << testing::PrintToString(c.flags);
        EXPECT_EQ(entry.wholeDomain, 5);
    }
}

TEST(SiteTables, Ipv4AddressGivesTwoTextsAndANetworkOrderAddress) {
    SiteRules rules;
    rules.Add("a.example", "/p", 2, 1, 1, {RuleIpv4(0xC0A80001)});
    const SiteTables tables = Build(rules);
    EXPECT_THAT(Texts(tables), UnorderedElementsAre("a.example", "192.168.0.1", "0xc0a80001"));
    for (const char* text : {"192.168.0.1", "0xc0a80001"}) {
        const HostListEntry entry = Host(tables, text);
        EXPECT_EQ(entry.kind, 2);
        EXPECT_EQ(entry.exactHost, 1);
        EXPECT_EQ(entry.wholeDomain, 0) << "not taken over";
        EXPECT_EQ(entry.hash, base::Crc32Of(text));
        EXPECT_EQ(entry.paths, Host(tables, "a.example").paths) << "shared";
    }
    ASSERT_EQ(tables.addresses.size(), 1U);
    const AddressListEntry& entry = tables.addresses[0];
    EXPECT_EQ(entry.kind, 2);
    EXPECT_EQ(entry.wholeAddress, 1);
    EXPECT_EQ(entry.address.family, TARN_FAMILY_IPV4);
    EXPECT_THAT(std::vector<int>(entry.address.bytes, entry.address.bytes + 5), ElementsAre(0xC0, 0xA8, 0, 1, 0));
    EXPECT_THAT(PathsOf(entry.paths), ElementsAre("/p"));
}

TEST(SiteTables, HexadecimalFormHasNoLeadingZeros) {
    SiteRules rules;
    rules.Add("a", "", 0, 0, 0, {RuleIpv4(0), RuleIpv4(0x0A000001), RuleIpv4(0xFFFFFFFF)});
    EXPECT_THAT(Texts(Build(rules)),
                UnorderedElementsAre("a", "0.0.0.0", "0x0", "10.0.0.1", "0xa000001", "255.255.255.255", "0xffffffff"));
}

TEST(SiteTables, BracketedFormEndsInAFullStop) {
    SiteRules rules;
    rules.Add("a", "", 0, 0, 0, {Ipv6({0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xAB, 0xCD})});
    EXPECT_THAT(Texts(Build(rules)),
                UnorderedElementsAre("a", "2001:db8::abcd", "[2001:0db8:0000:0000:0000:0000:0000:abcd]."));
}

TEST(SiteTables, AnyFamilyButZeroIsIpv6) {
    SiteRules rules;
    IpAddressRecord address = Ipv6({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
    address.family = 23;
    rules.Add("a", "", 0, 0, 0, {address});
    const SiteTables tables = Build(rules);
    EXPECT_THAT(Texts(tables), UnorderedElementsAre("a", "fe80::1", "[fe80:0000:0000:0000:0000:0000:0000:0001]."));
    ASSERT_EQ(tables.addresses.size(), 1U);
    EXPECT_EQ(tables.addresses[0].address.family, TARN_FAMILY_IPV6);
    EXPECT_EQ(tables.addresses[0].address.bytes[0], 0xFE);
    EXPECT_EQ(tables.addresses[0].address.bytes[15], 1);
}

TEST(SiteTables, AddressesTakeTheFlagsOfTheirTime) {
    SiteRules rules;
    rules.Add("a", "", 4, 0, 0, {RuleIpv4(1)});
    rules.Add("a", "", 3, 1, 0, {RuleIpv4(2)});
    const SiteTables tables = Build(rules);
    EXPECT_EQ(Host(tables, "0.0.0.1").kind, 4);
    EXPECT_EQ(Host(tables, "0.0.0.1").exactHost, 0);
    EXPECT_EQ(Host(tables, "0.0.0.2").kind, 1);
    EXPECT_EQ(Host(tables, "0.0.0.2").exactHost, 1);
    ASSERT_EQ(tables.addresses.size(), 2U);
    EXPECT_EQ(tables.addresses[0].kind, 4);
    EXPECT_EQ(tables.addresses[1].wholeAddress, 1);
}

TEST(SiteTables, AddressesShareThePathsOfTheirTime) {
    SiteRules rules;
    rules.Add("early", "", 0, 0, 0, {RuleIpv4(1)});
    rules.Add("early", "/e");
    rules.Add("late", "/l1", 0, 0, 0, {RuleIpv4(2)});
    rules.Add("late", "/l2");
    const SiteTables tables = Build(rules);
    EXPECT_THAT(PathsOf(Host(tables, "early").paths), ElementsAre("/e"));
    EXPECT_THAT(PathsOf(Host(tables, "0.0.0.1").paths), IsEmpty());
    EXPECT_THAT(PathsOf(tables.addresses[0].paths), IsEmpty());
    EXPECT_THAT(PathsOf(Host(tables, "0.0.0.2").paths), ElementsAre("/l1", "/l2"));
    EXPECT_THAT(PathsOf(tables.addresses[1].paths), ElementsAre("/l1", "/l2"));
}

TEST(SiteTables, RuleForAnAddressTextGoesIntoTheNewestEntryOfIt) {
    SiteRules rules;
    rules.Add("a", "/a", 4, 0, 0, {RuleIpv4(0x01020304)});
    rules.Add("b", "/b", 4, 0, 0, {RuleIpv4(0x01020304)});
    rules.Add("1.2.3.4", "/c", 3, 1);
    const SiteTables tables = Build(rules);
    EXPECT_EQ(tables.hosts.size(), 6U);
    std::vector<std::tuple<int, int, Paths>> entries;
    for (const HostListEntry& entry : tables.hosts)
        if (std::string_view(entry.text) == "1.2.3.4")
            entries.emplace_back(entry.kind, entry.exactHost, PathsOf(entry.paths));
    EXPECT_THAT(entries, UnorderedElementsAre(std::tuple(4, 0, Paths{"/a"}), std::tuple(1, 1, Paths{"/b", "/c"})));
    EXPECT_THAT(PathsOf(Host(tables, "b").paths), ElementsAre("/b", "/c")) << "its list is shared";
}

TEST(SiteTables, HashesDescend) {
    SiteRules rules;
    for (int i = 0; i < 300; ++i) rules.Add("host" + std::to_string(i) + ".example");
    const SiteTables tables = Build(rules);
    ASSERT_EQ(tables.hosts.size(), 300U);
    for (std::size_t i = 1; i < tables.hosts.size(); ++i) EXPECT_GT(tables.hosts[i - 1].hash, tables.hosts[i].hash);
    EXPECT_GE(tables.hosts[0].hash, 0x80000000U) << "the numbers count as unsigned";
}

TEST(SiteTables, TextsWithoutANulEndAtTheirLastByte) {
    SiteRules rules;
    SiteRule& rule = rules.Add("");
    std::memset(rule.host, 'H', sizeof rule.host);
    std::memset(rule.path, 'P', sizeof rule.path);
    const SiteTables tables = Build(rules);
    EXPECT_EQ(tables.hosts[0].text, std::string(255, 'h'));
    EXPECT_THAT(PathsOf(tables.hosts[0].paths), ElementsAre(std::string(1023, 'p')));
}

TEST(SiteTables, EmptyHostsMergeToo) {
    SiteRules rules;
    rules.Add("", "/a");
    rules.Add("", "/b");
    const SiteTables tables = Build(rules);
    ASSERT_EQ(tables.hosts.size(), 1U);
    EXPECT_EQ(tables.hosts[0].hash, 0U);
    EXPECT_THAT(PathsOf(tables.hosts[0].paths), ElementsAre("/a", "/b"));
}

TEST(SiteTables, NullAddressesWithACountAreNone) {
    SiteRules rules;
    rules.Add("a").addressCount = 0xFFFFFFFF;
    const SiteTables tables = Build(rules);
    EXPECT_EQ(tables.hosts.size(), 1U);
    EXPECT_TRUE(tables.addresses.empty());
}

TEST(SiteTables, MoreEntriesThanThirtyTwoBitsCountFailBeforeAnAddressIsRead) {
    SiteRules rules;
    rules.Add("a", "", 0, 0, 0, {RuleIpv4(1)}).addressCount = 0x7FFFFFFF;
    const FailingMemory memory;
    SiteTables tables;
    EXPECT_FALSE(BuildSiteTables(rules.First(), tables, memory.Functions()));
    EXPECT_EQ(memory.Asked(), 0U);
    EXPECT_TRUE(tables.hosts.empty());
}

TEST(SiteTables, AHugeCountAsksForMemoryBeforeAnAddressIsRead) {
    SiteRules rules;
    rules.Add("a", "", 0, 0, 0, {RuleIpv4(1)}).addressCount = 0x7FFFFFFE;
    const FailingMemory memory(0);
    SiteTables tables;
    EXPECT_FALSE(BuildSiteTables(rules.First(), tables, memory.Functions()));
    EXPECT_EQ(memory.Asked(), 1U);
}

TEST(SiteTables, ALoopOfRulesEndsAfterEachRuleOnce) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{7}}) {
        for (std::size_t back = 0; back < length; ++back) {
            SiteRules rules;
            for (std::size_t i = 0; i < length; ++i) rules.Add("a", "/" + std::to_string(i));
            rules.Nodes()[length - 1].next = &rules.Nodes()[back];
            const SiteTables tables = Build(rules);
            ASSERT_EQ(tables.hosts.size(), 1U);
            EXPECT_EQ(PathsOf(tables.hosts[0].paths).size(), length);
        }
    }
}

TEST(SiteTables, EachMissingBlockFailsAndLeavesNothing) {
    SiteRules rules;
    rules.Add("a", "/p", 0, 0, 0, {RuleIpv4(1)});
    rules.Add("b", "/q");
    std::size_t blocks = 0;
    {
        const FailingMemory memory;
        SiteTables tables;
        ASSERT_TRUE(BuildSiteTables(rules.First(), tables, memory.Functions()));
        blocks = memory.Asked();
        EXPECT_EQ(memory.Live(), 4U) << "hosts, addresses, texts, paths";
    }
    for (std::size_t i = 0; i < blocks; ++i) {
        const FailingMemory memory(i);
        SiteTables tables;
        EXPECT_FALSE(BuildSiteTables(rules.First(), tables, memory.Functions())) << i;
        EXPECT_EQ(memory.Live(), 0U) << i;
        EXPECT_TRUE(tables.hosts.empty() && tables.addresses.empty()) << i;
    }
}

// ---- The rules walked in the plainest way: every search goes over all entries. ----

struct PlainEntry {
    int kind;
    int flag;
    int extra;
    std::string text;
    std::shared_ptr<Paths> paths;
};
struct PlainAddress {
    int kind;
    int flag;
    std::string address;
    std::shared_ptr<Paths> paths;
};

struct PlainTables {
    std::vector<PlainEntry> hosts;
    std::vector<PlainAddress> addresses;

    void Add(const SiteRule& rule) {
        std::string host = rule.host;
        std::string path = rule.path;
        base::LowerAscii(host.data(), host.size());
        base::LowerAscii(path.data(), path.size());
        std::size_t at = hosts.size();
        for (std::size_t i = hosts.size(); i > 0 && at == hosts.size(); --i)
            if (hosts[i - 1].text == host) at = i - 1;
        if (at == hosts.size()) {
            hosts.push_back({rule.kind, rule.flag, rule.extra, host, nullptr});
        } else {
            if (rule.flag == 1) hosts[at].flag = 1;
            if (rule.kind != 2 && rule.kind != 4) hosts[at].kind = 1;
        }
        if (!path.empty()) {
            if (hosts[at].paths == nullptr) hosts[at].paths = std::make_shared<Paths>();
            hosts[at].paths->push_back(path);
        }
        for (std::uint32_t i = 0; i < rule.addressCount; ++i) AddAddress(PlainEntry(hosts[at]), rule.addresses[i]);
    }

    void AddAddress(const PlainEntry& host, const IpAddressRecord& given) {
        char usual[128];
        char second[128];
        const std::uint8_t* b = given.bytes;
        if (given.family == 0) {
            std::snprintf(usual, sizeof usual, "%u.%u.%u.%u", b[3], b[2], b[1], b[0]);
            std::uint32_t number = 0;
            std::memcpy(&number, b, sizeof number);
            std::snprintf(second, sizeof second, "0x%x", number);
        } else {
            std::snprintf(usual, sizeof usual, "%s", network::FormatIpAddress(given).Text());
            std::snprintf(second, sizeof second,
                          "[%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x:%02x%02x].", b[0], b[1],
                          b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
        }
        hosts.push_back({host.kind, host.flag, 0, usual, host.paths});
        hosts.push_back({host.kind, host.flag, 0, second, host.paths});
        addresses.push_back({host.kind, host.flag, usual, host.paths});
    }
};

// Everything an entry says, in a form that sorts.
using Said = std::tuple<std::uint32_t, int, int, int, std::string, Paths>;

TEST(SiteTables, RandomRulesGiveWhatThePlainWalkGives) {
    std::mt19937 random(20240611);
    const auto below = [&random](std::size_t bound) { return static_cast<std::uint32_t>(random() % bound); };
    const std::array<const char*, 9> hosts = {"a.org", "A.org",   "b.org",   "c.org", "0.0.0.1",
                                              "0x1",   "0.0.0.2", "fe80::1", ""};
    for (int round = 0; round < 3000; ++round) {
        SiteRules rules;
        PlainTables plain;
        const std::uint32_t ruleCount = below(14);
        for (std::uint32_t i = 0; i < ruleCount; ++i) {
            std::vector<IpAddressRecord> addresses;
            for (std::uint32_t j = below(5); j > 2; --j)
                addresses.push_back(below(3) == 0 ? Ipv6({0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})
                                                  : RuleIpv4(below(4)));
            const std::string path = below(3) == 0 ? "" : "/P" + std::to_string(i);
            plain.Add(rules.Add(hosts[below(hosts.size())], path, static_cast<std::uint8_t>(below(6)),
                                static_cast<std::uint8_t>(below(3)), static_cast<std::uint8_t>(below(3)), addresses));
        }
        const SiteTables tables = Build(rules);

        std::vector<Said> said;
        for (const HostListEntry& e : tables.hosts)
            said.emplace_back(e.hash, e.kind, e.exactHost, e.wholeDomain, e.text, PathsOf(e.paths));
        EXPECT_TRUE(std::is_sorted(said.begin(), said.end(),
                                   [](const Said& a, const Said& b) { return std::get<0>(a) > std::get<0>(b); }));
        std::vector<Said> expected;
        for (const PlainEntry& e : plain.hosts)
            expected.emplace_back(base::Crc32Of(e.text), e.kind, e.flag, e.extra, e.text,
                                  e.paths == nullptr ? Paths{} : *e.paths);
        EXPECT_THAT(said, testing::UnorderedElementsAreArray(expected));

        ASSERT_EQ(tables.addresses.size(), plain.addresses.size());
        for (std::size_t i = 0; i < plain.addresses.size(); ++i) {
            const AddressListEntry& e = tables.addresses[i];
            EXPECT_EQ(e.kind, plain.addresses[i].kind);
            EXPECT_EQ(e.wholeAddress, plain.addresses[i].flag);
            EXPECT_EQ(network::FormatIpAddress(e.address).View(), plain.addresses[i].address);
            EXPECT_EQ(PathsOf(e.paths), plain.addresses[i].paths == nullptr ? Paths{} : *plain.addresses[i].paths);
        }
        if (HasFailure()) FAIL() << "round " << round;
    }
}

// A walk over all entries for every rule would take minutes here.
TEST(SiteTables, AHundredThousandRulesForFewHosts) {
    SiteRules rules;
    for (int i = 0; i < 100'000; ++i)
        rules.Add(i % 2 == 0 ? "even.example" : "h" + std::to_string(i), i % 2 == 0 ? "/p" : "");
    const SiteTables tables = Build(rules);
    EXPECT_EQ(tables.hosts.size(), 50'001U);
    EXPECT_EQ(PathsOf(Host(tables, "even.example").paths).size(), 50'000U);
}

}  // namespace
}  // namespace tarn::parental
