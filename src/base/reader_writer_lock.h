// The lock of every table that the host's threads share: many readers or one writer, a waiting writer goes first.
// Any thread may call. Guarded<T> ties a lock to what it guards.
#ifndef TARN_BASE_READER_WRITER_LOCK_H
#define TARN_BASE_READER_WRITER_LOCK_H

#include <cstdint>

#include "base/sync.h"

namespace tarn::base {

// Not re-entrant: a holder that asks again can wait for ever. Every acquire is paired with exactly one Release.
class ReaderWriterLock {
 public:
    void AcquireForReading();
    void AcquireForWriting();
    // One operation for both kinds of holder; the state tells which kind releases.
    void Release();

 private:
    CriticalSection counters_;  // guards the three counters; never held while waiting
    Semaphore readers_;
    Semaphore writers_;
    std::int32_t waitingReaders_ = 0;
    std::int32_t waitingWriters_ = 0;
    std::int32_t state_ = 0;  // 0 free, n > 0 readers, -1 one writer

    friend class ReaderWriterLockProbe;  // tests read the counters
};

// Holders for a scope.
class ReadHold {
 public:
    explicit ReadHold(ReaderWriterLock& lock) : lock_(lock) { lock_.AcquireForReading(); }
    ~ReadHold() { lock_.Release(); }
    ReadHold(const ReadHold&) = delete;
    ReadHold& operator=(const ReadHold&) = delete;

 private:
    ReaderWriterLock& lock_;
};

class WriteHold {
 public:
    explicit WriteHold(ReaderWriterLock& lock) : lock_(lock) { lock_.AcquireForWriting(); }
    ~WriteHold() { lock_.Release(); }
    WriteHold(const WriteHold&) = delete;
    WriteHold& operator=(const WriteHold&) = delete;

 private:
    ReaderWriterLock& lock_;
};

}  // namespace tarn::base

#endif
