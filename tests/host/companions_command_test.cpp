// tarnhost companions: what it prints of the findings, whom it asks, how it ends.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

#include "host/companion_kit/module_facts.h"
#include "host/fake_environment.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class CheckingEnvironment : public FakeEnvironment {
 public:
    std::vector<CompanionFinding> CheckCompanion(const CompanionCheck& check) override {
        checks.push_back(check);
        if (check.module != "statrd.dll") return {};
        return {{"statrd.dll", "ReadBPUserWhiteList", "entry 3 has no NUL", "the last character counts", false},
                {"statrd.dll", "ReadDNSCacheSettings", "says no", "the list is empty", true}};
    }
    std::vector<CompanionCheck> checks;
};

// A folder with the files of all modules but one.
class ModuleFolder {
 public:
    ModuleFolder() {
        std::filesystem::create_directories(path_);
        for (const ModuleFacts& module : AllModules())
            if (module.file != "isolate.dll") std::ofstream(path_ / module.file) << "x";
    }
    ~ModuleFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ModuleFolder(const ModuleFolder&) = delete;
    ModuleFolder& operator=(const ModuleFolder&) = delete;
    [[nodiscard]] std::string Path() const { return path_.string(); }
    void Remove(const std::string& name) const { std::filesystem::remove(path_ / name); }

 private:
    std::filesystem::path path_ =
        std::filesystem::temp_directory_path() /
        (std::string("companions-") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

TEST(CompanionsCommand, SaysWhatStateItStartsWith) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    const std::string state = folder.Path();
    EXPECT_THAT(RunWith(environment, {"companions", "--keep-state", state, folder.Path()}).out,
                HasSubstr("starting without saved answers and sessions; " + state));
    EXPECT_THAT(RunWith(environment, {"companions", folder.Path()}).out, Not(HasSubstr("starting with")));
}

TEST(CompanionsCommand, SaysWhatWasFoundAndEndsWithOne) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    const Ran run = RunWith(environment, {"companions", folder.Path()});
    EXPECT_EQ(run.code, 1) << run.errors;
    EXPECT_THAT(run.out, StartsWith("setrd.dll: ok\n"
                                    "statrd.dll ReadBPUserWhiteList: entry 3 has no NUL; the last character counts\n"
                                    "pktsig.dll: ok\n"));
    EXPECT_THAT(run.out,
                HasSubstr("isolate.dll: note: is missing; nothing is put into quarantine\nOPTSTORE.DLL: ok\n"));
    EXPECT_THAT(run.out, HasSubstr(": 9 modules, 1 finding\n1 note not shown; --verbose shows all\n"));
    ASSERT_THAT(environment.checks, SizeIs(8));
    // A module with a finding is nobody's neighbour.
    EXPECT_THAT(environment.checks[4].neighbours, ElementsAre("setrd.dll", "pktsig.dll", "sitecls.dll"));
}

TEST(CompanionsCommand, AnOptionalModuleThatIsMissingIsANoteANeededOneAFinding) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    folder.Remove("setrd.dll");
    const Ran run = RunWith(
        environment, {"companions", "--verbose", "--module", "SETRD.dll", "--module", "isolate.dll", folder.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.out, AllOf(HasSubstr("setrd.dll: is missing; WSInit is false\n"),
                               HasSubstr("isolate.dll: note: is missing; nothing is put into quarantine\n"),
                               HasSubstr(": 2 modules, 1 finding\n")));
    EXPECT_THAT(environment.checks, IsEmpty());
}

TEST(CompanionsCommand, NothingFoundEndsWithZero) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    const Ran run = RunWith(environment, {"companions", "--write", "--ask", "a.example/b", "--seconds", "30",
                                          "--module", "sitecls.dll", folder.Path()});
    EXPECT_EQ(run.code, 0);
    ASSERT_THAT(environment.checks, SizeIs(1));
    EXPECT_THAT(environment.checks[0].addresses, ElementsAre("a.example/b"));
    EXPECT_TRUE(environment.checks[0].writes);
    EXPECT_EQ(environment.checks[0].secondsWithoutAnswer, 30u);
    EXPECT_THAT(environment.checks[0].neighbours, ElementsAre("setrd.dll", "statrd.dll", "pktsig.dll"));
}

TEST(CompanionsCommand, JsonHasOneEventForEachFindingAndTheTotals) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    const Ran run = RunWith(environment, {"companions", "--json", "--module", "statrd.dll", folder.Path()});
    EXPECT_EQ(run.code, 1);
    auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(run.out, StartsWith(R"({"type":"companion","version":1,"written":"20)"));
    lines[0].erase("written");
    EXPECT_EQ(lines[0], (nlohmann::json{{"type", "companion"},
                                        {"version", 1},
                                        {"module", "statrd.dll"},
                                        {"export", "ReadBPUserWhiteList"},
                                        {"level", "finding"},
                                        {"finding", "entry 3 has no NUL"},
                                        {"consequence", "the last character counts"}}));
    EXPECT_EQ(lines[1]["level"], "note");
    EXPECT_EQ(lines[2]["type"], "companions");
    EXPECT_EQ(lines[2]["modules"], 1);
    EXPECT_EQ(lines[2]["findings"], 1);
    EXPECT_EQ(lines[2]["notes"], 1);
}

TEST(CompanionsCommand, WrongUseEndsWithTwo) {
    CheckingEnvironment environment;
    const ModuleFolder folder;
    EXPECT_EQ(RunWith(environment, {"companions", folder.Path() + "/nowhere"}).code, 2);
    const Ran wrong = RunWith(environment, {"companions", "--module", "other.dll", folder.Path()});
    EXPECT_EQ(wrong.code, 2);
    EXPECT_THAT(wrong.errors, HasSubstr("there is no such companion module"));
    EXPECT_EQ(RunWith(environment, {"companions", "--seconds", "0", folder.Path()}).code, 2);
    EXPECT_THAT(environment.checks, IsEmpty());
}

}  // namespace
}  // namespace tarn::host
