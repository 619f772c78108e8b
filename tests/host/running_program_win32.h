// A tarnhost that runs while the test talks to it: its input and output are pipes.
#ifndef TARN_TESTS_HOST_RUNNING_PROGRAM_WIN32_H
#define TARN_TESTS_HOST_RUNNING_PROGRAM_WIN32_H

#include <future>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>
#include <windows.h>

#include "host/install_copy_win32.h"
#include "host/pseudo_console_win32.h"

namespace tarn::host {

class RunningProgram {
 public:
    // Without a console it has the test's.
    RunningProgram(const InstallCopy& install, const std::vector<std::string>& arguments,
                   const PseudoConsole* console = nullptr);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    // Both return at once; what is written before comes first.
    void Write(const std::string& bytes);
    void EndInput();
    // From then on nobody reads its output.
    void CloseOutput();
    // The next line of its output, waited for; null after the last one. A program that says nothing for three minutes
    // is killed, and so is one that does not end.
    nlohmann::json NextLine();
    // The next line of that type; those before it are passed over.
    nlohmann::json NextLine(const std::string& type);
    // In its console.
    void PressCtrlC() const;
    // Whether it has ended, waited for so many milliseconds at most; its output is not read.
    [[nodiscard]] bool EndsWithin(unsigned long milliseconds) const;
    // Its exit code, waited for.
    unsigned long End();

 private:
    bool ReadMore();
    void Kill(const char* why) const;

    HANDLE input_ = nullptr;
    HANDLE output_ = nullptr;
    HANDLE process_ = nullptr;
    unsigned long processId_ = 0;
    std::string read_;
    std::future<void> writing_;
};

}  // namespace tarn::host

#endif
