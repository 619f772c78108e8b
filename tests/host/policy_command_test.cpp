// tarnhost policy: every mistake with its place, and an exit code that a script can use.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

#include "host/fake_machine.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/temporary_file.h"
#include "support/project_files.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kTwoMistakes =
    "[features]\n"
    "browsing_protecton = true\n"
    "anti_phishing = 1\n";

TEST(PolicyCommand, TheShippedPoliciesHaveNoMistakes) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"policy", DefaultPolicyFile()});
    EXPECT_EQ(run.code, 0);
    const std::string path = std::filesystem::path(DefaultPolicyFile()).make_preferred().string();
    EXPECT_THAT(run.out, EndsWith(path + ": no mistakes\n"));  // behind a drive on Windows
}

TEST(PolicyCommand, NamesEveryMistakeWithItsPlaceAndWhatIsAllowed) {
    FakeEnvironment environment;
    const TemporaryFile policy("mine.toml", kTwoMistakes);
    const Ran run = RunWith(environment, {"policy", policy.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr("mine.toml:2:1: unknown key \"browsing_protecton\" (did you mean "
                                         "\"browsing_protection\"?); allowed in features: "),
                               HasSubstr("mine.toml:3:17: features.anti_phishing is a whole number; allowed: true or "
                                         "false"),
                               HasSubstr("mine.toml: 2 mistakes, so none of it would be used")));
    EXPECT_THAT(environment.opened, IsEmpty());
}

TEST(PolicyCommand, JsonHasOneObjectPerMistake) {
    FakeEnvironment environment;
    const TemporaryFile policy("mine.toml", kTwoMistakes);
    const Ran run = RunWith(environment, {"policy", "--json", policy.Path()});
    EXPECT_EQ(run.code, 1);
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["line"], 2);
    EXPECT_EQ(lines[0]["column"], 1);
    EXPECT_EQ(lines[1]["line"], 3);
    EXPECT_EQ(lines[1]["event"], "mistake");
    EXPECT_EQ(lines[1]["file"], "mine.toml");
    EXPECT_EQ(lines[2]["type"], "stats");
    EXPECT_EQ(lines[2]["policy_file"], policy.Path());
    EXPECT_EQ(lines[2]["mistakes"], 2);
    EXPECT_EQ(lines[2]["warnings"], 0);
}

TEST(PolicyCommand, WithoutAFileTakesTheFolderThatTheOtherCommandsUse) {
    FakeMachine machine;
    const TemporaryFile policy("tarn-policy.toml", kTwoMistakes);
    const TemporaryFile beside("tarn-policy.toml", std::string("ids.alert = 1\n"));
    machine.installFolder = policy.Folder() + "/";
    machine.ownFolder = beside.Folder() + "/";
    const Ran run = RunWith(machine, {"policy"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr("tarn-policy.toml:2:1"),
                               HasSubstr(machine.installFolder + "tarn-policy.toml: 2 mistakes")));
}

constexpr const char* kUnknownAccount = "[parental]\nmode = 2\n[[parental.users]]\naccount = \"gone\"\n";

TEST(PolicyCommand, AnUnknownAccountIsAWarning) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kUnknownAccount));
    const Ran run = RunWith(machine, {"policy", policy.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("mine.toml:4:11: warning: this machine has no account \"gone\""),
                               HasSubstr(policy.Path() + ": no mistakes, 1 warning\n")));
    const auto lines = JsonLines(RunWith(machine, {"policy", "--json", policy.Path()}).out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["event"], "warning");
    EXPECT_EQ(lines[0]["line"], 4);
    EXPECT_EQ(lines[1]["warnings"], 1);
}

TEST(PolicyCommand, AccountsOfAnotherMachineMayBeTaken) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kUnknownAccount));
    const Ran run = RunWith(machine, {"policy", "--accounts", "any", policy.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out, policy.Path() + ": no mistakes\n");
    EXPECT_EQ(RunWith(machine, {"policy", "--accounts", "some", policy.Path()}).code, 2);
}

TEST(PolicyCommand, AnEmptyFileIsAWarning) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string("# nothing\n"));
    const Ran run = RunWith(machine, {"policy", policy.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out, HasSubstr("mine.toml: warning: the file sets nothing, so nothing is blocked\n"));
}

