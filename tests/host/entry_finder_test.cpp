// Which entry of the policy a verdict is put down to, and where the reports say so.
#include "host/explain/entry_finder.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"
#include "policy/policy_reader.h"

namespace tarn::host {
namespace {

constexpr const char* kFinderPolicy = R"(malicious_patterns = ["/drop/"]
[features]
browsing_protection = true
anti_phishing = true
https_inspection = true
intrusion_prevention = true
[white_lists]
web_security = ["intra.example/wiki",
  "*/health"]
browsing_protection = ["cdn.example"]
user = ["evil.example/fine"]
[[malicious_sites]]
host = "evil.example"
[[malicious_sites]]
host = "shop.example"
whole_site = false
threats = [{ name = "A", path = "/js" },
  { name = "B", path = "/sale" }]
[[phishing_sites]]
host = "forms.example"
whole_site = false
paths = ["/other",
  "/sign-in"]
[[sites]]
address = "cdn.example"
categories = [2]
[[sites]]
address = "games.example/play"
categories = [40]
[[sites]]
address = "203.0.113.9"
categories = [2]
[https_inspection]
blocked_hosts = ["dot.example"]
[[packet_signatures]]
text = "never"
[[packet_signatures]]
text = "/../"
[[ids_rules]]
id = 80
excluded = true
name = "Traversal"
[parental]
mode = 1
[[parental.users]]
block_list = true
blocked_categories = [40]
[[parental.users.blocked_sites]]
host = "chat.example"
path = "/room"
[[parental.users.blocked_sites]]
host = "video.example"
subdomains = true
addresses = ["198.51.100.7"]
[[parental.users.allowed_sites]]
host = "school.example"
[[parental.users.schedule_allowed_sites]]
host = "library.example"
)";

std::uint32_t LineOf(const std::string& text) {
    const std::string policy(kFinderPolicy);
    const std::size_t at = policy.find(text);
    EXPECT_NE(at, std::string::npos) << text;
    return static_cast<std::uint32_t>(
        std::count(policy.begin(), policy.begin() + static_cast<std::ptrdiff_t>(at), '\n') + 1);
}

class EntryFinderTest : public testing::Test {
 protected:
    static EntryFinder Make() {
        policy::ReadPolicy read = policy::ParsePolicy(kFinderPolicy);
        EXPECT_TRUE(read.mistakes.empty());
        return {std::move(read.policy), {}};
    }

    // What a request for url with that verdict is put down to, as "list:line".
    std::string Find(const std::string& url, std::uint32_t reason, const std::string& text = {},
                     bool isAllowed = false) {
        std::string mistake;
        const auto composed = ComposeRequest(url, mistake);
        EXPECT_TRUE(composed) << mistake;
        JudgedRequest request{composed->protocol, composed->view, composed->server, std::nullopt, {}, {}};
        request.judgement = FakeLibrary::Allowed();
        UrlVerdict& verdict = request.judgement.verdict;
        verdict.allow = isAllowed || reason == TARN_REASON_DEFAULT ? TARN_ALLOW : TARN_BLOCK;
        verdict.reason = reason;
        if (isOutsideSchedule) verdict.localTime.year = 2026;
        const bool hasThreat = reason == TARN_REASON_MALICIOUS || reason == TARN_REASON_MALICIOUS_CATEGORY ||
                               reason == TARN_REASON_MALICIOUS_WHITE_LISTED;
        text.copy(hasThreat ? verdict.text.threat.url : verdict.text.url, TARN_URL_CAPACITY - 1);
        return Words(finder.Find(request));
    }

    static std::string Words(const std::optional<DecidingEntry>& entry) {
        if (!entry) return "";
        EXPECT_EQ(entry->file, "tarn-policy.toml");
        return entry->list + ":" + std::to_string(entry->line) + " " + entry->text;
    }

    static std::string At(const char* list, const std::string& text, const char* shown) {
        return std::string(list) + ":" + std::to_string(LineOf(text)) + " " + shown;
    }

