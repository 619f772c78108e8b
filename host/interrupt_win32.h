// Ctrl+C, for the whole process: the first one asks the command to stop, a second one ends the process.
// Any thread may ask.
#ifndef TARN_HOST_INTERRUPT_WIN32_H
#define TARN_HOST_INTERRUPT_WIN32_H

namespace tarn::host {

// From now on Ctrl+C does not end the process: the library has its sessions and answers to save.
void CatchInterrupts();

[[nodiscard]] bool IsInterrupted();

// A handle of the system's that is signalled from the first Ctrl+C on; it lives as long as the process.
void* InterruptEvent();

}  // namespace tarn::host

#endif