constexpr const char* kDead =
    "[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"www.evil.example\"  # why\n"
    "[[malicious_sites]]\nhost = \"b\u00fccher.example\"\n[[malicious_sites]]\nhost = \"10.0.0.1\"\n";

TEST(PolicyCommand, WarnsOfWhatCanNeverMatch) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kDead));
    const Ran run = RunWith(machine, {"policy", policy.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(
        run.out,
        AllOf(HasSubstr("mine.toml:3: warning: malicious_sites.host \"www.evil.example\" can never match, because "
                        "hosts are compared without \"www.\": write \"evil.example\"\n"),
              HasSubstr("mine.toml:5: warning: malicious_sites.host \"b\u00fccher.example\" can never match"),
              HasSubstr("write \"xn--bcher-kva.example\"\n"), HasSubstr("mine.toml:7: warning: "),
              EndsWith("mine.toml: no mistakes, 3 warnings\n")));
    const auto lines = JsonLines(RunWith(machine, {"policy", "--json", policy.Path()}).out);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[1]["event"], "warning");
    EXPECT_EQ(lines[1]["line"], 5);
    EXPECT_EQ(lines[1]["column"], 0);
    EXPECT_EQ(lines[3]["warnings"], 3);
}

TEST(PolicyCommand, FixWritesAMendedCopyAndSaysWhatIsLeft) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kDead));
    const std::string target = policy.Folder() + "/new.toml";
    const Ran run = RunWith(machine, {"policy", "--fix", target, policy.Path()});
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(run.out, AllOf(HasSubstr("mine.toml:3: repaired: malicious_sites.host \"www.evil.example\""),
                               HasSubstr("mine.toml:5: repaired: "), HasSubstr("new.toml:7: warning: "),
                               EndsWith("new.toml: no mistakes, 1 warning\n")));
    EXPECT_EQ(ReadPolicyText(policy.Path()), kDead);
    EXPECT_EQ(ReadPolicyText(target),
              "[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"evil.example\"  # why\n"
              "[[malicious_sites]]\nhost = \"xn--bcher-kva.example\"\n[[malicious_sites]]\nhost = \"10.0.0.1\"\n");
    const auto lines = JsonLines(RunWith(machine, {"policy", "--json", "--fix", target + "2", policy.Path()}).out);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0]["event"], "repaired");
    EXPECT_EQ(lines[0]["file"], "mine.toml");
}

TEST(PolicyCommand, FixOverwritesNothingAndMendsNoMistakes) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kDead));
    const Ran same = RunWith(machine, {"policy", "--fix", policy.Path(), policy.Path()});
    EXPECT_EQ(same.code, 1);
    EXPECT_THAT(same.errors, HasSubstr("mine.toml: is there already, and is not overwritten; name a new file"));
    EXPECT_EQ(ReadPolicyText(policy.Path()), kDead);
    const Ran nowhere = RunWith(machine, {"policy", "--fix", policy.Folder() + "/no/new.toml", policy.Path()});
    EXPECT_EQ(nowhere.code, 1);
    EXPECT_THAT(nowhere.errors, HasSubstr("new.toml: cannot be written; is the folder there?"));
    policy.Write(kTwoMistakes);
    const std::string target = policy.Folder() + "/new.toml";
    EXPECT_EQ(RunWith(machine, {"policy", "--fix", target, policy.Path()}).code, 1);
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST(PolicyCommand, FixSaysWhenItWritesNothingOrAPlainCopy) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string(kTwoMistakes));
    const std::string target = policy.Folder() + "/new.toml";
    EXPECT_THAT(RunWith(machine, {"policy", "--fix", target, policy.Path()}).errors,
                HasSubstr("new.toml: nothing was written; mend the mistakes first"));
    const Ran json = RunWith(machine, {"policy", "--json", "--fix", target, policy.Path()});
    EXPECT_EQ(JsonLines(json.out).back()["type"], "stats");
    policy.Write("[features]\nbrowsing_protection = true\n");
    const Ran copied = RunWith(machine, {"policy", "--fix", target, policy.Path()});
    EXPECT_EQ(copied.code, 0) << copied.errors;
    EXPECT_THAT(copied.out, HasSubstr("new.toml: a plain copy, for there was nothing to mend\n"));
    EXPECT_EQ(ReadPolicyText(target), ReadPolicyText(policy.Path()));
}

