// Lets scans run at once and notices of changed settings alone. (The shared mutex of the GNU tools for Windows lets
// readers in beside a writer.)
#ifndef TARN_HOST_SERVE_SCAN_GATE_H
#define TARN_HOST_SERVE_SCAN_GATE_H

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace tarn::host::serve {

class ScanGate {
 public:
    // Waits while a notice runs or waits.
    template <class Call>
    auto Scan(const Call& call) {
        {
            std::unique_lock lock(mutex_);
            free_.wait(lock, [this] { return notices_ == 0; });
            ++scans_;
        }
        const Leaving leaving{*this, scans_};
        return call();
    }

    // Waits until no scan runs.
    template <class Call>
    auto Notify(const Call& call) {
        {
            std::unique_lock lock(mutex_);
            ++notices_;
            free_.wait(lock, [this] { return scans_ == 0 && !isNotifying_; });
            isNotifying_ = true;
        }
        const Leaving leaving{*this, notices_, &isNotifying_};
        return call();
    }

 private:
    struct Leaving {
        ScanGate& gate;
        std::size_t& count;
        bool* flag = nullptr;
        ~Leaving() {
            const std::lock_guard lock(gate.mutex_);
            --count;
            if (flag != nullptr) *flag = false;
            gate.free_.notify_all();
        }
    };

    std::mutex mutex_;
    std::condition_variable free_;
    std::size_t scans_ = 0;
    std::size_t notices_ = 0;
    bool isNotifying_ = false;
};

}  // namespace tarn::host::serve

#endif
