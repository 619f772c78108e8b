#define NTDDI_VERSION 0x0A000006  // the first with these consoles

#include "host/pseudo_console_win32.h"

#include <gtest/gtest.h>

namespace tarn::host {
namespace {

// The test itself goes on.
BOOL WINAPI Ignore(DWORD) {
    return TRUE;
}

}  // namespace

PseudoConsole::PseudoConsole() {
    constexpr COORD kSize{80, 25};
    HANDLE input = nullptr;
    EXPECT_TRUE(CreatePipe(&input, &keys_, nullptr, 0));
    screen_ =
        CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(CreatePseudoConsole(kSize, input, screen_, 0, &console_), S_OK);
    CloseHandle(input);
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    attributes_ = std::make_unique<unsigned char[]>(size);
    EXPECT_TRUE(InitializeProcThreadAttributeList(Attributes(), 1, 0, &size));
    EXPECT_TRUE(UpdateProcThreadAttribute(Attributes(), 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE, console_,
                                          sizeof console_, nullptr, nullptr));
}

PseudoConsole::~PseudoConsole() {
    DeleteProcThreadAttributeList(Attributes());
    ClosePseudoConsole(console_);
    CloseHandle(keys_);
    CloseHandle(screen_);
}

LPPROC_THREAD_ATTRIBUTE_LIST PseudoConsole::Attributes() const {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes_.get());
}

void PseudoConsole::PressCtrlC(DWORD program) {
    FreeConsole();
    ASSERT_TRUE(AttachConsole(program)) << "error " << GetLastError();
    EXPECT_TRUE(SetConsoleCtrlHandler(Ignore, TRUE));
    EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << "error " << GetLastError();
    FreeConsole();
}

}  // namespace tarn::host
