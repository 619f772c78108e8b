// A console without a window, for programs that a test starts, and the keys that are pressed in it.
// While it is there the test has no console of its own: its output has to go to a file or a pipe.
#ifndef TARN_TESTS_HOST_PSEUDO_CONSOLE_WIN32_H
#define TARN_TESTS_HOST_PSEUDO_CONSOLE_WIN32_H

#include <memory>
#include <windows.h>

namespace tarn::host {

class PseudoConsole {
 public:
    PseudoConsole();
    ~PseudoConsole();
    PseudoConsole(const PseudoConsole&) = delete;
    PseudoConsole& operator=(const PseudoConsole&) = delete;

    // For CreateProcessW: the program has this console.
    [[nodiscard]] LPPROC_THREAD_ATTRIBUTE_LIST Attributes() const;
    // Sends Ctrl+C to all programs of the console that program, a process identifier, stands in.
    static void PressCtrlC(DWORD program);

 private:
    void* console_ = nullptr;
    HANDLE keys_ = nullptr;    // what the console would read
    HANDLE screen_ = nullptr;  // what it shows goes nowhere
    std::unique_ptr<unsigned char[]> attributes_;
};

}  // namespace tarn::host

#endif
