#include "machine/facts_program_win32.h"

#include <fstream>

#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

constexpr const char* kProgram = "machine_facts.exe";

std::filesystem::path OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find("\r\n", begin);
        lines.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) break;
        begin = end + 2;
    }
    return lines;
}

}  // namespace

FactsProgram::FactsProgram() {
    folder = OwnFolder() / Unique("Facts-Folder");
    std::filesystem::create_directories(folder);
    CopyProgram(folder / kProgram);
    registry_ = "Software\\" + Unique("tarn-base-test");
    RegDeleteTreeA(HKEY_CURRENT_USER, registry_.c_str());
}

FactsProgram::~FactsProgram() {
    RegDeleteTreeA(HKEY_CURRENT_USER, registry_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string FactsProgram::Unique(const std::string& name) {
    static unsigned counter = 0;
    return name + "-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter);
}

bool FactsProgram::UnderWine() {
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void FactsProgram::CopyProgram(const std::filesystem::path& to) {
    ASSERT_TRUE(CopyFileW((OwnFolder() / kProgram).c_str(), to.c_str(), FALSE)) << to << ": error " << GetLastError();
}

std::vector<std::string> FactsProgram::Run(const std::vector<std::string>& commands) {
    return RunAs(folder / kProgram, commands);
}

std::vector<std::string> FactsProgram::RunAs(const std::filesystem::path& program,
                                             const std::vector<std::string>& commands) {
    std::string line = "facts --hklm " + registry_;
    for (const std::string& command : commands) line += " \"" + command + "\"";
    std::wstring wideLine(line.begin(), line.end());

    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    UniqueHandle output;
    UniqueHandle input;
    if (CreatePipe(output.Out(), input.Out(), &inherited, 0) == 0) {
        ADD_FAILURE() << "no pipe: error " << GetLastError();
        return {};
    }
    SetHandleInformation(output.Get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = input.Get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION started{};
    if (CreateProcessW(program.c_str(), wideLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &started) == 0) {
        ADD_FAILURE() << program << " does not start: error " << GetLastError();
        return {};
    }
    const UniqueHandle process(started.hProcess);
    const UniqueHandle thread(started.hThread);
    input.Reset();  // now the program's end alone keeps the pipe open
    std::string text;
    char buffer[4096];
    DWORD count = 0;
    while (ReadFile(output.Get(), buffer, sizeof buffer, &count, nullptr) != 0 && count != 0)
        text.append(buffer, count);
    WaitForSingleObject(process.Get(), INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process.Get(), &code);
    EXPECT_EQ(code, 0U) << text;
    return Lines(text);
}

HKEY FactsProgram::AppPathKey(const std::string& executable) {
    const std::string path = registry_ + "\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\" + executable;
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExA(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    return key;
}

void FactsProgram::MakeAppPathKey(const std::string& executable) {
    const UniqueRegistryKey key(AppPathKey(executable));
}

void FactsProgram::SetAppPathBytes(const std::string& executable, const void* bytes, std::size_t size) {
    const UniqueRegistryKey key(AppPathKey(executable));
    ASSERT_EQ(RegSetValueExW(key.Get(), L"Path", 0, REG_SZ, static_cast<const BYTE*>(bytes), static_cast<DWORD>(size)),
              ERROR_SUCCESS);
}

void FactsProgram::SetAppPath(const std::string& executable, const std::string& value) {
    const std::wstring wide(value.begin(), value.end());
    SetAppPathBytes(executable, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
}

std::string FactsProgram::WriteFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) const {
    std::ofstream stream(path, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(stream.good()) << path;
    return path.string();
}

}  // namespace tarn::machine
