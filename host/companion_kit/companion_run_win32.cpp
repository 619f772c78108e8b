#include "host/companion_kit/companion_run_win32.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <fmt/format.h>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <windows.h>

#include "host/companion_kit/companion_probe_win32.h"
#include "host/companion_kit/probe_lines.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

class OwnedHandle {
 public:
    OwnedHandle() = default;
    ~OwnedHandle() { Close(); }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;
    HANDLE* Out() { return &handle_; }
    [[nodiscard]] HANDLE Get() const { return handle_; }
    void Close() {
        if (handle_ != nullptr) CloseHandle(handle_);
        handle_ = nullptr;
    }

 private:
    HANDLE handle_ = nullptr;
};

// Reads a pipe on a thread of its own, so that a line can be waited for with a limit.
class PipeLines {
 public:
    explicit PipeLines(HANDLE pipe) : reader_([this, pipe] { ReadAll(pipe); }) {}

    enum class Wait { kLine, kEnd, kTooLong };
    Wait Next(std::chrono::seconds limit, std::string& line) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, limit, [this] { return isAtEnd_ || !lines_.empty(); })) return Wait::kTooLong;
        if (lines_.empty()) return Wait::kEnd;
        line = std::move(lines_.front());
        lines_.pop_front();
        return Wait::kLine;
    }

 private:
    void ReadAll(HANDLE pipe) {
        std::string text;
        char buffer[4096];
        DWORD count = 0;
        while (ReadFile(pipe, buffer, sizeof buffer, &count, nullptr) != 0 && count != 0) {
            text.append(buffer, count);
            for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
                const std::lock_guard lock(mutex_);
                lines_.push_back(text.substr(0, end));
                text.erase(0, end + 1);
                changed_.notify_one();
            }
        }
        const std::lock_guard lock(mutex_);
        isAtEnd_ = true;
        changed_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    bool isAtEnd_ = false;
    std::jthread reader_;  // ends when the last writer of the pipe has
};

// A pipe whose writing end the process inherits.
bool MakePipe(OwnedHandle& reading, OwnedHandle& writing) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreatePipe(reading.Out(), writing.Out(), &inherited, 0) != 0 &&
           SetHandleInformation(reading.Get(), HANDLE_FLAG_INHERIT, 0) != 0;
}

bool StartProbe(const CompanionCheck& check, HANDLE output, OwnedHandle& process) {
    std::vector<wchar_t> program(32768);
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    SetEnvironmentVariableW(kProbeVariable, ToWide(TextOf(check)).c_str());
    std::wstring line = L"\"" + std::wstring(program.data()) + L"\" " + kProbeArgument;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.data(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started) ==
        0)
        return false;
    CloseHandle(started.hThread);
    *process.Out() = started.hProcess;
    return true;
}

}  // namespace

std::vector<CompanionFinding> RunCompanionCheck(const CompanionCheck& check) {
    const std::chrono::seconds limit(check.secondsWithoutAnswer);
    OwnedHandle reading;
    OwnedHandle writing;
    OwnedHandle process;
    if (!MakePipe(reading, writing) || !StartProbe(check, writing.Get(), process))
        return {{check.module, "", fmt::format("cannot be checked: no process starts (error {})", GetLastError()),
                 "nothing is known about the module", false}};
    writing.Close();
    ProbeLines lines(check);
    ProbeEnd end;
    {
        PipeLines pipe(reading.Get());
        std::string line;
        PipeLines::Wait wait{};
        while ((wait = pipe.Next(limit, line)) == PipeLines::Wait::kLine) lines.Read(line);
        end.isHanging =
            wait == PipeLines::Wait::kTooLong ||
            WaitForSingleObject(process.Get(), static_cast<DWORD>(std::chrono::milliseconds(limit).count())) !=
                WAIT_OBJECT_0;
        if (end.isHanging) TerminateProcess(process.Get(), 1);
        WaitForSingleObject(process.Get(), INFINITE);
    }
    DWORD code = 0;
    GetExitCodeProcess(process.Get(), &code);
    end.exitCode = code;
    return lines.Findings(end);
}

}  // namespace tarn::host
