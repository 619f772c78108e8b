#include "host/watch_signals_win32.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <thread>
#include <vector>
#include <windows.h>

#include "host/interrupt_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

constexpr DWORD kQuietMilliseconds = 100;  // how long a writer must have written nothing
constexpr std::size_t kMostFolders = 32;   // Windows waits for 64 things at once
constexpr int kMaxQuietWaits = 20;         // a folder that is written all the time is looked at nevertheless

class OwnedEvent {
 public:
    explicit OwnedEvent(bool staysSet) : handle_(CreateEventW(nullptr, staysSet, FALSE, nullptr)) {}
    ~OwnedEvent() { CloseHandle(handle_); }
    OwnedEvent(const OwnedEvent&) = delete;
    OwnedEvent& operator=(const OwnedEvent&) = delete;
    [[nodiscard]] HANDLE Get() const { return handle_; }

 private:
    HANDLE handle_;
};

// One buffer that a thread fills and its user empties, in turns.
struct InputRoom {
    OwnedEvent filled{true};
    OwnedEvent emptied{false};
    std::array<char, 65536> bytes{};
    std::size_t count = 0;
    std::size_t taken = 0;
};

// A thread of its own, for a read of a pipe can be neither waited for nor broken off. It ends with the process.
void ReadStandardInput(const std::shared_ptr<InputRoom>& room) {
    HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    while (true) {
        DWORD count = 0;
        const bool isRead =
            ReadFile(input, room->bytes.data(), static_cast<DWORD>(room->bytes.size()), &count, nullptr) != 0;
        room->count = isRead ? count : 0;
        room->taken = 0;
        SetEvent(room->filled.Get());
        if (room->count == 0) return;
        WaitForSingleObject(room->emptied.Get(), INFINITE);
    }
}

class WindowsSignals : public WatchSignals {
 public:
    ~WindowsSignals() override {
        for (HANDLE change : changes_) FindCloseChangeNotification(change);
    }
    WindowsSignals() = default;
    WindowsSignals(const WindowsSignals&) = delete;
    WindowsSignals& operator=(const WindowsSignals&) = delete;

    bool Open(const std::wstring& folder, bool wantsInput, std::string& mistake) {
        if (!folder.empty() && !Follow(folder)) {
            mistake = fmt::format("{}: its changes cannot be followed (error {})", FromWide(folder), GetLastError());
            return false;
        }
        if (wantsInput) {
            room_ = std::make_shared<InputRoom>();
            std::thread(ReadStandardInput, room_).detach();
        }
        return true;
    }

    Signal Next(bool mayWait, bool wantsInput) override {
        std::vector<HANDLE> handles{InterruptEvent()};
        handles.insert(handles.end(), changes_.begin(), changes_.end());
        if (wantsInput && room_) handles.push_back(room_->filled.Get());
        const auto count = static_cast<DWORD>(handles.size());
        const DWORD met = WaitForMultipleObjects(count, handles.data(), FALSE, mayWait ? INFINITE : 0);
        if (met == WAIT_TIMEOUT) return Signal::kNone;
        // Ctrl+C, or a handle that cannot be waited for any more.
        if (met == WAIT_OBJECT_0 || met >= WAIT_OBJECT_0 + count) return Signal::kStop;
        if (met - WAIT_OBJECT_0 > changes_.size()) return Signal::kInput;
        WaitForQuiet(handles[met - WAIT_OBJECT_0]);
        return Signal::kChanged;
    }

    void AlsoFolder(const std::string& folder) override {
        std::wstring path = ToWide(folder);
        if (std::find(folders_.begin(), folders_.end(), path) != folders_.end() || folders_.size() >= kMostFolders)
            return;
        Follow(path);
    }

    std::size_t ReadInput(std::span<char> buffer) override {
        const std::size_t count = std::min(buffer.size(), room_->count - room_->taken);
        std::memcpy(buffer.data(), &room_->bytes[room_->taken], count);
        room_->taken += count;
        if (count != 0 && room_->taken == room_->count) {
            ResetEvent(room_->filled.Get());
            SetEvent(room_->emptied.Get());
        }
        return count;
    }

 private:
    bool Follow(const std::wstring& folder) {
        constexpr DWORD kChanges =
            FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE;
        HANDLE change = FindFirstChangeNotificationW(folder.c_str(), FALSE, kChanges);
        if (change == INVALID_HANDLE_VALUE) return false;
        folders_.push_back(folder);
        changes_.push_back(change);
        return true;
    }

    // An editor writes in several steps.
    static void WaitForQuiet(HANDLE change) {
        const std::array<HANDLE, 2> handles{InterruptEvent(), change};
        for (int i = 0; i < kMaxQuietWaits; ++i) {
            FindNextChangeNotification(change);
            if (WaitForMultipleObjects(2, handles.data(), FALSE, kQuietMilliseconds) != WAIT_OBJECT_0 + 1) return;
        }
    }

    std::vector<std::wstring> folders_;
    std::vector<HANDLE> changes_;  // of each folder
    std::shared_ptr<InputRoom> room_;
};

}  // namespace

std::unique_ptr<WatchSignals> WatchFolder(const std::wstring& folder, bool wantsInput, std::string& mistake) {
    auto signals = std::make_unique<WindowsSignals>();
    if (!signals->Open(folder, wantsInput, mistake)) return nullptr;
    return signals;
}

}  // namespace tarn::host
