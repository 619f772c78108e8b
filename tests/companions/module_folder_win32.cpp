#include "companions/module_folder_win32.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace tarn::companions {
namespace {

namespace fs = std::filesystem;

fs::path OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
}

}  // namespace

ModuleFolder::ModuleFolder(const std::vector<std::string>& modules) {
    static unsigned counter = 0;
    folder_ = OwnFolder() / ("modules-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
    fs::remove_all(folder_);
    fs::create_directories(folder_);
    for (const std::string& module : modules) Add(module, module);
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", (folder_ / "state").c_str());
}

ModuleFolder::~ModuleFolder() {
    while (!loaded_.empty()) Unload(loaded_.begin()->first);
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", nullptr);
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void ModuleFolder::Add(const std::string& module, const std::string& as) const {
    fs::copy_file(OwnFolder().parent_path() / "bin" / module, folder_ / as);
}

HMODULE ModuleFolder::Load(const std::string& module) {
    HMODULE& handle = loaded_[module];
    if (handle == nullptr) handle = LoadLibraryW(File(module).c_str());
    EXPECT_NE(handle, nullptr) << module;
    return handle;
}

void ModuleFolder::Unload(const std::string& module) {
    FreeLibrary(loaded_[module]);
    loaded_.erase(module);
    EXPECT_EQ(GetModuleHandleW(File(module).c_str()), nullptr) << module << " stays loaded";
}

void ModuleFolder::SavePolicy(const std::string& text) {
    ++saves_;
    WritePolicy(text);
}

void ModuleFolder::SwapPolicyUnseen(const std::string& text) const {
    ASSERT_EQ(fs::file_size(File("tarn-policy.toml")), text.size());
    WritePolicy(text);
}

void ModuleFolder::WritePolicy(const std::string& text) const {
    HANDLE file = INVALID_HANDLE_VALUE;
    do {  // a module may have it open for the moment of a read
        file = CreateFileW(File("tarn-policy.toml").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    } while (file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_SHARING_VIOLATION);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD written = 0;
    EXPECT_NE(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr), 0);
    EXPECT_NE(SetEndOfFile(file), 0);
    const SYSTEMTIME longAgo{2020, 1, 3, 1, 12, 0, static_cast<WORD>(saves_), 0};
    FILETIME time{};
    EXPECT_NE(SystemTimeToFileTime(&longAgo, &time), 0);
    EXPECT_NE(SetFileTime(file, nullptr, nullptr, &time), 0);
    CloseHandle(file);
}

std::string ReadWhole(const fs::path& path) {
    std::ifstream input(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

}  // namespace tarn::companions
