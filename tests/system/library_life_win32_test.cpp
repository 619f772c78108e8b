// Hosts that unload the library without ending it, or end themselves while it runs: each is a process of its own.
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "machine/win32_owners.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::HasSubstr;

struct Life {
    bool ended = false;
    DWORD code = 0;
    std::vector<std::string> lines;
};

class LibraryLife : public SystemFixture {
 protected:
    static constexpr DWORD kLongest = 60'000;
    static constexpr DWORD kOwnCode = 7;  // what the host ends with

    Life Live(const std::string& what) {
        const std::filesystem::path output = folder / (what + ".txt");
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        machine::UniqueFile file(CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                             &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        EXPECT_TRUE(file.Owns());
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = start.hStdError = file.Get();
        std::wstring line = L"life_program.exe " + std::wstring(what.begin(), what.end()) + L" " + folder.wstring();
        PROCESS_INFORMATION made{};
        EXPECT_TRUE(CreateProcessW((OwnFolder() / "life_program.exe").c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                   nullptr, nullptr, &start, &made))
            << GetLastError();
        const machine::UniqueHandle process(made.hProcess);
        const machine::UniqueHandle thread(made.hThread);
        Life life;
        life.ended = WaitForSingleObject(process.Get(), kLongest) == WAIT_OBJECT_0;
        if (!life.ended) TerminateProcess(process.Get(), 99);
        WaitForSingleObject(process.Get(), kLongest);
        GetExitCodeProcess(process.Get(), &life.code);
        file.Reset();
        std::ifstream in(output);
        for (std::string text; std::getline(in, text);) life.lines.push_back(text);
        return life;
    }
};

TEST_F(LibraryLife, AfterAnUnloadWithoutAnEndTheWorkerRunsNoCodeThatIsGone) {
    const Life life = Live("unload");
    EXPECT_TRUE(life.ended);
    EXPECT_EQ(life.code, 0U);
    ASSERT_EQ(life.lines.size(), 5U) << testing::PrintToString(life.lines);
    EXPECT_EQ(life.lines[0], "started");
    EXPECT_EQ(life.lines[1], "unloaded");
    for (std::size_t i = 2; i < 5; ++i) EXPECT_THAT(life.lines[i], testing::StartsWith("the worker ")) << i;
}

TEST_F(LibraryLife, AfterAnUnloadWithoutAnEndALaterEndStillEndsTheWorker) {
    const Life life = Live("unload_load_end");
    EXPECT_TRUE(life.ended);
    EXPECT_EQ(life.code, 0U);
    EXPECT_THAT(life.lines, Contains("the worker ended at last"));
    EXPECT_THAT(life.lines, Contains("the library is gone"));
}

class ProcessExit : public LibraryLife, public testing::WithParamInterface<const char*> {};

TEST_P(ProcessExit, IsPromptAndTouchesNothing) {
    const ULONGLONG before = GetTickCount64();
    const Life life = Live(GetParam());
    EXPECT_TRUE(life.ended);
    EXPECT_LT(GetTickCount64() - before, kLongest / 2);
    EXPECT_EQ(life.code, kOwnCode);
    ASSERT_FALSE(life.lines.empty());
    EXPECT_EQ(life.lines.front(), "started");
    const auto exit = std::ranges::find(life.lines, "exit begins");
    ASSERT_NE(exit, life.lines.end());
    // The run-time library closes one handle of its own; the library's locks alone would be sixteen.
    EXPECT_THAT(std::vector<std::string>(exit + 1, life.lines.end()),
                testing::AllOf(testing::Each(std::string("closes a handle")), testing::SizeIs(testing::Le(2U))));
}

TEST_P(ProcessExit, IsTheSameEachTime) {
    for (int i = 0; i < 5; ++i) {
        const Life life = Live(GetParam());
        EXPECT_TRUE(life.ended);
        EXPECT_EQ(life.code, kOwnCode) << i;
        EXPECT_THAT(life.lines, Contains("exit begins"));
        EXPECT_THAT(life.lines, testing::Each(testing::Not(HasSubstr("module call"))));
    }
}

INSTANTIATE_TEST_SUITE_P(While, ProcessExit, testing::Values("exit", "exit_in_scan", "exit_in_save", "exit_amid_calls"),
                         [](const auto& what) { return std::string(what.param); });

TEST_F(LibraryLife, AnExitBehindAnUnloadWithoutAnEndIsPrompt) {
    const Life life = Live("exit_after_unload");
    EXPECT_TRUE(life.ended);
    EXPECT_EQ(life.code, kOwnCode);
    EXPECT_THAT(life.lines, Contains("exit begins"));
    EXPECT_THAT(life.lines, testing::Each(testing::Not(HasSubstr("module call"))));
}

}  // namespace
}  // namespace tarn::system_test
