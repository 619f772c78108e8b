// From two states of a policy to the notices that tell the library what differs.
#include "host/policy_changes.h"

#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <toml++/toml.h>

#include "policy/policy_reader.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string DefaultPolicy() {
    std::ifstream input(DefaultPolicyFile(), std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

struct Edit {
    const char* name;
    const char* before;
    const char* after;
    std::vector<std::uint32_t> kinds;
    std::uint32_t updated;
};

class PolicyEdit : public testing::TestWithParam<Edit> {};

TEST_P(PolicyEdit, IsToldByItsNotice) {
    const PolicyChanges changes = ComparePolicies(GetParam().before, GetParam().after);
    EXPECT_THAT(changes.changes, Not(IsEmpty()));
    EXPECT_EQ(changes.kinds, GetParam().kinds);
    EXPECT_EQ(changes.updated, GetParam().updated);
}

INSTANTIATE_TEST_SUITE_P(
    Policies, PolicyEdit,
    testing::Values(
        Edit{"AntiPhishing", "features.anti_phishing = true", "features.anti_phishing = false", {0}, 0},
        Edit{"BrowsingProtection", "features.browsing_protection = true", "", {1}, 0},
        Edit{"BrowsingProtectionNotice", "", "notices.browsing_protection = { report = 1 }", {1}, 0},
        Edit{"IntrusionPrevention", "", "features.intrusion_prevention = true", {2}, 0},
        Edit{"UserList", "white_lists.user = [\"a.test\"]", "white_lists.user = [\"b.test\"]", {3}, 0},
        Edit{"Parental", "parental.mode = 1", "parental.mode = 2", {4}, 0},
        Edit{"IdsAlert", "ids.alert = 0", "ids.alert = 1", {5}, 0},
        Edit{"InspectedHosts", "", "https_inspection.blocked_hosts = [\"a.test\"]", {6}, 0},
        Edit{"MaliciousSites", "", "[[malicious_sites]]\nhost = \"a.test\"", {}, 0x40},
        Edit{"Sites", "", "[[sites]]\naddress = \"a.test\"", {}, 0x04},
        Edit{"CategoryNames", "category_names.40 = \"A\"", "category_names.40 = \"B\"", {}, 0x04},
        Edit{"Patterns", "", "malicious_patterns = [\"/x\"]", {}, 0x08},
        Edit{"PacketSignatures", "", "[[packet_signatures]]\ntext = \"x\"", {}, 0x01},
        Edit{"IdsRules", "", "[[ids_rules]]\nid = 1", {}, 0x1000},
        Edit{"PhishingSites", "", "[[phishing_sites]]\nhost = \"a.test\"", {8}, 0},
        Edit{"InternalList", "", "white_lists.web_security = [\"a.test\"]", {8}, 0},
        Edit{"AskedAnewEachTime", "", "features.cloud_lookup = false", {}, 0},
        Edit{"SeveralInOrder",
             "",
             "ids.alert = 1\nfeatures.anti_phishing = true\nmalicious_patterns = [\"/x\"]",
             {0, 5},
             0x08},
        // What is read again with everything is told once; the modules that it leaves alone are told as well.
        Edit{"EverythingCoversTheRest",
             "",
             "parental.mode = 1\nfeatures.https_inspection = true\nmalicious_patterns = [\"/x\"]\n"
             "[[phishing_sites]]\nhost = \"a.test\"\n[[malicious_sites]]\nhost = \"b.test\"\n",
             {6, 8},
             0x08}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(PolicyChanges, SayWhatStoodThereAndWhatStandsThere) {
    const auto changes = ComparePolicies("features.anti_phishing = true\nwhite_lists.user = [\"a\", \"b\"]\n",
                                         "features.anti_phishing = false\nwhite_lists.user = [\"a\"]\nids.alert = 3\n");
    ASSERT_THAT(changes.changes, SizeIs(3));
    EXPECT_EQ(changes.changes[0].key, "features.anti_phishing");
    EXPECT_EQ(changes.changes[0].before, "true");
    EXPECT_EQ(changes.changes[0].after, "false");
    EXPECT_EQ(changes.changes[1].key, "ids.alert");
    EXPECT_EQ(changes.changes[1].before, "not set");
    EXPECT_EQ(changes.changes[2].key, "white_lists.user['b']");
    EXPECT_EQ(changes.changes[2].after, "removed");
}

std::vector<std::string> Described(std::string_view before, std::string_view after) {
    std::vector<std::string> lines;
    for (const PolicyChange& change : ComparePolicies(before, after).changes) lines.push_back(DescribeChange(change));
    return lines;
}

TEST(PolicyChanges, NameTheEntryAndWhatChangedInIt) {
    const std::string before =
        "[[malicious_sites]]\nhost = \"a.test\"\nthreat = \"Worm\"\n[[malicious_sites]]\nhost = \"b.test\"\n";
    EXPECT_THAT(Described(before,
                          "[[malicious_sites]]\nhost = \"a.test\"\nthreat = \"Trojan\"\n"
                          "threats = [{ name = \"T\", path = \"/x\" }]\n[[malicious_sites]]\nhost = \"c.test\"\n"),
                ElementsAre("malicious_sites[a.test].threat: 'Trojan', was 'Worm'",
                            "malicious_sites[a.test].threats[T/x]: added", "malicious_sites[b.test]: removed",
                            "malicious_sites[c.test]: added"));
}

TEST(PolicyChanges, OfServeCountWhenItStartsAgain) {
    const auto changes = ComparePolicies("", "[serve]\nunknown = \"refuse\"\n[features]\nanti_phishing = true\n");
    ASSERT_THAT(changes.changes, SizeIs(2));
    EXPECT_FALSE(CountsAtRestart(changes.changes[0]));
    EXPECT_TRUE(CountsAtRestart(changes.changes[1]));
    EXPECT_EQ(DescribeChange(changes.changes[1]),
              "serve.unknown: 'refuse', was not set (counts when serve starts again)");
    EXPECT_THAT(changes.kinds, ElementsAre(0));
}

TEST(PolicyChanges, NameEntriesOfEveryKind) {
    EXPECT_THAT(Described("",
                          "malicious_patterns = [\"/x\"]\n[[ids_rules]]\nid = 22\n[[packet_signatures]]\nhex = "
                          "\"00\"\n[[parental.users]]\naccount = \"anna\"\n[[parental.users]]\n[[sites]]\naddress = "
                          "\"a.test/b\"\n"),
                ElementsAre("ids_rules[22]: added", "malicious_patterns['/x']: added", "packet_signatures[00]: added",
                            "parental.users[#1]: added", "parental.users[anna]: added", "sites[a.test/b]: added"));
    EXPECT_THAT(Described("[[parental.users]]\naccount = \"anna\"\nhours = { monday = [1, 2] }\n",
                          "[[parental.users]]\naccount = \"anna\"\nhours = { monday = [2] }\n"),
                ElementsAre("parental.users[anna].hours.monday[1]: removed"));
}

TEST(PolicyChanges, TellEntriesOfOneNameApart) {
    const std::string twice = "[[sites]]\naddress = \"a\"\ncategories = [1]\n[[sites]]\naddress = \"a\"\n";
    EXPECT_THAT(Described(twice, twice + "categories = [2]\n"), ElementsAre("sites[a #2].categories[2]: added"));
}

TEST(PolicyChanges, AnotherOrderIsAChange) {
    EXPECT_THAT(Described("malicious_patterns = [\"a\", \"b\"]", "malicious_patterns = [\"b\", \"a\"]"),
                ElementsAre("malicious_patterns: the same entries in another order, was 2 entries"));
    EXPECT_THAT(Described("", "malicious_patterns = []"), ElementsAre("malicious_patterns: 0 entries, was not set"));
}

TEST(PolicyChanges, ALongListIsCutAndCounted) {
    std::string many = "malicious_patterns = [";
    for (int i = 0; i < 1000; ++i) many += "\"/" + std::to_string(i) + "\", ";
    const auto lines = Described("", many + "]");
    ASSERT_THAT(lines, SizeIs(21));
    EXPECT_EQ(lines.back(), "malicious_patterns: 1000 entries; 980 more differences in it, was 0 entries");
}

TEST(PolicyChanges, CommentsAndOrderAreNone) {
    const auto changes = ComparePolicies("[ids]\nalert = 1\n[parental]\nmode = 1\n",
                                         "# mine\n[parental]\nmode = 1  # as before\n[ids]\nalert = 1\n");
    EXPECT_THAT(changes.changes, IsEmpty());
    EXPECT_THAT(changes.kinds, IsEmpty());
    EXPECT_EQ(changes.updated, 0u);
}

// Every table of the shipped policy, taken away, is told about in some way but for the two that are asked for anew.
TEST(PolicyChanges, NoTableOfTheShippedPolicyIsForgotten) {
    const std::string whole = DefaultPolicy();
    const toml::table table = toml::parse(whole);
    ASSERT_GT(table.size(), 10u);
    for (const auto& [key, value] : table) {
        toml::table less = table;
        less.erase(key.str());
        std::ostringstream text;
        text << less;
        ASSERT_THAT(policy::ParsePolicy(text.str()).mistakes, IsEmpty()) << key.str();
        const auto changes = ComparePolicies(whole, text.str());
        EXPECT_THAT(changes.changes, Not(IsEmpty())) << key.str();
        EXPECT_EQ(changes.kinds.empty() && changes.updated == 0, key.str() == "managed_client") << key.str();
    }
}

}  // namespace
}  // namespace tarn::host
