// A registered install folder that the library cannot use, and what the commands say of it.
#include "host/registered_folder.h"

#include <gmock/gmock.h>

#include "host/fake_machine.h"
#include "host/policy_file.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST(RegisteredFolder, NeedsItsLastBackslash) {
    EXPECT_EQ(RegisteredFolderMistake(""), "");
    EXPECT_EQ(RegisteredFolderMistake(R"(C:\Program Files\tarn\bin\)"), "");
    EXPECT_EQ(RegisteredFolderMistake("C:/tarn/bin/"), "");
    EXPECT_THAT(RegisteredFolderMistake(R"(C:\Program Files\tarn\bin)"),
                AllOf(HasSubstr(R"(C:\Program Files\tarn\bin, has no backslash at its end)"),
                      HasSubstr(R"(looks for C:\Program Files\tarn\binsetrd.dll)"),
                      HasSubstr(R"(App Paths\CoreScan.exe" /v Path /d "C:\Program Files\tarn\bin\\" /f)"),
                      HasSubstr("--install-folder")));
    EXPECT_THAT(RegisteredFolderMistake("C:\\a\x1b[2J"), Not(HasSubstr("\x1b")));
}

constexpr const char* kMistake = R"(the registered install folder, C:\tarn\bin, has no backslash)";

TEST(RegisteredFolder, IsNamedByTheCommandsThatTakeIt) {
    FakeMachine machine;
    const TemporaryFile policy("tarn-policy.toml", std::string("[features]\nanti_phishing = true\n"));
    machine.installFolder = R"(C:\tarn\bin)";
    EXPECT_EQ(PolicyPath(machine, {}), R"(C:\tarn\bin\tarn-policy.toml)") << "what watch and serve begin with";
    for (const char* command : {"policy", "companions"}) {
        const Ran run = RunWith(machine, {command});
        EXPECT_EQ(run.code, 1) << command;
        EXPECT_THAT(run.errors, HasSubstr(kMistake)) << command;
        EXPECT_THAT(run.out, IsEmpty()) << command;
    }
    EXPECT_EQ(RunWith(machine, {"policy", policy.Path()}).code, 0) << "a named file is none of the folder's";
    EXPECT_THAT(RunWith(machine, {"companions", policy.Folder()}).errors, Not(HasSubstr(kMistake)));
    const auto lines = JsonLines(RunWith(machine, {"policy", "--json"}).out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_THAT(lines[0]["text"].get<std::string>(), HasSubstr(kMistake));
    EXPECT_EQ(lines[1]["type"], "stats");
}

}  // namespace
}  // namespace tarn::host
