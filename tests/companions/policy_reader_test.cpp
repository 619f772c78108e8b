// Accounts that a machine does not have, what a policy sets, and long lists.
#include "policy/policy_reader.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "base/hash.h"
#include "policy/policy_records.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

bool OnlyAnna(const std::string& name, std::array<std::uint8_t, 68>& sid) {
    return name == "anna" && SidOfText("S-1-5-21-1-2-3-1001", sid);
}

constexpr const char* kTwoUsers =
    "[features]\nbrowsing_protection = true\n[parental]\nmode = 2\n"
    "[[parental.users]]\naccount = \"gone\"\nblock_list = true\n"
    "[[parental.users]]\naccount = \"anna\"\ncategories = true\n";

TEST(PolicyAccounts, AnUnknownOneDropsItsEntryAlone) {
    const ReadPolicy read = ParsePolicy(kTwoUsers, OnlyAnna);
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_TRUE(read.policy.features.browsingProtection);
    ASSERT_THAT(read.policy.parental.users, SizeIs(1));
    EXPECT_TRUE(read.policy.parental.users[0].categories);
    ASSERT_THAT(read.warnings, SizeIs(1));
    EXPECT_EQ(DescribeWarning("p.toml", read.warnings[0]),
              "p.toml:6:11: warning: this machine has no account \"gone\", so this entry is left out; wanted: the name "
              "of one, or an identifier such as \"S-1-5-21-1-2-3-1001\"");
}

TEST(PolicyAccounts, AMistakeInADroppedEntryIsAMistake) {
    const ReadPolicy read =
        ParsePolicy("[parental]\nmode = 2\n[[parental.users]]\naccount = \"gone\"\nprofil = true\n", OnlyAnna);
    ASSERT_THAT(read.mistakes, SizeIs(1));
    EXPECT_THAT(read.mistakes[0].text, HasSubstr("did you mean \"profile\"?"));
}

// With one schedule for all the account plays no part, and without this entry the next one would hold for everyone.
TEST(PolicyAccounts, WithOneScheduleForAllTheEntryStays) {
    const ReadPolicy read = ParsePolicy(
        "[parental]\nmode = 1\n[[parental.users]]\naccount = \"gone\"\ncontrolled = true\n[[parental.users]]\n",
        OnlyAnna);
    EXPECT_THAT(read.mistakes, IsEmpty());
    ASSERT_THAT(read.policy.parental.users, SizeIs(2));
    EXPECT_TRUE(read.policy.parental.users[0].controlled);
    ASSERT_THAT(read.warnings, SizeIs(1));
    EXPECT_THAT(read.warnings[0].text, HasSubstr("with mode 1 the first entry holds for everyone"));
}

TEST(PolicyAccounts, WithoutALookUpEveryNameIsTaken) {
    const ReadPolicy read = ParsePolicy(kTwoUsers);
    EXPECT_THAT(read.warnings, IsEmpty());
    EXPECT_THAT(read.policy.parental.users, SizeIs(2));
}

TEST(PolicyKeys, AreWhatIsSet) {
    EXPECT_THAT(ParsePolicy("malicious_patterns = []\n[features]\nanti_phishing = true\n[notices]\n"
                            "anti_phishing = { report = 1 }\n[[sites]]\naddress = \"a.example\"\n[white_lists]\n")
                    .keys,
                ElementsAre("features.anti_phishing", "notices.anti_phishing.report", "sites"));
}

struct Loss {
    const char* before;
    const char* after;
    bool losesEverything;
};

TEST(PolicyLoss, IsAFileWithoutAnyKeyOfTheFormerOne) {
    constexpr const char* kPhishingOn = "[features]\nanti_phishing = true\n";
    for (const Loss& row : {Loss{kPhishingOn, "", true}, Loss{kPhishingOn, "[features]\n", true},
                            Loss{kPhishingOn, "ids.alert = 1", true}, Loss{kPhishingOn, kPhishingOn, false},
                            Loss{kPhishingOn, "features.anti_phishing = false", false}, Loss{"", "", false},
                            Loss{"[features]\n", "", false}, Loss{"", kPhishingOn, false},
                            Loss{"sites = [{ address = \"a\" }]", "sites = []", true}})
        EXPECT_EQ(LosesEverything(ParsePolicy(row.before), ParsePolicy(row.after)), row.losesEverything)
            << row.before << " -> " << row.after;
}

