// tarnhost companions with real modules: the reference ones, and scripted ones with one fault each.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <windows.h>

#include "tarn/companion_modules.h"

#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

#define TARN_FILE(module, file, functions) file,
constexpr const char* kFiles[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

std::vector<std::string> Found(const ProgramRun& run) {
    std::vector<std::string> found;
    for (const nlohmann::json& line : run.Json())
        if (line["type"] == "companion" && line["level"] == "finding")
            found.push_back(line["module"].get<std::string>() + " " + line["export"].get<std::string>() + ": " +
                            line["finding"].get<std::string>() + "; " + line["consequence"].get<std::string>());
    return found;
}

// A folder of scripted modules, and runs of the check with one fault.
class ScriptedFolder {
 public:
    ScriptedFolder() {
        const fs::path built = install_.Folder().parent_path();
        fs::create_directories(Folder());
        for (const char* file : kFiles) fs::copy_file(built / "scripted" / file, Folder() / file);
        fs::copy_file(built / "faulty" / "companion_script.dll", Folder() / "companion_script.dll");
    }
    [[nodiscard]] fs::path Folder() const { return install_.Folder() / "scripted"; }

    [[nodiscard]] ProgramRun Check(const char* fault, const std::vector<std::string>& arguments) const {
        SetEnvironmentVariableA("TARN_SCRIPTED_FAULT", fault);
        std::vector<std::string> line{"companions", "--json", Folder().string()};
        line.insert(line.end(), arguments.begin(), arguments.end());
        ProgramRun run = install_.Run(line);
        SetEnvironmentVariableA("TARN_SCRIPTED_FAULT", nullptr);
        EXPECT_EQ(run.errors, "");
        return run;
    }
    [[nodiscard]] std::vector<std::string> Findings(const char* fault, const char* module) const {
        const ProgramRun run = Check(fault, {"--module", module, "--seconds", "30"});
        EXPECT_EQ(run.exitCode, 1u);
        return Found(run);
    }

 private:
    InstallCopy install_;
};

TEST(CompanionsInstalled, TheReferenceModulesHaveNoFinding) {
    const InstallCopy install;
    const ProgramRun run = install.Run({"companions", "--json", "--write", "--ask", "lantern.example/redirect"});
    EXPECT_EQ(run.exitCode, 0u) << run.out << run.errors;
    EXPECT_THAT(Found(run), IsEmpty());
    const auto lines = run.Json();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back()["type"], "companions");
    EXPECT_EQ(lines.back()["modules"], 9);
}

TEST(CompanionsScripted, InGoodOrderTheyHaveNoFinding) {
    const ScriptedFolder modules;
    const ProgramRun run = modules.Check("", {});
    EXPECT_EQ(run.exitCode, 0u);
    EXPECT_THAT(Found(run), IsEmpty());
    EXPECT_EQ(run.Json().back()["modules"], 9);
}

TEST(CompanionsScripted, AMissingModuleIsFound) {
    const ScriptedFolder modules;
    fs::remove(modules.Folder() / "pktsig.dll");
    fs::remove(modules.Folder() / "isolate.dll");
    const ProgramRun run = modules.Check("", {"--module", "pktsig.dll", "--module", "isolate.dll"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(Found(run), ElementsAre("pktsig.dll : is missing; WSInit is false"));
}

TEST(CompanionsScripted, AnEmptyFileIsFound) {
    const ScriptedFolder modules;
    std::ofstream(modules.Folder() / "setrd.dll", std::ios::binary | std::ios::trunc).flush();
    EXPECT_THAT(modules.Findings("", "setrd.dll"),
                ElementsAre(AllOf(HasSubstr("setrd.dll : cannot be loaded (error "), HasSubstr("WSInit is false"))));
}

TEST(CompanionsScripted, AnExportOfAnotherNameIsFound) {
    const ScriptedFolder modules;
    const fs::path file = modules.Folder() / "urlsig.dll";
    std::ifstream in(file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    in.close();
    const std::string name = std::string("\0WSInitUrlsig\0", 14);
    const std::size_t at = bytes.find(name);
    ASSERT_NE(at, std::string::npos);
    for (std::size_t next = at; next != std::string::npos; next = bytes.find(name, next + 1))
        bytes[next + name.size() - 2] = 'G';  // the names stay sorted
    std::ofstream(file, std::ios::binary) << bytes;
    EXPECT_THAT(modules.Findings("", "urlsig.dll"),
                ElementsAre("urlsig.dll WSInitUrlsig: is not exported, but WSInitUrlsiG is; the module counts "
                            "as missing: no malicious pattern matches"));
}

struct Fault {
    const char* name;
    const char* module;
    const char* function;
    const char* finding;
};
class OneFault : public testing::TestWithParam<Fault> {};

TEST_P(OneFault, IsFoundAndNothingElse) {
    const ScriptedFolder modules;
    const std::string place = std::string(GetParam().module) + " " + GetParam().function + ": ";
    EXPECT_THAT(modules.Findings(GetParam().name, GetParam().module),
                ElementsAre(AllOf(HasSubstr(place), HasSubstr(GetParam().finding))));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, OneFault,
    testing::Values(Fault{"unsorted", "setrd.dll", "ReadBPSettings", "entry 2: its hash 71beeff9 is below e8b7be43"},
                    Fault{"unterminated", "statrd.dll", "ReadBPUserWhiteList", "entry 2 has no NUL within its 1024"},
                    Fault{"short-chain", "statrd.dll", "ReadPCSettings", "the count is 5, and the chain ends behind 2"},
                    Fault{"long-chain", "statrd.dll", "ReadPCSettings", "the count is 1, and the chain is longer"},
                    Fault{"null-list", "setrd.dll", "ReadAPSettings", "the count is 3 and the pointer is null"},
                    Fault{"leak", "setrd.dll", "ReadAPSettings", "leaves 40000 bytes behind in each round"},
                    Fault{"crash", "setrd.dll", "ReadBPSettings", "crashed in ReadBPSettings (0xC0000005)"},
                    Fault{"exit", "setrd.dll", "ReadBPSettings", "ended the process in ReadBPSettings (exit code 0)"},
                    Fault{"no-start", "sitecls.dll", "SCInit", "fails"},
                    Fault{"threads", "urlsig.dll", "WSCheckURLMaliciousPattern",
                          "answers on 8 threads at once differ"}),
    [](const auto& test) {
        std::string name = test.param.name;
        std::erase(name, '-');
        return name;
    });

TEST(CompanionsScripted, AHangIsEndedAndFoundAndTheOthersAreChecked) {
    const ScriptedFolder modules;
    const ProgramRun run =
        modules.Check("hang", {"--seconds", "10", "--module", "setrd.dll", "--module", "agentst.dll"});
    EXPECT_EQ(run.exitCode, 1u);
    EXPECT_THAT(Found(run),
                ElementsAre(HasSubstr("setrd.dll ReadIDSSettings: does not come back within 10 s in ReadIDSSettings")));
    EXPECT_EQ(run.Json().back()["modules"], 2);
}

}  // namespace
}  // namespace tarn::host
