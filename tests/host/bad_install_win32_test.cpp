// The real tarnhost in install folders that lack something: the message names what is wrong, the exit code says so.
#include <gmock/gmock.h>

#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

const std::vector<std::string> kBlockedUrl = {"url", "--json", "http://lantern.example/redirect"};

TEST(Install, JudgesByItsOwnPolicy) {
    const InstallCopy install;
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.errors, "");
    const auto lines = run.Json();
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["event"], "used");
    EXPECT_EQ(lines[1]["reason"], 2);
    EXPECT_EQ(lines[1]["rule_text"], "Trojan.Redirector: lantern.example/redirect");
    EXPECT_EQ(lines[1]["report"], 1);
}

class NeededModule : public testing::TestWithParam<const char*> {};

TEST_P(NeededModule, IsNamedWhenItIsMissing) {
    const InstallCopy install({GetParam()});
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("WSInit failed"), HasSubstr(std::string("lacks ") + GetParam())));
    EXPECT_EQ(run.Json().at(0)["type"], "error");
}

INSTANTIATE_TEST_SUITE_P(Modules, NeededModule, testing::Values("setrd.dll", "statrd.dll", "pktsig.dll", "sitecls.dll"),
                         [](const auto& test) {
                             const std::string name = test.param;
                             return name.substr(0, name.find('.'));
                         });

TEST(Install, WithoutTheModulesThatMayBeMissingStillJudges) {
    const InstallCopy install({"tlsinsp.dll", "urlsig.dll", "isolate.dll", "OPTSTORE.DLL", "agentst.dll"});
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Events("verdict").at(0)["reason"], 2);
}

TEST(Install, ADamagedModuleIsNoMissingOne) {
    const InstallCopy install({"pktsig.dll"});
    install.Write("pktsig.dll", "MZ and nothing more");
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("WSInit failed"), HasSubstr("pktsig.dll (error"), HasSubstr("damaged"),
                                  Not(HasSubstr("lacks")), Not(HasSubstr("setrd.dll"))));
}

TEST(Install, ADamagedModuleThatMayBeMissingIsNamed) {
    const InstallCopy install({"tlsinsp.dll", "isolate.dll"});
    install.Write("isolate.dll", "MZ and nothing more");
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Events("verdict").at(0)["reason"], 2);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("runs without isolate.dll (error"), Not(HasSubstr("tlsinsp.dll"))));
}

TEST(Install, WithoutTheLibraryNothingStarts) {
    const InstallCopy install({"tarn.dll"});
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("tarn.dll"), HasSubstr("cannot be loaded")));
}

TEST(Install, APolicyWithMistakesIsRefused) {
    const InstallCopy install;
    install.Write("tarn-policy.toml",
                  install.Read("tarn-policy.toml") + "\n[[malicious_sites]]\nhots = \"a.example\"\n");
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("unknown key \"hots\" (did you mean \"host\"?)"),
                                  HasSubstr("malicious_sites.host is missing")));
    EXPECT_EQ(run.Json().at(0)["type"], "error");
    EXPECT_EQ(install.Run({"policy"}).exitCode, 1u);
}

TEST(Install, WithoutAPolicyEverythingIsOffAndItSaysSo) {
    const InstallCopy install;
    install.Remove("tarn-policy.toml");
    const ProgramRun run = install.Run(kBlockedUrl);
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Events("verdict").at(0)["reason"], 26);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("tarn-policy.toml: cannot be read"),
                                  HasSubstr("the settings switch every URL-scanning feature off")));
}

TEST(Install, AnotherFolderCanBeNamed) {
    const InstallCopy install;
    const InstallCopy other;
    other.Write("tarn-policy.toml", "[features]\nanti_phishing = true\n");
    const ProgramRun run =
        install.Run({"url", "--json", "--install-folder", other.Folder().string(), "http://lantern.example/redirect"});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_EQ(run.Events("verdict").at(0)["reason"], 26);
    const ProgramRun wrong = install.Run({"url", "--install-folder", "C:\\no\\such\\folder", "http://a.example/"});
    EXPECT_EQ(wrong.exitCode, 1u);
    EXPECT_THAT(wrong.errors, HasSubstr("there is no such folder"));
}

TEST(Install, WrongUseEndsWithTheUsageCode) {
    const InstallCopy install;
    EXPECT_EQ(install.Run({}).exitCode, 2u);
    const ProgramRun run = install.Run({"url", "--loud", "http://a.example/"});
    EXPECT_EQ(run.exitCode, 2u);
    EXPECT_THAT(run.errors, HasSubstr("--loud"));
}

}  // namespace
}  // namespace tarn::host
