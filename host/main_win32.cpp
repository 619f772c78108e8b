// The program's entry: what the command line needs of Windows.
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <io.h>
#include <iostream>
#include <windows.h>

#include "host/command_line.h"
#include "host/companion_kit/companion_probe_win32.h"
#include "host/companion_kit/companion_run_win32.h"
#include "host/interrupt_win32.h"
#include "host/loaded_library_win32.h"
#include "host/service_arguments.h"
#include "host/service_win32.h"
#include "host/standard_output_win32.h"
#include "host/state_folder_win32.h"
#include "host/this_machine_win32.h"
#include "host/utf8_win32.h"
#include "host/watch_signals_win32.h"

namespace {

// Colours and the erasing of lines need a console that reads escape sequences.
bool IsTerminal(std::FILE* file) {
    HANDLE console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

std::size_t ConsoleColumns() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return 0;
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    return columns > 0 ? static_cast<std::size_t>(columns) : 0;
}

class WindowsEnvironment : public tarn::host::Environment {
 public:
    explicit WindowsEnvironment(const std::vector<std::string>& arguments) : arguments_(arguments) {}
    bool UseState(const tarn::host::LibraryOptions& options, tarn::host::SavedState& found,
                  std::string& mistake) override {
        if (!state_.Use(options.keepState, mistake)) return false;
        found = state_.Found(tarn::host::InstallFolderFor(options));
        return true;
    }
    std::unique_ptr<tarn::host::Judge> OpenLibrary(const tarn::host::LibraryOptions& options,
                                                   std::string& mistake) override {
        return tarn::host::LoadLibraryFromOwnFolder(options, mistake, isErrorTerminal_ ? &std::cerr : nullptr);
    }
    [[nodiscard]] std::string OwnFolder() const override { return tarn::host::FromWide(tarn::host::OwnFolder()); }
    [[nodiscard]] bool IsOutputTerminal() const override { return isOutputTerminal_; }
    [[nodiscard]] bool IsErrorTerminal() const override { return isErrorTerminal_; }
    [[nodiscard]] std::size_t TerminalColumns() const override { return ConsoleColumns(); }
    [[nodiscard]] std::string Variable(const char* name) const override {
        const wchar_t* const value = _wgetenv(tarn::host::ToWide(name).c_str());
        return value == nullptr ? std::string() : tarn::host::FromWide(value);
    }
    [[nodiscard]] bool IsInterrupted() const override { return tarn::host::IsInterrupted(); }
    [[nodiscard]] std::string OutputMistake() const override { return output_.Mistake(); }
    [[nodiscard]] std::optional<std::string> AsciiHost(const std::string& utf8) const override {
        return tarn::host::AsciiHostOf(utf8);
    }
    [[nodiscard]] std::streambuf& Output() { return output_; }
    [[nodiscard]] std::string InstallFolder(const tarn::host::LibraryOptions& options) const override {
        return tarn::host::FromWide(tarn::host::InstallFolderFor(options));
    }
    bool FindAccount(const std::string& name, tarn::host::Account& account) override {
        return tarn::host::FindMachineAccount(name, account);
    }
    [[nodiscard]] TarnSystemTime LocalTime() const override { return tarn::host::MachineTime(); }
    [[nodiscard]] std::optional<TarnSystemTime> LocalTimeOf(std::uint64_t nanoseconds) const override {
        return tarn::host::MachineTimeOf(nanoseconds);
    }
    std::vector<SavedSessionRecord> ReadSavedSessions(const tarn::host::LibraryOptions& options) override {
        return tarn::host::ReadSavedSessionsOf(tarn::host::InstallFolderFor(options));
    }
    std::unique_ptr<tarn::host::WatchSignals> Watch(const std::string& folder, bool wantsInput,
                                                    std::string& mistake) override {
        return tarn::host::WatchFolder(tarn::host::ToWide(folder), wantsInput, mistake);
    }

    void UsePolicy(const tarn::host::LibraryOptions& options) override {
        if (!options.policyFile.empty()) tarn::host::ChoosePolicy(options, {});
    }
    std::vector<tarn::host::CompanionFinding> CheckCompanion(const tarn::host::CompanionCheck& check) override {
        return tarn::host::RunCompanionCheck(check);
    }
    bool InstallService(std::string& mistake) override { return tarn::host::InstallService(arguments_, mistake); }
    bool RemoveService(std::string& mistake) override { return tarn::host::RemoveService(mistake); }
    void TellServing() override { tarn::host::TellServiceRuns(); }

 private:
    std::vector<std::string> arguments_;
    tarn::host::StateFolder state_;
    bool isOutputTerminal_ = IsTerminal(stdout);
    bool isErrorTerminal_ = IsTerminal(stderr);
    tarn::host::StandardOutput output_{GetStdHandle(STD_OUTPUT_HANDLE), isOutputTerminal_};
};

}  // namespace

int wmain(int count, wchar_t** values) {
    if (count == 2 && std::wcscmp(values[1], tarn::host::kProbeArgument) == 0) return tarn::host::RunCompanionProbe();
    SetConsoleOutputCP(CP_UTF8);
    tarn::host::CatchInterrupts();
    std::ios::sync_with_stdio(false);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(tarn::host::FromWide(values[i]));
    WindowsEnvironment environment(arguments);
    std::ostream out(&environment.Output());
    const auto run = [&](std::ostream& errors) {
        return tarn::host::RunCommandLine(arguments, environment, out, errors);
    };
    const int code = tarn::host::AsksToRunAsService(arguments) ? tarn::host::RunAsService(run) : run(std::cerr);
    tarn::host::TellEnded();
    return code;
}
