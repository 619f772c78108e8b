// What the linter names, with its line, and what it leaves alone. That a dead entry is dead is shown with the library,
// by dead_entries_win32_test.
#include "policy/policy_lint.h"

#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <sstream>

#include "companions/dead_entries.h"
#include "companions/known_hosts.h"
#include "support/project_files.h"

namespace tarn::policy {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<Finding> Lint(std::string_view policy) {
    const ReadPolicy read = ParsePolicy(policy);
    EXPECT_THAT(read.mistakes, IsEmpty()) << read.mistakes.front().text << "\n" << policy;
    return LintPolicy(read, KnownAsciiHost);
}

std::vector<std::string> LinesOf(std::string_view policy) {
    std::vector<std::string> lines;
    for (const Finding& finding : Lint(policy))
        lines.push_back(std::to_string(finding.place.line) + " " + finding.text);
    return lines;
}

TEST(PolicyLint, NamesEachDeadEntryOnceWithItsLine) {
    std::vector<std::uint32_t> marked;
    std::istringstream stream(kDeadPolicy);
    std::uint32_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line.ends_with("# dead")) marked.push_back(number);
    }
    EXPECT_THAT(marked, SizeIs(35));
    std::vector<std::uint32_t> named;
    for (const Finding& finding : Lint(kDeadPolicy)) {
        named.push_back(finding.place.line);
        EXPECT_THAT(finding.text, HasSubstr("can never match, because "));
    }
    EXPECT_THAT(named, ElementsAreArray(marked));
}

TEST(PolicyLint, LeavesTheMendedPolicyAlone) {
    EXPECT_THAT(LinesOf(kMendedPolicy), IsEmpty());
}

