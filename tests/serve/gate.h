// A gate that threads wait at until a test opens it; it stays open. A wait that lasts a minute fails its test and goes
// on, so that a test that ended early ends. Any thread may call. No std::atomic::wait: where the system has no futex
// its wake-ups get lost.
#ifndef TARN_TESTS_SERVE_GATE_H
#define TARN_TESTS_SERVE_GATE_H

#include <chrono>
#include <condition_variable>
#include <gtest/gtest.h>
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
        if (!changed_.wait_for(lock, std::chrono::minutes(1), [this] { return isOpen_; }))
            ADD_FAILURE() << "nobody opened the gate";
    }

 private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

}  // namespace tarn::host::serve

#endif
