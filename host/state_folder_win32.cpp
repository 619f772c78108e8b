#include "host/state_folder_win32.h"

#include <fmt/format.h>
#include <string_view>
#include <windows.h>

#include "host/file_path.h"
#include "host/printable_text.h"
#include "host/this_machine_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kFolderForModules = L"TARN_STATE_FOLDER";  // where the reference modules look
constexpr int kMaxNames = 100;  // of other runs, or left behind by ones that were ended from outside

// The modules write the new state beside the old one, by calls that take a path of 260 characters, its NUL included.
bool HasRoomForFiles(const fs::path& folder) {
    constexpr std::wstring_view kNewFileEnding = L".new";
    const std::size_t name = std::string_view(kUserListResetFile).size() + kNewFileEnding.size();
    return folder.native().size() + 1 + name < MAX_PATH;
}

std::string TooLong(const fs::path& folder) {
    return fmt::format("{}: this path leaves no room for the files of the state, which must end within 260 characters",
                       Printable(FromPath(folder)));
}

// Fails now rather than silently at the end of the run, when the modules save.
bool CanBeWritten(const fs::path& folder) {
    const fs::path probe = folder / fmt::format("tarnhost-{}.probe", GetCurrentProcessId());
    HANDLE file = CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    CloseHandle(file);
    return true;
}

fs::path NewTemporaryFolder() {
    std::error_code error;
    const fs::path root = fs::temp_directory_path(error);
    for (int i = 0; !error && i < kMaxNames; ++i) {
        fs::path folder = root / fmt::format("tarnhost-{}-{}", GetCurrentProcessId(), i);
        if (fs::create_directory(folder, error)) return folder;
    }
    return {};
}

}  // namespace

StateFolder::~StateFolder() {
    Remove();
}

void StateFolder::Remove() {
    std::error_code ignored;
    if (isOfThisRun_) fs::remove_all(path_, ignored);
    isOfThisRun_ = false;
}

bool StateFolder::Use(const std::string& keep, std::string& mistake) {
    std::error_code error;
    Remove();
    if (keep.empty()) {
        path_ = NewTemporaryFolder();
        isOfThisRun_ = !path_.empty();
        if (!isOfThisRun_)
            mistake = "no temporary folder can be made for the state of this run; name a folder with --keep-state";
        else if (!HasRoomForFiles(path_))
            mistake = fmt::format("{}; name a shorter one with --keep-state", TooLong(path_));
    } else {
        path_ = fs::absolute(ToPath(keep), error);
        path_.make_preferred();
        const bool isTooLong = !error && !HasRoomForFiles(path_);
        if (!error && !isTooLong) fs::create_directories(path_, error);
        if (isTooLong)
            mistake = fmt::format("--keep-state {}; name a shorter one", TooLong(path_));
        else if (error || !CanBeWritten(path_))
            mistake = fmt::format(
                "--keep-state {}: this folder cannot be made or written; name one in which you may write files",
                Printable(keep));
    }
    if (!mistake.empty()) return false;
    SetEnvironmentVariableW(kFolderForModules, path_.c_str());
    return true;
}

SavedState StateFolder::Found(const std::wstring& installFolder) const {
    SavedState found;
    if (isOfThisRun_) return found;
    found.answers = CountSavedAnswersOf(installFolder);
    found.sessions = ReadSavedSessionsOf(installFolder).size();
    std::error_code ignored;
    found.isUserListReset = fs::exists(path_ / kUserListResetFile, ignored);
    return found;
}

}  // namespace tarn::host
