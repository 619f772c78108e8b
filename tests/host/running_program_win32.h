// A tarnhost that runs while the test talks to it: its input and output are pipes.
// What it says is judged by the tests.
#ifndef TARN_TESTS_HOST_RUNNING_PROGRAM_WIN32_H
#define TARN_TESTS_HOST_RUNNING_PROGRAM_WIN32_H

#include <future>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>
#include <windows.h>

#include "host/install_copy_win32.h"

namespace tarn::host {

class RunningProgram {
 public:
    RunningProgram(const InstallCopy& install, const std::vector<std::string>& arguments);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    // Both return at once; what is written before comes first.
    void Write(const std::string& bytes);
    void EndInput();
    // From then on nobody reads its output.
    void CloseOutput();
    // The next line of its output, waited for; null after the last one.
    nlohmann::json NextLine();
    // The next line of that type; those before it are passed over.
    nlohmann::json NextLine(const std::string& type);
    // Its exit code, waited for.
    unsigned long End();

 private:
    HANDLE input_ = nullptr;
    HANDLE output_ = nullptr;
    HANDLE process_ = nullptr;
    std::string read_;
    std::future<void> writing_;
};

}  // namespace tarn::host

#endif
