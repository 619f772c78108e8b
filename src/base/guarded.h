// A value together with its ReaderWriterLock: the value is reachable only under the lock, but for Unlocked.
// Any thread may call; what runs under the lock makes no registry access, and a module call only where it must.
#ifndef TARN_BASE_GUARDED_H
#define TARN_BASE_GUARDED_H

#include <utility>

#include "base/reader_writer_lock.h"

namespace tarn::base {

template <class T>
class Guarded {
 public:
    Guarded() = default;
    explicit Guarded(T value) : value_(std::move(value)) {}

    // Runs use(const T&) under the read side.
    template <class F>
    decltype(auto) Read(F&& use) const {
        const ReadHold hold(lock_);
        return std::forward<F>(use)(static_cast<const T&>(value_));
    }

    // Runs use(T&) under the write side.
    template <class F>
    decltype(auto) Write(F&& use) {
        const WriteHold hold(lock_);
        return std::forward<F>(use)(value_);
    }

    // The value without the lock, for those who never run beside a writer of what they read. A test lets only one file
    // of src/ call it, api/parental_tables.h.
    [[nodiscard]] const T& Unlocked() const { return value_; }

 private:
    mutable ReaderWriterLock lock_;
    T value_{};
};

}  // namespace tarn::base

#endif
