// Stops a thread inside the library: at the n-th time that the library compares or copies memory on it. So two threads
// can be brought into one order, each time the same, wherever the library does not wait.
#ifndef TARN_TESTS_SYSTEM_STOPPED_CALL_WIN32_H
#define TARN_TESTS_SYSTEM_STOPPED_CALL_WIN32_H

#include <atomic>
#include <cstddef>
#include <cstring>
#include <thread>
#include <windows.h>

#include "system/import_patch_win32.h"

namespace tarn::system_test {

// One thread tells another that it has come to a point.
class Signal {
 public:
    Signal() : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~Signal() { CloseHandle(event_); }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    void Give() { SetEvent(event_); }
    void Await() { WaitForSingleObject(event_, INFINITE); }

 private:
    HANDLE event_;
};

// One at a time in a process.
class StoppedCall {
 public:
    // Runs call on a thread of its own and returns when it stands at its n-th comparison or copy, or is over.
    template <class Call>
    StoppedCall(HMODULE library, std::size_t n, Call call)
        : comparing_(library, "memcmp", Compare), copying_(library, "memcpy", Copy) {
        left_ = n;
        isStopped_ = false;
        thread_ = std::thread([call] {
            threadId_ = GetCurrentThreadId();
            call();
            threadId_ = 0;
            if (!isStopped_) here_.Give();
        });
        here_.Await();
    }
    ~StoppedCall() {
        if (isStopped_) goOn_.Give();
        thread_.join();
    }
    StoppedCall(const StoppedCall&) = delete;
    StoppedCall& operator=(const StoppedCall&) = delete;

    [[nodiscard]] bool IsInPlace() const { return comparing_.IsInPlace() && copying_.IsInPlace(); }
    // False when the call was over before.
    [[nodiscard]] bool IsStopped() const { return isStopped_; }

 private:
    static void Stop() {
        if (GetCurrentThreadId() != threadId_ || isStopped_ || left_-- != 0) return;
        isStopped_ = true;
        here_.Give();
        goOn_.Await();
    }
    static int __cdecl Compare(const void* a, const void* b, std::size_t size) {
        Stop();
        return std::memcmp(a, b, size);
    }
    static void* __cdecl Copy(void* to, const void* from, std::size_t size) {
        Stop();
        return std::memcpy(to, from, size);
    }

    static inline std::atomic<DWORD> threadId_ = 0;
    static inline std::size_t left_ = 0;
    static inline std::atomic<bool> isStopped_ = false;
    static inline Signal here_;
    static inline Signal goOn_;

    const ImportPatch comparing_;
    const ImportPatch copying_;
    std::thread thread_;
};

// Runs work on a thread of its own until it is over or waits inside the library; the destructor waits for its end.
class OtherCall {
 public:
    template <class Work>
    OtherCall(HMODULE library, Work work) : waiting_(library, "WaitForSingleObject", WaitFor) {
        waits_ = false;
        thread_ = std::thread([work] {
            threadId_ = GetCurrentThreadId();
            work();
            threadId_ = 0;
            if (!waits_) here_.Give();
        });
        here_.Await();
    }
    ~OtherCall() { thread_.join(); }
    OtherCall(const OtherCall&) = delete;
    OtherCall& operator=(const OtherCall&) = delete;

    [[nodiscard]] bool IsInPlace() const { return waiting_.IsInPlace(); }
    [[nodiscard]] bool Waits() const { return waits_; }

 private:
    static DWORD WINAPI WaitFor(HANDLE object, DWORD milliseconds) {
        if (GetCurrentThreadId() == threadId_ && !waits_) {
            waits_ = true;
            here_.Give();
        }
        return WaitForSingleObject(object, milliseconds);
    }

    static inline std::atomic<DWORD> threadId_ = 0;
    static inline std::atomic<bool> waits_ = false;
    static inline Signal here_;

    const ImportPatch waiting_;
    std::thread thread_;
};

}  // namespace tarn::system_test

#endif
