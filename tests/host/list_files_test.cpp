// Lists that a policy includes, as files: what tarnhost policy shows of them, and how watch follows them.
#include "host/list_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

#include "host/fake_machine.h"
#include "host/policy_changes.h"
#include "host/policy_check.h"
#include "host/temporary_file.h"
#include "policy/policy_reader.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr const char* kIncludingPolicy = "include = [\"lists/*.txt\"]\n";

class PolicyWithLists : public testing::Test {
 protected:
    PolicyWithLists() {
        machine_.installFolder = policy_.Folder() + "/";
        std::filesystem::create_directory(policy_.Folder() + "/lists");
        Save("a.txt", "a.example\n");
    }
    void Save(const std::string& name, const std::string& text) const {
        std::ofstream(policy_.Folder() + "/lists/" + name, std::ios::binary) << text;
    }
    Ran Run(std::vector<std::string> arguments) { return RunWith(machine_, std::move(arguments)); }

    FakeMachine machine_;
    TemporaryFile policy_{"tarn-policy.toml", std::string(kIncludingPolicy)};
};

TEST_F(PolicyWithLists, TheFilesOfAPatternAreThoseOfTheFolderInTheirOrder) {
    Save("c.TXT", "");
    Save("b.txt", "");
    Save("b.csv", "");
    std::filesystem::create_directory(policy_.Folder() + "/lists/folder.txt");
    ListFilesOnDisk lists(policy_.Path());
    EXPECT_THAT(lists.Names("lists/*.txt"), ElementsAre("lists/a.txt", "lists/b.txt", "lists/c.TXT"));
    EXPECT_THAT(lists.Names("none/*.txt"), IsEmpty());
    EXPECT_THAT(lists.FoldersOf({"lists/*.txt", "lists/a.txt"}), SizeIs(1));
    std::string text;
    std::string whyNot;
    EXPECT_TRUE(lists.Read("lists/a.txt", text, whyNot));
    EXPECT_EQ(text, "a.example\n");
    EXPECT_TRUE(lists.Read(policy_.Path(), text, whyNot)) << "a whole path counts as it stands";
    EXPECT_FALSE(lists.Read("lists/gone.txt", text, whyNot));
    EXPECT_THAT(whyNot, HasSubstr("cannot be read; a list is looked for in "));
}

TEST_F(PolicyWithLists, TheirStateIsAnotherAfterEveryChange) {
    ListFilesOnDisk lists(policy_.Path());
    const std::vector<std::string> patterns{"lists/*.txt", "lists/named"};
    const std::string before = lists.StateOf(patterns);
    EXPECT_EQ(lists.StateOf(patterns), before);
    Save("a.txt", "longer.example\n");
    const std::string changed = lists.StateOf(patterns);
    EXPECT_NE(changed, before);
    Save("b.txt", "");
    const std::string more = lists.StateOf(patterns);
    EXPECT_NE(more, changed);
    Save("named", "");
    EXPECT_NE(lists.StateOf(patterns), more);
    EXPECT_THAT(lists.StateOf({"lists/gone"}), HasSubstr("missing"));
}

TEST_F(PolicyWithLists, EachIsShownWithItsCounts) {
    Save("b.txt", "||b.example^\nx##.ad\ny##.ad\n@@||ok.example^\n0.0.0.0 a.example\n");
    const Ran run = Run({"policy", policy_.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("lists/b.txt:2: warning: 2 lines not used: "),
                      HasSubstr("\nlists/a.txt: 1 entry for malicious_sites\n"),
                      HasSubstr("\nlists/b.txt: 1 entry for malicious_sites, 1 exception, 1 entry listed further "
                                "up already, 2 lines not used\n")));
    std::vector<nlohmann::json> told;
    for (const auto& line : JsonLines(Run({"policy", "--json", policy_.Path()}).out))
        if (line.value("file", "") == "lists/b.txt") told.push_back(line);
    ASSERT_THAT(told, SizeIs(testing::Ge(2U)));
    EXPECT_TRUE(std::any_of(told.begin(), told.end(),
                            [](const auto& line) { return line["event"] == "warning" && line["line"] == 2; }));
    EXPECT_EQ(told.back()["event"], "list");
    EXPECT_EQ(told.back()["entries"], 1);
    EXPECT_EQ(told.back()["unused"], 2);
    EXPECT_EQ(DescribePolicyMistakes(policy_.Path()), "");
}

TEST_F(PolicyWithLists, ALongReadingTellsATerminalHowFarItIs) {
    std::ostringstream terminal;
    Progress::Clock::time_point now;
    ListFilesOnDisk lists(policy_.Path(), &terminal, [&] { return now; });
    // Each line is 10 bytes; the parser says now and then where it is.
    std::string text;
    for (int i = 0; i < 100000; ++i) text += fmt::format("b{:05}.ex\n", i);
    Save("a.txt", text);
    policy::ParsePolicy(kIncludingPolicy, {}, &lists);
    EXPECT_EQ(terminal.str(), "") << "nothing in the first two seconds";
    ListFilesOnDisk slow(policy_.Path(), &terminal, [&] { return now; });
    now += 3s;
    policy::ParsePolicy(kIncludingPolicy, {}, &slow);
    EXPECT_THAT(terminal.str(), HasSubstr("\r0.2 MB"));
}

