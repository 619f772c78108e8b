// The stack protector, in a process of its own.
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <process.h>
#include <string>
#include <windows.h>

namespace tarn::base {
namespace {

// What a run of stack_overrun.exe, beside this program, ends with.
std::uint32_t EndOfRun(const wchar_t* count) {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = std::filesystem::path(path).replace_filename(L"stack_overrun.exe").wstring();
    return static_cast<std::uint32_t>(_wspawnl(_P_WAIT, program.c_str(), L"stack_overrun", count, nullptr));
}

TEST(StackGuard, LeavesAProgramInPeace) {
    EXPECT_EQ(EndOfRun(L"16"), 7U);
}

TEST(StackGuard, EndsTheProcessThatOverranABuffer) {
    constexpr std::uint32_t kStackBufferOverrun = 0xC0000409;
    EXPECT_EQ(EndOfRun(L"40"), kStackBufferOverrun);
}

}  // namespace
}  // namespace tarn::base
