#include "host/interrupt_win32.h"

#include <atomic>
#include <windows.h>

namespace tarn::host {

namespace {

std::atomic<bool> isInterrupted{false};

// The system calls it on a thread of its own.
BOOL WINAPI StopAtInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    if (isInterrupted.exchange(true)) return FALSE;
    SetEvent(InterruptEvent());
    return TRUE;
}

}  // namespace

void CatchInterrupts() {
    InterruptEvent();
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have had it ignored
    SetConsoleCtrlHandler(StopAtInterrupt, TRUE);
}

bool IsInterrupted() {
    return isInterrupted;
}

void* InterruptEvent() {
    static HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

}  // namespace tarn::host
