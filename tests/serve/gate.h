// A gate that threads wait at until a test opens it; it stays open. Any thread may call. No std::atomic::wait: where
// the system has no futex its wake-ups get lost.
#ifndef TARN_TESTS_SERVE_GATE_H
#define TARN_TESTS_SERVE_GATE_H

#include <condition_variable>
#include <mutex>

namespace tarn::host::serve {

class Gate {
 public:
    void Open() {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
        changed_.notify_all();
    }
    void Wait() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isOpen_; });
    }

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

}  // namespace tarn::host::serve

#endif