TEST(PolicyLint, LeavesTheShippedPolicyAlone) {
    std::ifstream stream(DefaultPolicyFile(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_GT(text.size(), 1000U);
    EXPECT_THAT(LinesOf(text), IsEmpty());
}

TEST(PolicyLint, SaysWhatToWrite) {
    EXPECT_THAT(LinesOf("[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"WWW.evil.example\"\n"),
                ElementsAre("3 malicious_sites.host \"www.evil.example\" can never match, because hosts are compared "
                            "without \"www.\": write \"evil.example\""));
    EXPECT_THAT(LinesOf("[white_lists]\nuser = [\n\"fine.example\",\n\"unknown\xc3\xbc.example/a\"]\n"),
                ElementsAre("4 white_lists.user \"unknown\xc3\xbc.example/a\" can never match, because letters beyond "
                            "ASCII are sent in the \"xn--\" form, and this name has none"));
}

struct Case {
    const char* policy;
    std::uint32_t line;
    const char* text;
};

constexpr const char* kAllOn =
    "features = { browsing_protection = true, anti_phishing = true, https_inspection = true, "
    "intrusion_prevention = true }\n";  // the first line of each policy

// Each policy has this one finding; line 0 is the file as a whole.
constexpr Case kCases[] = {
    // Hidden, doubled, let pass
    {"malicious_sites = [{ host = \"a.example\" },\n{ host = \"www.a.example\" }]", 3,
     "without \"www.\"; \"a.example\", which covers it, is listed: move its paths there"},
    {"malicious_sites = [{ host = \"a.example.\" }]", 2, "matches only who writes the dot at the end"},
    {"[[malicious_sites]]\nhost = \"a.example\"\nthreats = [{ name = \"A\", path = \"/x\" },\n"
     "{ name = \"B\", path = \"/X\" }]",
     5, "\"/X\" of a.example is listed in line 4 already, whose name counts"},
    {"[[phishing_sites]]\nhost = \"a.example\"\nwhole_site = false\npaths = [\"/x\",\n\"/x\"]", 6,
     "\"/x\" of a.example is listed in line 5 already: remove one"},
    {"[[phishing_sites]]\nhost = \"a.example\"\nwhole_site = false\npaths = [\"/x/y\",\n\"/x\"]", 5,
     "\"/x/y\" changes nothing: \"/x\" in line 6 covers it"},
    {"[[phishing_sites]]\nhost = \"a.example\"\npaths = [\"/x\"]", 4,
     "\"/x\" changes nothing, because whole_site lists all of a.example"},
    {"[white_lists]\nuser = [\"a.example/x\",\n\"A.example/x/\"]", 4,
     "\"A.example/x/\" is listed in line 3 already: remove one"},
    {"[white_lists]\nweb_security = [\"a.example/x\",\n\"a.example\"]", 3,
     "\"a.example/x\" changes nothing: the entry in line 4 covers it"},
    {"white_lists = { web_security = [\"bad.example\"] }\nmalicious_sites = [{ host = \"bad.example\" }]", 3,
     "\"bad.example\" is never blocked, but for www.bad.example: white_lists.web_security lets it pass in line 2"},
    {"white_lists = { web_security = [\"bad.example\"] }\nphishing_sites = [{ host = \"bad.example\" }]", 3,
     "\"bad.example\" is never blocked: white_lists.web_security lets it pass in line 2"},
    {"white_lists = { web_security = [\"bad.example/a\"] }\n"
     "phishing_sites = [{ host = \"bad.example\", whole_site = false, paths = [\"/a/b\", \"/c\"] }]",
     3, "phishing_sites.paths \"/a/b\" is never blocked"},
    {"https_inspection = { blocked_hosts = [\"a.example\",\n\"A.example\"] }", 3, "is listed in line 2 already"},
    // Categories, packets, rules
    {"[category_names]\n2 = \"a\"\n02 = \"b\"", 0, "category_names has \"02\" and \"2\", which are one number"},
    {"parental = { mode = 1, users = [{}] }\nsites = [{ address = \"a.example\", categories = [2, 40] }]", 3,
     "category 40 has no name"},
    {"category_names = { 41 = \"a\" }\n[parental]\nmode = 1\n[[parental.users]]\ncategories = true\n"
     "blocked_categories = [41]",
     5, "blocked_categories 41 blocks nothing, because no entry of sites has this category"},
    {"[parental]\nmode = 1\n[[parental.users]]\ncategories = true\nblocked_categories = [3]", 4,
     "blocked_categories 3 is passed over: features.anti_phishing blocks this category"},
    {"parental = { mode = 1, users = [{}] }\nsites = [{ address = \"a.example\", categories = [2] },\n"
     "{ address = \"http://A.example\" }]",
     4, "\"http://a.example\" is listed in line 3 already, which counts"},
    {"sites = [{ address = \"a.example\", categories = [2] }]", 2, "only with parental.mode = 1"},
    {"packet_signatures = [{ text = \"a\" },\n{ hex = \"61\", port = 80 }]", 3,
     "the signature in line 2 finds the same"},
    {"ids_rules = [{ id = 3 },\n{ id = 3, systems = [61] }]", 3, "number 3 stands in line 2 already"},
    // Parental control
    {"parental = { mode = 3 }", 2, "parental.mode 3 has no meaning"},
    {"parental = { mode = 1, strictness = 9 }", 2, "parental.strictness 9 counts like 0"},
    {"parental = { users = [{}] }", 2, "without effect, because parental.mode is 0"},
    {"parental = { mode = 2, users = [{}] }", 2, "an entry without an account is nobody's"},
    {"parental = { mode = 2, users = [{ account = \"anna\" },\n{ account = \"Anna\" }] }", 3,
     "account \"Anna\" has an entry in line 2 already"},
    {"parental = { mode = 2, users = [{ account = \"S-1-5-21-1\" },\n{ account = \"S-1-5-21-1\" }] }", 3,
     "has an entry in line 2 already"},
    {"parental = { mode = 1, users = [{ schedule = { on = true } }] }", 2, "never allows the web"},
    {"parental = { mode = 1, users = [{ schedule = { sunday = [\"08:00-09:00\"] } }] }", 2,
     "the times of schedule are without effect: write on = true"},
    {"parental = { mode = 1, users = [{ schedule = { on = true, monday = [\"12:00-13:00\", \"08:00-09:00\"] } }] }", 2,
     "schedule.monday: \"08:00-09:00\" stands behind \"12:00-13:00\", and an earlier time behind a later one may be "
     "lost"},
    {"parental = { mode = 1, users = [{ schedule = { on = true, friday = [\"08:00-13:00\", \"12:00-14:00\"] } }] }", 2,
     "the two overlap"},
    {"parental = { mode = 1, users = [{},\n{ schedule = { on = true, friday = [\"08:00-13:00\"] } }] }", 3,
     "only that of the first entry counts"},
    {"parental = { mode = 1, users = [{},\n{ allowed_sites = [{ host = \"a.example\" }] }] }", 3,
     "only those of the first entry count"},
    {"parental = { mode = 1, users = [{ controlled = true, use_hour_grid = true }] }", 2, "no logon is ever allowed"},
    {"parental = { mode = 1, users = [{ controlled = true, hours = { sunday = [1] } }] }", 2,
     "hours count only with use_hour_grid = true"},
    {"parental = { mode = 1, users = [{ controlled = true, allowance = { sunday = 30 } }] }", 2,
     "allowance.sunday is 30 hours, and a day has 24"},
    {"parental = { mode = 1, users = [{ allowance = { sunday = 3 } }] }", 2, "write controlled = true"},
    {"parental = { mode = 1, users = [{ blocked_sites = [{ host = \"a.example\" }] }] }", 2,
     "blocked_sites are without effect: write block_list = true"},
    {"parental = { mode = 1, users = [{ profile = false, block_list = true }] }", 2, "write profile = true"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"a.example\" },\n"
     "{ host = \"A.example\", path = \"/x\" }]\n[parental]\nmode = 1",
     5, "\"/x\" changes nothing: the entry in line 4 blocks all of A.example"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"a.example\" },\n"
     "{ host = \"a.example\", subdomains = true }]\n[parental]\nmode = 1",
     5, "subdomains = true does not count here, because only the first entry of a host says so: write it in line 4"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"b.a.example\" },\n"
     "{ host = \"a.example\", subdomains = true }]\n[parental]\nmode = 1",
     4, "\"b.a.example\" changes nothing: the entry in line 5 blocks the domain above with all below it"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"a.example\" },\n"
     "{ host = \"a.example\" }]\n[parental]\nmode = 1",
     5, "\"a.example\" is listed in line 4 already: remove one"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"a.example\", path = \"/x\", kind = 2 }]\n"
     "[parental]\nmode = 1",
     4, "\"/x\" does not count, because kind = 2 blocks the whole site"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"a.example\", path = \"/x\", subdomains = true "
     "}]\n[parental]\nmode = 1",
     4, "\"/x\" does not count, because subdomains = true blocks every path"},
    {"[[parental.users]]\nblock_list = true\nblocked_sites = [{ host = \"b.a.example\" }]\n"
     "allowed_sites = [{ host = \"a.example\" }]\n[parental]\nmode = 1",
     4, "\"b.a.example\" is never blocked: allowed_sites lets it pass in line 5"},
};

TEST(PolicyLint, NamesWhatIsHiddenDoubledOrWithoutEffect) {
    for (const Case& one : kCases) {
        const std::vector<Finding> found = Lint(kAllOn + std::string(one.policy));
        ASSERT_THAT(found, SizeIs(1)) << one.policy << "\n"
                                      << testing::PrintToString(LinesOf(kAllOn + std::string(one.policy)));
        EXPECT_EQ(found[0].place.line, one.line) << one.policy;
        EXPECT_THAT(found[0].text, HasSubstr(one.text));
    }
}

TEST(PolicyLint, NamesAListWhoseFeatureNobodySet) {
    constexpr const char* kList = "[[phishing_sites]]\nhost = \"a.example\"\n";
    EXPECT_THAT(LinesOf(kList), ElementsAre(HasSubstr("1 phishing_sites is without effect, because "
                                                      "features.anti_phishing is not set")));
    EXPECT_THAT(LinesOf("features.anti_phishing = false\n" + std::string(kList)), IsEmpty());
}

// The machine may get the account yet, or another one has it.
TEST(PolicyLint, LooksAtEntriesOfUnknownAccountsToo) {
    const ReadPolicy read = ParsePolicy(
        "[parental]\nmode = 2\n[[parental.users]]\naccount = \"gone\"\ncontrolled = true\n"
        "allowance = { sunday = 30 }\nblock_list = true\n[[parental.users.blocked_sites]]\nhost = "
        "\"http://x.example\"\n",
        [](const std::string&, std::array<std::uint8_t, 68>&) { return false; });
    EXPECT_THAT(read.policy.parental.users, IsEmpty());
    std::vector<std::string> found;
    for (const Finding& finding : LintPolicy(read)) found.push_back(finding.text);
    EXPECT_THAT(found, testing::Contains(HasSubstr("allowance.sunday is 30 hours")));
    EXPECT_THAT(found, testing::Contains(HasSubstr("\"http://x.example\"")));
}

// What is meant as it stands.
TEST(PolicyLint, LeavesWhatCountsAlone) {
    constexpr const char* kFine[] = {
        "[white_lists]\nweb_security = [\"a.example/\", \"*/health\", \"ab.example\"]\nuser = [\"bad.example\"]\n"
        "[[malicious_sites]]\nhost = \"bad.example\"\n",
        "[[phishing_sites]]\nhost = \"www.a.example\"\nwhole_site = false\npaths = [\"/x\", \"/xy\"]\n",
        "ids_rules = [{ id = 3, systems = [60] }, { id = 3, systems = [61] }, { id = 3 }]",
        "packet_signatures = [{ text = \"a\", port = 80 }, { text = \"a\", port = 81 }, { text = \"a\" }]",
        "parental = { mode = 1, users = [{ schedule = { on = true, monday = [\"00:00-08:00\", \"08:00-23:59\"] } }] }",
        "[[malicious_sites]]\nhost = \"172.15.0.1\"\n[[malicious_sites]]\nhost = \"10.0.0.0\"\n",
        "parental = { mode = 2, users = [{ account = \"a\", controlled = true, exempt = true }, { account = \"b\" }] }",
    };
    for (const char* policy : kFine) EXPECT_THAT(LinesOf(kAllOn + std::string(policy)), IsEmpty()) << policy;
}

// Every pair of 100,000 entries would take minutes.
TEST(PolicyLint, ALongListCostsNoPairs) {
    std::string text = kAllOn + std::string("[white_lists]\nweb_security = [\n");
    for (int i = 0; i < 20000; ++i) text += "\"w" + std::to_string(i) + ".example/a\",\n";
    text += "]\n";
    for (int i = 0; i < 100000; ++i) text += "[[malicious_sites]]\nhost = \"h" + std::to_string(i) + ".example\"\n";
    const ReadPolicy read = ParsePolicy(text);
    ASSERT_THAT(read.policy.maliciousSites, SizeIs(100000));
    const auto before = std::chrono::steady_clock::now();
    EXPECT_THAT(LintPolicy(read, KnownAsciiHost), IsEmpty());
    const auto took = std::chrono::steady_clock::now() - before;
    RecordProperty("milliseconds",
                   static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
    EXPECT_LT(took, std::chrono::seconds(15));
}

}  // namespace
}  // namespace tarn::policy
