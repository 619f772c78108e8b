// The waiting primitives and the thread of the library, each with a Win32 and a native implementation, so that
// ThreadSanitizer sees the real algorithms. Each object owns its system handle; which thread may call stands at each.
#ifndef TARN_BASE_SYNC_H
#define TARN_BASE_SYNC_H

#include <atomic>
#include <cstdint>

namespace tarn::base {

// A process-local mutex; re-entrant on Windows, where nothing relies on it. Also satisfies BasicLockable.
class CriticalSection {
 public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter();
    void Leave();
    void lock() { Enter(); }
    void unlock() { Leave(); }

 private:
    alignas(8) unsigned char storage_[40];  // a CRITICAL_SECTION (40 bytes on x86-64) or a pthread_mutex_t
};

// Initial count 0, maximum 2147483647.
class Semaphore {
 public:
    Semaphore();
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Waits without a time limit. A semaphore that could not be created makes this return at once.
    void Wait();
    void Release(std::int32_t count);

 private:
    void* handle_ = nullptr;
};

// Auto-reset and unsignalled when created. A failed operation leaves the system's error in LastSystemError. Another
// thread may close it before a Wait, which then fails.
class Event {
 public:
    enum class WaitResult { kSignalled, kTimedOut, kFailed };

    Event() = default;
    ~Event() { Close(); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    bool Create();
    void Close();
    [[nodiscard]] bool Exists() const { return handle_ != nullptr; }
    bool Signal();
    WaitResult Wait(std::uint32_t milliseconds);

 private:
    std::atomic<void*> handle_ = nullptr;
};

class WorkerThread {
 public:
    // The result is the thread's exit code.
    using Work = std::uint32_t (*)(void* argument);

    WorkerThread() = default;
    ~WorkerThread() = default;
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Not while a thread exists. Until it ends, the thread keeps the module that holds this code loaded.
    bool Start(Work work, void* argument);
    [[nodiscard]] bool Exists() const { return handle_ != nullptr; }
    // Waits without limit for the end, closes the handle and gives the exit code. 0 without a thread.
    std::uint32_t Join();
    // Lets the thread run on by itself.
    void Forget();

 private:
    void* handle_ = nullptr;
};

// The calling thread's last system error.
std::uint32_t LastSystemError();
// What it is when memory is missing.
std::uint32_t OutOfMemoryError();

}  // namespace tarn::base

#endif