    EntryFinder finder = Make();
    bool isOutsideSchedule = false;
};

TEST_F(EntryFinderTest, MaliciousSitesAndTheirPaths) {
    const std::string site = At("malicious_sites", "[[malicious_sites]]", "evil.example");
    EXPECT_EQ(Find("http://www.evil.example/x", TARN_REASON_MALICIOUS, "www.evil.example/x"), site);
    EXPECT_EQ(Find("http://shop.example/Sale/1?q", TARN_REASON_MALICIOUS, "shop.example/sale/1"),
              At("malicious_sites.threats", "{ name = \"B\"", "shop.example/sale"));
    EXPECT_EQ(Find("http://any.example/a/drop/b", TARN_REASON_MALICIOUS, "any.example/a/drop/b"),
              At("malicious_patterns", "malicious_patterns", "/drop/"));
    EXPECT_EQ(Find("http://shop.example/jsx", TARN_REASON_MALICIOUS, "shop.example/jsx"), "");
}

TEST_F(EntryFinderTest, PhishingPathsAndCategories) {
    EXPECT_EQ(Find("http://forms.example/Sign-In/now", TARN_REASON_PHISHING, "forms.example/sign-in/now"),
              At("phishing_sites.paths", "\"/sign-in\"", "forms.example/sign-in"));
    EXPECT_EQ(Find("https://a.cdn.example/", TARN_REASON_MALICIOUS_CATEGORY, "https://a.cdn.example"),
              At("sites", "[[sites]]", "cdn.example"));
    EXPECT_EQ(Find("http://games.example:8080/Play1", TARN_REASON_PARENTAL_CATEGORY, "games.example:8080/Play1"),
              At("sites", "[[sites]]\naddress = \"games", "games.example/play"));
}

TEST_F(EntryFinderTest, ListsOfParentalControl) {
    const std::string video =
        At("parental.users.blocked_sites", "[[parental.users.blocked_sites]]\nhost = \"video", "video.example");
    EXPECT_EQ(Find("http://chat.example/Room", TARN_REASON_PARENTAL_SITE, "chat.example/room"),
              At("parental.users.blocked_sites", "[[parental.users.blocked_sites]]", "chat.example/room"));
    EXPECT_EQ(Find("https://a.video.example/", TARN_REASON_PARENTAL_SITE, "a.video.example"), video);
    EXPECT_EQ(Find("http://198.51.100.7/", TARN_REASON_PARENTAL_SITE, "198.51.100.7"), video);
    EXPECT_EQ(Find("http://any.example/", TARN_REASON_SCHEDULE),
              At("parental.users.schedule", "[[parental.users]]", "the first entry"));
}

TEST_F(EntryFinderTest, WhatLetsPass) {
    EXPECT_EQ(
        Find("http://evil.example/fine/print", TARN_REASON_MALICIOUS_WHITE_LISTED, "evil.example/fine/print", true),
        At("white_lists.user", "user = [", "evil.example/fine"));
    EXPECT_EQ(Find("http://intra.example/wiki/start", TARN_REASON_DEFAULT),
              At("white_lists.web_security", "web_security", "intra.example/wiki"));
    EXPECT_EQ(Find("http://any.example/app/health?x", TARN_REASON_DEFAULT),
              At("white_lists.web_security", "\"*/health\"", "*/health"));
    EXPECT_EQ(Find("http://www.school.example/", TARN_REASON_DEFAULT),
              At("parental.users.allowed_sites", "[[parental.users.allowed_sites]]", "school.example"));
    EXPECT_EQ(Find("http://cdn.example/x", TARN_REASON_DEFAULT),
              At("white_lists.browsing_protection", "browsing_protection = [", "cdn.example"));
    EXPECT_EQ(Find("http://library.example/", TARN_REASON_DEFAULT), "");
    isOutsideSchedule = true;
    EXPECT_EQ(
        Find("http://library.example/", TARN_REASON_DEFAULT),
        At("parental.users.schedule_allowed_sites", "[[parental.users.schedule_allowed_sites]]", "library.example"));
    EXPECT_EQ(Find("http://any.example/", TARN_REASON_DEFAULT), "");
}

TEST_F(EntryFinderTest, NoListLetsAHelloWithoutANamePass) {
    policy::ReadPolicy read = policy::ParsePolicy(
        "[parental]\nmode = 1\n[[parental.users]]\n[[parental.users.allowed_sites]]\nhost = \"203.0.113.9\"\n");
    ASSERT_TRUE(read.mistakes.empty());
    read.policy.files = {"tarn-policy.toml"};
    finder = EntryFinder(std::move(read.policy), {});
    EXPECT_EQ(Find("http://203.0.113.9/", TARN_REASON_DEFAULT), "parental.users.allowed_sites:4 203.0.113.9");
    EXPECT_EQ(Find("https://203.0.113.9/", TARN_REASON_DEFAULT), "");
}

TEST_F(EntryFinderTest, HttpsInspectionAndWhatNoEntryDecides) {
    EXPECT_EQ(Find("https://dot.example/", TARN_REASON_HTTPS_INSPECTION, "dot.example"),
              At("https_inspection.blocked_hosts", "blocked_hosts", "dot.example"));
    EXPECT_EQ(Find("http://any.example/", TARN_REASON_IDS_BLOCKED), "");  // the host said so, not the policy
}

TEST_F(EntryFinderTest, Attacks) {
    const std::string bytes = "GET /../../x HTTP/1.1";
    const std::vector<std::uint8_t> frame(bytes.begin(), bytes.end());
    PacketAttack attack;
    attack.verdict.reason = 31;
    EXPECT_EQ(Words(finder.Find(attack, frame)),
              At("packet_signatures", "[[packet_signatures]]\ntext = \"/../\"", "/../"));
    attack.verdict.reason = TARN_PACKET_REASON_RULE_EXCLUDED;
    attack.verdict.ruleId = 80;
    EXPECT_EQ(Words(finder.Find(attack, frame)), At("ids_rules", "[[ids_rules]]", "80 Traversal"));
    attack.verdict.reason = TARN_PACKET_REASON_REMOTE_DESKTOP;
    attack.remote.address = *ParseIpAddress("203.0.113.9");
    EXPECT_EQ(Words(finder.Find(attack, frame)), At("sites", "[[sites]]\naddress = \"203", "203.0.113.9"));
}

TEST_F(EntryFinderTest, ReportedAddresses) {
    Judgement judgement = FakeLibrary::Allowed();
    EXPECT_EQ(Words(finder.FindReported("https://a.school.example/x", judgement)),
              At("parental.users.allowed_sites", "[[parental.users.allowed_sites]]", "school.example"));
    judgement.verdict.allow = TARN_BLOCK;
    judgement.verdict.reason = TARN_REASON_PARENTAL_SITE;
    EXPECT_EQ(Words(finder.FindReported("https://a.video.example/x", judgement)),
              At("parental.users.blocked_sites", "[[parental.users.blocked_sites]]\nhost = \"video", "video.example"));
    judgement.verdict.reason = TARN_REASON_PARENTAL_CATEGORY;
    EXPECT_EQ(Words(finder.FindReported("https://games.example/play", judgement)),
              At("sites", "[[sites]]\naddress = \"games", "games.example/play"));
}

// A white list lets a reported address pass without users, and a pattern's when its site has categories.
TEST(EntryFinder, WhatLetsAReportedAddressPass) {
    constexpr struct {
        int mode;
        const char* site;
        bool isFound;
    } kCases[] = {
        {1, "categories = [2]", true},
        {0, "categories = [2]", false},
        {1, "categories = [40]", true},
        {1, "categories = []", false},
    };
    for (const auto& [mode, site, isFound] : kCases) {
        policy::ReadPolicy read = policy::ParsePolicy(
            fmt::format("malicious_patterns = [\"cdn\"]\n[features]\nbrowsing_protection = true\n[white_lists]\n"
                        "browsing_protection = [\"cdn.example\"]\n[parental]\nmode = {}\n"
                        "[[sites]]\naddress = \"cdn.example\"\n{}\n",
                        mode, site));
        ASSERT_TRUE(read.mistakes.empty()) << read.mistakes.front().text;
        EntryFinder finder(std::move(read.policy), {});
        const auto entry = finder.FindReported("https://cdn.example/x", FakeLibrary::Allowed());
        EXPECT_EQ(entry ? entry->list : "", isFound ? "white_lists.browsing_protection" : "") << mode << site;
    }
}

TEST(EntryFinder, ReadsThePolicyOnceAndAgainAfterAChange) {
    int reads = 0;
    EntryFinder finder(
        [&] {
            ++reads;
            return std::make_shared<const policy::Policy>(policy::ParsePolicy(kFinderPolicy).policy);
        },
        {});
    EXPECT_EQ(reads, 0);
    Judgement judgement = FakeLibrary::Allowed();
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(finder.FindReported("https://school.example/", judgement));
    EXPECT_EQ(reads, 1);
    finder.Forget();
    EXPECT_TRUE(finder.FindReported("https://school.example/", judgement));
    EXPECT_EQ(reads, 2);
}

TEST(EntryFinder, VerboseTextNamesFileAndLine) {
    const TemporaryFile file("policy.toml", kFinderPolicy);
    FakeEnvironment environment;
    environment.variables["TARN_POLICY_FILE"] = file.Path();
    environment.library.answer = FakeLibrary::Malicious("A", "evil.example/x");
    const Ran verbose = RunWith(environment, {"url", "--verbose", "http://evil.example/x"});
    EXPECT_THAT(verbose.out, testing::HasSubstr(", policy.toml:" + std::to_string(LineOf("[[malicious_sites]]")) +
                                                " malicious_sites\n"));
    EXPECT_THAT(RunWith(environment, {"url", "http://evil.example/x"}).out,
                testing::Not(testing::HasSubstr("policy.toml")));
}

}  // namespace
}  // namespace tarn::host