// From another folder the copy would find other lists, or none.
TEST(PolicyCommand, FixStaysInTheFolderOfTheListsThatAreIncluded) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", std::string("include = [\"ads.txt\"]\n") + kDead);
    const TemporaryFile elsewhere("other.toml", std::string());
    std::ofstream(policy.Folder() + "/ads.txt") << "ads.example\n";
    const std::string target = elsewhere.Folder() + "/new.toml";
    const Ran run = RunWith(machine, {"policy", "--fix", target, policy.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("nothing was written; the policy includes lists"), HasSubstr("new.toml")));
    EXPECT_FALSE(std::filesystem::exists(target));
    const std::string beside = policy.Folder() + "/new.toml";
    EXPECT_EQ(RunWith(machine, {"policy", "--fix", beside, policy.Path()}).code, 0);
    const auto copy = ReadPolicyFile(beside);
    ASSERT_TRUE(copy);
    EXPECT_THAT(copy->mistakes, IsEmpty());
    EXPECT_THAT(copy->lists, SizeIs(1));
    // What is named from anywhere is found from everywhere.
    std::string absolute = policy.Folder() + "/ads.txt";
    std::replace(absolute.begin(), absolute.end(), '\\', '/');
    policy.Write("include = [\"" + absolute + "\"]\n" + kDead);
    const Ran moved = RunWith(machine, {"policy", "--fix", target, policy.Path()});
    EXPECT_EQ(moved.code, 0) << moved.errors;
    EXPECT_THAT(ReadPolicyFile(target)->lists, SizeIs(1));
}

TEST(PolicyCommand, AFileThatCannotBeReadIsNamed) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"policy", "no-such.toml"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("no-such.toml: cannot be read"));
}

TEST(PolicyPath, IsTheOneOfTheOptionsThenOfTheVariableThenTheOneBesideTheModules) {
    FakeMachine machine;
    machine.installFolder = "modules/";
    LibraryOptions options;
    EXPECT_EQ(PolicyPath(machine, options), "modules/tarn-policy.toml");
    machine.variables["TARN_POLICY_FILE"] = "named.toml";
    EXPECT_EQ(PolicyPath(machine, options), "named.toml");
    options.policyFile = "given.toml";
    EXPECT_EQ(PolicyPath(machine, options), "given.toml");
}

TEST(PolicyOption, ReachesTheLibraryAndMustNameAFile) {
    FakeMachine machine;
    const TemporaryFile policy("mine.toml", "[features]\n");
    EXPECT_EQ(RunWith(machine, {"--policy", policy.Path(), "url", "http://shop.example/"}).code, 0);
    ASSERT_EQ(machine.opened.size(), 1U);
    EXPECT_EQ(machine.opened.front().policyFile, policy.Path());
    const Ran run = RunWith(machine, {"--policy", "no-such.toml", "url", "http://shop.example/"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("--policy no-such.toml: cannot be read"));
    EXPECT_EQ(machine.opened.size(), 1U);
    EXPECT_EQ(RunWith(machine, {"--policy", policy.Path(), "policy", policy.Path()}).code, 2);
}

TEST(PolicyCommand, TextThatIsNoTomlIsAMistakeToo) {
    FakeEnvironment environment;
    const TemporaryFile policy("mine.toml", std::string("[features]\nbrowsing_protection = yes\n"));
    const Ran run = RunWith(environment, {"policy", policy.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr("mine.toml:2:2"), HasSubstr("1 mistake, so none of it")));
}

// What opening the library says of the policy.
TEST(PolicyCheck, DescribesTheMistakesOfAFile) {
    const TemporaryFile policy("tarn-policy.toml", kTwoMistakes);
    EXPECT_THAT(DescribePolicyMistakes(policy.Path()),
                AllOf(HasSubstr("tarn-policy.toml:2:1: unknown key"), HasSubstr("tarn-policy.toml:3:17: ")));
    policy.Write("[features]\n");
    EXPECT_EQ(DescribePolicyMistakes(policy.Path()), "");
    EXPECT_EQ(DescribePolicyMistakes("nowhere/tarn-policy.toml"), "");
}

}  // namespace
}  // namespace tarn::host
