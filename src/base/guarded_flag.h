// A flag under a ReaderWriterLock that is nearly always set: while it is, readers need no lock.
// Any thread may call.
#ifndef TARN_BASE_GUARDED_FLAG_H
#define TARN_BASE_GUARDED_FLAG_H

#include <utility>

#include "base/atomic.h"
#include "base/guarded.h"

namespace tarn::base {

class GuardedFlag {
 public:
    GuardedFlag() = default;
    explicit GuardedFlag(bool isSet) : flag_(isSet), isSet_(isSet) {}

    // Runs use(bool&) under the write side.
    template <class F>
    decltype(auto) Write(F&& use) {
        return flag_.Write([&](bool& flag) -> decltype(auto) {
            const Publisher publisher{flag, isSet_};
            return std::forward<F>(use)(flag);
        });
    }

    // isSet_ changes while the write side is held. That is linearizable: a read beside a writer that still holds it
    // counts as one before that writer.
    [[nodiscard]] bool IsSet() const {
        return isSet_.load(std::memory_order_acquire) || flag_.Read([](bool flag) { return flag; });
    }

 private:
    struct Publisher {
        ~Publisher() { isSet.store(flag, std::memory_order_release); }
        const bool& flag;
        Atomic<bool>& isSet;
    };

    Guarded<bool> flag_;
    Atomic<bool> isSet_{false};
};

}  // namespace tarn::base

#endif
