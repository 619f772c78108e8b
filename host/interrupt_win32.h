// Ctrl+C, for the whole process: the first one asks the command to stop, a second one ends the process. A console that
// closes, a logoff and a shutdown ask it, too, and wait until it has ended.
// Any thread may ask.
#ifndef TARN_HOST_INTERRUPT_WIN32_H
#define TARN_HOST_INTERRUPT_WIN32_H

namespace tarn::host {

// From now on Ctrl+C does not end the process: the library has its sessions and answers to save.
void CatchInterrupts();

[[nodiscard]] bool IsInterrupted();
// The other way: a service has no console, and outlives every user's logoff.
void LeaveInterruptsToServices();

// As if Ctrl+C had been pressed.
void Interrupt();

// The process ends by itself from here on: what closed its console waits no longer.
void TellEnded();

// A handle of the system's that is signalled from the first Ctrl+C on; it lives as long as the process.
void* InterruptEvent();

}  // namespace tarn::host

#endif
