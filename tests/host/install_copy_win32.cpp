#include "host/install_copy_win32.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <windows.h>

#include "tarn/companion_modules.h"

#include "support/project_files.h"

namespace tarn::host {
namespace {

namespace fs = std::filesystem;

#define TARN_FILE(module, file, functions) file,
constexpr const char* kFiles[] = {"tarnhost.exe", "tarn.dll", TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

constexpr DWORD kLimit = 300000;  // milliseconds, of a program that hangs

fs::path OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
}

std::string ReadWhole(const fs::path& path) {
    std::ifstream input(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

// A file that a child process writes its output to.
HANDLE CreateOutput(const fs::path& path) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

}  // namespace

std::wstring CommandLine(const fs::path& program, const std::vector<std::string>& arguments) {
    std::wstring line = L"\"" + program.wstring() + L"\"";
    for (const std::string& argument : arguments) {
        const std::u8string utf8(argument.begin(), argument.end());
        line += L" \"" + fs::path(utf8).wstring() + L"\"";
    }
    return line;
}

std::vector<nlohmann::json> ProgramRun::Json() const {
    std::vector<nlohmann::json> lines;
    std::istringstream input(out);
    for (std::string line; std::getline(input, line);) {
        auto value = nlohmann::json::parse(line, nullptr, false);
        EXPECT_TRUE(value.is_object()) << line;
        if (value.is_object()) lines.push_back(std::move(value));
    }
    return lines;
}

std::vector<nlohmann::json> ProgramRun::Events(const char* type) const {
    std::vector<nlohmann::json> lines = Json();
    std::erase_if(lines, [&](const nlohmann::json& line) { return line["type"] != type; });
    return lines;
}

InstallCopy::InstallCopy(const std::set<std::string>& without) {
    static unsigned counter = 0;
    folder_ = OwnFolder() / ("host-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
    fs::remove_all(folder_);  // of a run that was ended, whose number came again
    fs::create_directories(folder_);
    const fs::path built = OwnFolder().parent_path() / "bin";
    // The programs are large, and nobody writes into them.
    for (const char* file : kFiles)
        if (!without.contains(file)) fs::create_hard_link(built / file, folder_ / file);
    fs::copy_file(DefaultPolicyFile(), folder_ / kPolicy);
}

InstallCopy::~InstallCopy() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

ProgramRun InstallCopy::Run(const std::vector<std::string>& arguments) const {
    ProgramRun run = RunWith(CreateOutput(File("stdout.txt")), arguments);
    run.out = Read("stdout.txt");
    return run;
}

ProgramRun InstallCopy::RunInto(const std::wstring& output, const std::vector<std::string>& arguments) const {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const HANDLE out = CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(out, INVALID_HANDLE_VALUE) << "error " << GetLastError();
    return RunWith(out, arguments);
}

ProgramRun InstallCopy::RunWith(void* out, const std::vector<std::string>& arguments) const {
    ProgramRun run;
    const HANDLE errors = CreateOutput(File("stderr.txt"));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out;
    startup.hStdError = errors;
    PROCESS_INFORMATION process{};
    std::wstring line = CommandLine(File("tarnhost.exe"), arguments);
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process) == 0) {
        ADD_FAILURE() << "tarnhost does not start: error " << GetLastError();
    } else {
        if (WaitForSingleObject(process.hProcess, kLimit) != WAIT_OBJECT_0) {
            ADD_FAILURE() << "tarnhost does not end and is killed";
            TerminateProcess(process.hProcess, 1);
            WaitForSingleObject(process.hProcess, INFINITE);
        }
        GetExitCodeProcess(process.hProcess, &run.exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(out);
    CloseHandle(errors);
    run.errors = Read("stderr.txt");
    return run;
}

void InstallCopy::Write(const std::string& name, const std::string& text) const {
    std::ofstream(File(name), std::ios::binary) << text;
}

std::string InstallCopy::Read(const std::string& name) const {
    return ReadWhole(File(name));
}

std::string InstallCopy::Path(const std::string& name) const {
    const std::u8string utf8 = File(name).u8string();
    return {utf8.begin(), utf8.end()};
}

void InstallCopy::Remove(const std::string& name) const {
    EXPECT_TRUE(fs::remove(File(name))) << name;
}

std::string CapturePath(const std::string& name) {
    return CaptureFileOf(name);
}

}  // namespace tarn::host
