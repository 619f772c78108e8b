// A thread of the library's own and the event that tells it to end.
// Both have a Win32 and a native implementation; what the thread does is its owner's business.
#ifndef TARN_BASE_WORKER_THREAD_H
#define TARN_BASE_WORKER_THREAD_H

#include <cstdint>

namespace tarn::base {

// Auto-reset and unsignalled when created. A failed operation leaves the system's error in LastSystemError.
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
    void* handle_ = nullptr;
};

class WorkerThread {
 public:
    // The result is the thread's exit code.
    using Work = std::uint32_t (*)(void* argument);

    WorkerThread() = default;
    ~WorkerThread() = default;
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    bool Start(Work work, void* argument);
    [[nodiscard]] bool Exists() const { return handle_ != nullptr; }
    // Waits without limit for the end, closes the handle and gives the exit code. 0 without a thread.
    std::uint32_t Join();

 private:
    void* handle_ = nullptr;
};

// The calling thread's last system error.
std::uint32_t LastSystemError();

}  // namespace tarn::base

#endif