TEST_F(PolicyWithLists, AListThatChangesIsToldByTheNoticeOfWhatItGoesTo) {
    machine_.steps.push_back({Signal::kChanged, "", [this] { Save("a.txt", "a.example\nb.example\n"); }});
    machine_.steps.push_back({Signal::kChanged, "", [] {}});
    machine_.steps.push_back({Signal::kChanged, "", [this] { Save("c.txt", "c.example\n"); }});
    const Ran run = Run({"watch"});
    EXPECT_THAT(run.out, AllOf(HasSubstr("has changed\n  malicious_sites[lists/a.txt]: 2 entries, was 1 entry\n"
                                         "  WSUpdateSettingsChanged(0x40) taken over\n"),
                               HasSubstr("has changed\n  malicious_sites[lists/c.txt]: 1 entry, was not set\n")));
    EXPECT_THAT(machine_.told.notices, ElementsAre("mask 64", "mask 64"));
}

TEST_F(PolicyWithLists, AListThatIsStillBeingWrittenIsNotTakenOver) {
    machine_.steps.push_back({Signal::kChanged, "", [this] { Save("a.txt", ""); }});
    machine_.duringPauses = {[this] { Save("a.txt", "half.exa"); },
                             [this] { Save("a.txt", "a.example\nb.example\n"); }};
    EXPECT_THAT(Run({"watch"}).out, AllOf(HasSubstr("2 entries, was 1 entry"), Not(HasSubstr("0 entries"))));
    EXPECT_THAT(machine_.told.notices, ElementsAre("mask 64"));
}

TEST_F(PolicyWithLists, AListThatGoesMissingKeepsWhatWasReadBefore) {
    policy_.Write("include = [\"lists/a.txt\"]\n");
    machine_.steps.push_back(
        {Signal::kChanged, "", [this] { std::filesystem::remove(policy_.Folder() + "/lists/a.txt"); }});
    EXPECT_THAT(Run({"watch"}).out,
                AllOf(HasSubstr("1 mistake; what was read before stays"), HasSubstr("lists/a.txt: cannot be read")));
    EXPECT_THAT(machine_.told.notices, IsEmpty());
}

policy::IncludedList List(const char* list, const char* name, std::uint64_t fingerprint, std::uint32_t entries = 1) {
    policy::IncludedList made;
    made.list = list;
    made.name = name;
    made.fingerprint = fingerprint;
    made.entries = entries;
    return made;
}

TEST(ListChanges, AreToldByTheNoticeOfTheListThatTheyGoTo) {
    using Lists = std::vector<policy::IncludedList>;
    const auto told = [](const Lists& before, const Lists& after) {
        const PolicyChanges changes = ComparePolicies("", "", before, after);
        std::string text;
        for (const PolicyChange& change : changes.changes) text += DescribeChange(change) + "; ";
        for (const std::uint32_t kind : changes.kinds) text += fmt::format("kind {} ", kind);
        return text + fmt::format("mask {:#x}", changes.updated);
    };
    EXPECT_EQ(told({List("malicious_sites", "a", 1)}, {List("malicious_sites", "a", 1)}), "mask 0x0");
    EXPECT_EQ(told({List("malicious_sites", "a", 1)}, {List("malicious_sites", "a", 2)}),
              "malicious_sites[a]: 1 entry, not the same, was 1 entry; mask 0x40");
    EXPECT_EQ(told({List("sites", "a", 1)}, {}), "sites[a]: removed; mask 0x4");
    EXPECT_EQ(told({}, {List("white_lists.user", "a", 1, 2)}),
              "white_lists.user[a]: 2 entries, was not set; kind 3 mask 0x0");
    EXPECT_EQ(told({}, {List("phishing_sites", "a", 1)}), "phishing_sites[a]: 1 entry, was not set; kind 8 mask 0x0");
    EXPECT_EQ(told({}, {List("malicious_patterns", "a", 1)}), "malicious_patterns[a]: 1 entry, was not set; mask 0x8");
    EXPECT_EQ(told({List("sites", "a", 1), List("sites", "a", 1)}, {List("sites", "a", 1), List("sites", "a", 2)}),
              "sites[a #2]: 1 entry, not the same, was 1 entry; mask 0x4");
}

// Whoever holds it shares it, as long as everything stays as it is.
TEST(SharedPolicy, IsReadOnceUntilSomethingChanges) {
    const TemporaryFile policy("mine.toml", std::string("include = [\"ads.txt\"]\n"));
    const auto write = [&](const char* text) { std::ofstream(policy.Folder() + "/ads.txt") << text; };
    write("ads.example\n");
    const auto first = SharePolicyFile(policy.Path());
    ASSERT_TRUE(first);
    EXPECT_EQ(SharePolicyFile(policy.Path()), first);
    write("ads.example\nmore.example\n");
    const auto second = SharePolicyFile(policy.Path());
    ASSERT_TRUE(second);
    EXPECT_NE(second, first);
    EXPECT_THAT(second->policy.maliciousSites, SizeIs(2));
    const auto withAccounts = SharePolicyFile(policy.Path(), [](const std::string&, SidBytes&) { return false; });
    EXPECT_NE(withAccounts, second);  // what one knows of accounts, the other does not
    EXPECT_FALSE(SharePolicyFile(policy.Folder() + "/none.toml"));
}

}  // namespace
}  // namespace tarn::host
