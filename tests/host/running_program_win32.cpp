#include "host/running_program_win32.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>

namespace tarn::host {
namespace {

constexpr std::chrono::minutes kSilence{3};  // of a program that hangs

void Close(HANDLE& handle) {
    if (handle != nullptr) CloseHandle(handle);
    handle = nullptr;
}

}  // namespace

RunningProgram::RunningProgram(const InstallCopy& install, const std::vector<std::string>& arguments,
                               const PseudoConsole* console) {
    HANDLE itsInput = nullptr;
    HANDLE itsOutput = nullptr;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    EXPECT_TRUE(CreatePipe(&itsInput, &input_, &inherited, 0));
    EXPECT_TRUE(CreatePipe(&output_, &itsOutput, &inherited, 0));
    SetHandleInformation(input_, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(output_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOEXW extended{};
    extended.lpAttributeList = console != nullptr ? console->Attributes() : nullptr;
    STARTUPINFOW& startup = extended.StartupInfo;
    startup.cb = console != nullptr ? sizeof extended : sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = itsInput;
    startup.hStdOutput = itsOutput;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    const DWORD flags = console != nullptr ? EXTENDED_STARTUPINFO_PRESENT : 0;
    PROCESS_INFORMATION process{};
    std::wstring line = CommandLine(install.File("tarnhost.exe"), arguments);
    EXPECT_TRUE(
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup, &process))
        << "error " << GetLastError();
    Close(itsInput);
    Close(itsOutput);
    Close(process.hThread);
    process_ = process.hProcess;
    processId_ = process.dwProcessId;
}

RunningProgram::~RunningProgram() {
    EndInput();
    if (process_ != nullptr) End();
    writing_.wait();
    Close(output_);
    Close(process_);
}

// In a thread of its own: a program whose output nobody reads does not read its input to the end.
void RunningProgram::Write(const std::string& bytes) {
    writing_ = std::async(std::launch::async, [this, bytes, before = std::move(writing_)] {
        if (before.valid()) before.wait();
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(input_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr));
        EXPECT_EQ(written, bytes.size());
    });
}

void RunningProgram::EndInput() {
    writing_ = std::async(std::launch::async, [this, before = std::move(writing_)] {
        if (before.valid()) before.wait();
        Close(input_);
    });
}

void RunningProgram::CloseOutput() {
    Close(output_);
    read_.clear();
}

bool RunningProgram::ReadMore() {
    char buffer[4096];
    DWORD count = 0;
    std::future<bool> reading = std::async(std::launch::async, [&] {
        return ReadFile(output_, buffer, sizeof buffer, &count, nullptr) != 0 && count != 0;
    });
    if (reading.wait_for(kSilence) != std::future_status::ready) Kill("says nothing");
    if (!reading.get()) return false;
    read_.append(buffer, count);
    return true;
}

void RunningProgram::Kill(const char* why) const {
    ADD_FAILURE() << "the program " << why << " and is killed";
    TerminateProcess(process_, 1);
}

nlohmann::json RunningProgram::NextLine() {
    while (read_.find('\n') == std::string::npos)
        if (!ReadMore()) return nullptr;
    const std::string line = read_.substr(0, read_.find('\n'));
    read_.erase(0, line.size() + 1);
    auto value = nlohmann::json::parse(line, nullptr, false);
    EXPECT_TRUE(value.is_object()) << line;
    return value;
}

nlohmann::json RunningProgram::NextLine(const std::string& type) {
    while (true) {
        nlohmann::json line = NextLine();
        if (!line.is_object() || line.value("type", "") == type) return line;
    }
}

void RunningProgram::PressCtrlC() const {
    PseudoConsole::PressCtrlC(processId_);
}

bool RunningProgram::EndsWithin(unsigned long milliseconds) const {
    return WaitForSingleObject(process_, milliseconds) == WAIT_OBJECT_0;
}

unsigned long RunningProgram::End() {
    while (!NextLine().is_null()) {
    }
    if (!EndsWithin(static_cast<unsigned long>(std::chrono::milliseconds(kSilence).count()))) Kill("does not end");
    WaitForSingleObject(process_, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process_, &code);
    return code;
}

}  // namespace tarn::host