TEST(PolicyReader, ReadsEveryCategoryNameThereIs) {
    std::string text = "[category_names]\n";
    for (int i = 0; i < 65536; ++i) text += fmt::format("{} = \"n\"\n", i);
    const ReadPolicy read = ParsePolicy(text);
    EXPECT_THAT(read.mistakes, IsEmpty());
    EXPECT_THAT(read.policy.categoryNames, SizeIs(65536));
}

TEST(PolicyRecords, SitesStandInTheOrderOfTheirHashes) {
    Policy policy;
    for (int i = 0; i < 1000; ++i) policy.maliciousSites.push_back({fmt::format("site{}.example", i), true, {}});
    ThreatSiteList list{};
    ASSERT_TRUE(BuildThreatSites(policy, list));
    ASSERT_EQ(list.count, 1000U);
    for (std::uint32_t i = 0; i < list.count; ++i) {
        EXPECT_EQ(list.entries[i].hash, base::Crc32Of(std::string_view(list.entries[i].host)));
        if (i != 0) {
            EXPECT_LE(list.entries[i - 1].hash, list.entries[i].hash);
        }
    }
    ReleaseThreatSites(list);
}

// Every entry knows its line, so that a verdict can be told by it.
TEST(PolicyReader, EntriesKnowWhereTheyStand) {
    const ReadPolicy read = ParsePolicy(R"(malicious_patterns = [
  "setup.exe",
]
[white_lists]
user = ["a.example",
        "b.example"]
[[malicious_sites]]
host = "bad.example"
threat = "Mal"
[[malicious_sites.threats]]
name = "Deep"
path = "/deep"
[[phishing_sites]]
host = "phish.example"
paths = [
  "/login",
]
[[sites]]
address = "toys.example"
categories = [5]
[[packet_signatures]]
text = "attack"
[[ids_rules]]
id = 7
[https_inspection]
blocked_hosts = ["in.example"]
[parental]
[[parental.users]]
account = "anna"
[[parental.users.blocked_sites]]
host = "games.example"
[[parental.users.allowed_sites]]
host = "school.example"
)");
    ASSERT_THAT(read.mistakes, IsEmpty());
    const Policy& policy = read.policy;
    EXPECT_THAT(policy.files, ElementsAre("tarn-policy.toml"));
    const auto line = [](const auto& entry) { return entry.place.line; };
    EXPECT_EQ(line(policy.maliciousPatterns.at(0)), 2U);
    EXPECT_EQ(line(policy.whiteLists.user.at(0)), 5U);
    EXPECT_EQ(line(policy.whiteLists.user.at(1)), 6U);
    EXPECT_EQ(line(policy.maliciousSites.at(0)), 7U);
    EXPECT_EQ(line(policy.maliciousSites.at(0).threats.at(0)), 10U);
    EXPECT_EQ(line(policy.maliciousSites.at(0).threats.at(1)), 9U);
    EXPECT_EQ(line(policy.phishingSites.at(0)), 13U);
    EXPECT_EQ(line(policy.phishingSites.at(0).paths.at(0)), 16U);
    EXPECT_EQ(line(policy.sites.at(0)), 18U);
    EXPECT_EQ(line(policy.packetSignatures.at(0)), 21U);
    EXPECT_EQ(line(policy.idsRules.at(0)), 23U);
    EXPECT_EQ(line(policy.inspectedHosts.at(0)), 26U);
    const ParentalUser& user = policy.parental.users.at(0);
    EXPECT_EQ(line(user), 28U);
    EXPECT_EQ(user.account, "anna");
    EXPECT_EQ(line(user.siteRules.at(0)), 30U);
    EXPECT_EQ(line(user.allowedSites.at(0)), 32U);
}

}  // namespace
}  // namespace tarn::policy
