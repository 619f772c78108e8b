#include "host/interrupt_win32.h"

#include <atomic>
#include <windows.h>

#include "host/urgent_end.h"

namespace tarn::host {

namespace {

constexpr DWORD kMostWait = 30000;      // milliseconds; the system has limits of its own
constexpr UINT kInterruptedCode = 130;  // that of a run which the first Ctrl+C ended, too

std::atomic<bool> isInterrupted{false};

HANDLE EndedEvent() {
    static HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

// The system calls it on a thread of its own.
BOOL WINAPI StopAtInterrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process as soon as this returns, and after about five seconds in any case.
        TellUrgentEnd();
        Interrupt();
        WaitForSingleObject(EndedEvent(), kMostWait);
        return TRUE;
    }
    // What the first one could not end. Nothing is saved, and what hangs is not waited for.
    if (IsInterrupted()) TerminateProcess(GetCurrentProcess(), kInterruptedCode);
    Interrupt();
    return TRUE;
}

}  // namespace

void CatchInterrupts() {
    InterruptEvent();
    EndedEvent();
    SetConsoleCtrlHandler(nullptr, FALSE);  // a parent may have had it ignored
    SetConsoleCtrlHandler(StopAtInterrupt, TRUE);
}

void LeaveInterruptsToServices() {
    SetConsoleCtrlHandler(StopAtInterrupt, FALSE);
}

void Interrupt() {
    isInterrupted = true;
    SetEvent(InterruptEvent());
}

void TellEnded() {
    SetEvent(EndedEvent());
}

bool IsInterrupted() {
    return isInterrupted;
}

void* InterruptEvent() {
    static HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

}  // namespace tarn::host
